#pragma once

#include "KZTextFieldCell.h"

// The source list's volume row: the volume's icon, its title, and below it the number and size
// of the items in its Trash. An empty Trash draws its icon at half opacity. GUI thread only.
class KZImageAndTextCell : public KZTextFieldCell
{
    Q_OBJECT

public:
    explicit KZImageAndTextCell(QObject *parent = nullptr);

    [[nodiscard]] QPixmap image() const { return m_image; }
    void setImage(const QPixmap &image) { m_image = image; }
    // The title as last drawn; empty until the cell has drawn a titled row.
    [[nodiscard]] KZAttributedString attributedTitle() const { return m_attributedTitle; }
    [[nodiscard]] quint64 size() const { return m_size; }
    void setSize(quint64 size) { m_size = size; }
    [[nodiscard]] unsigned itemsCount() const { return m_itemsCount; }
    void setItemsCount(unsigned count) { m_itemsCount = count; }
    // Whether to draw the second line. Not a row role: the window sets it once for the column.
    [[nodiscard]] bool writeSize() const { return m_writeSize; }
    void setWriteSize(bool writeSize) { m_writeSize = writeSize; }
    [[nodiscard]] bool isDirectory() const { return m_isDirectory; }
    void setIsDirectory(bool isDirectory) { m_isDirectory = isDirectory; }
    // The volume's Trash is empty.
    [[nodiscard]] bool isInvisible() const { return m_isInvisible; }
    void setIsInvisible(bool isInvisible) { m_isInvisible = isInvisible; }

    // Nothing is drawn for a row without a title. Drawing by hand keeps the title drawn as
    // attributedTitle.
    void drawWithFrame(QPainter *painter, const QRectF &cellFrame) const override;
    KZAttributedString drawWithState(QPainter *painter, const QRectF &cellFrame,
                                     const KZCellState &state) const override;
    [[nodiscard]] KZCellState stateForRow(const QStyleOptionViewItem &option,
                                          const QModelIndex &index) const override;
    [[nodiscard]] KZCellState cellState() const override;
    [[nodiscard]] std::unique_ptr<KZTextFieldCell> copy() const override;

    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem &option,
                                 const QModelIndex &index) const override;
    // A title too long for its cell shows whole as the row's tool tip.
    bool helpEvent(QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option,
                   const QModelIndex &index) override;

private:
    [[nodiscard]] static QString sizeLine(const KZCellState &state);

    QPixmap m_image;
    // Written only by drawWithFrame(), a drawing by hand; a view's rows leave it alone.
    mutable KZAttributedString m_attributedTitle;
    quint64 m_size = 0;
    unsigned m_itemsCount = 0;
    bool m_isDirectory = false;
    bool m_isInvisible = false;
    bool m_writeSize = false;
};
