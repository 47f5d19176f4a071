#pragma once

#include "KZTextFieldCell.h"

// The item list's name column: the item's icon and name; on rows exactly 36 points high, a
// second line with the item's original location when it has one. GUI thread only.
class KZItemsImageAndTextCell : public KZTextFieldCell
{
    Q_OBJECT

public:
    explicit KZItemsImageAndTextCell(QObject *parent = nullptr);

    [[nodiscard]] QPixmap image() const { return m_image; }
    void setImage(const QPixmap &image) { m_image = image; }
    // The second line's text; empty for none.
    [[nodiscard]] QString path() const { return m_path; }
    void setPath(const QString &path) { m_path = path; }
    // Draw the icon dimmed.
    [[nodiscard]] bool isInvisible() const { return m_isInvisible; }
    void setIsInvisible(bool isInvisible) { m_isInvisible = isInvisible; }

    KZAttributedString drawWithState(QPainter *painter, const QRectF &cellFrame,
                                     const KZCellState &state) const override;
    [[nodiscard]] KZCellState stateForRow(const QStyleOptionViewItem &option,
                                          const QModelIndex &index) const override;
    [[nodiscard]] KZCellState cellState() const override;
    [[nodiscard]] std::unique_ptr<KZTextFieldCell> copy() const override;

    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem &option,
                                 const QModelIndex &index) const override;

private:
    QPixmap m_image;
    QString m_path;
    bool m_isInvisible = false;
};
