#pragma once

#include "model/KZTrashLocation.h"

#include <QList>
#include <QPointer>
#include <QWidget>

class KZDiskMenuItemView;
class QLabel;
class QVBoxLayout;

// Binwise's own window under the tray icon: one rich row per volume that has a Trash. It opens
// as a popup, so a click outside or Escape closes it, and it closes after a choice.
class KZTrayPanel : public QWidget
{
    Q_OBJECT

public:
    explicit KZTrayPanel(QWidget *parent = nullptr);
    ~KZTrayPanel() override;

    // Makes new rows for records (each opening measures afresh) and shows the panel next to
    // trayIconGeometry, or near the mouse pointer when that is empty (the tray host tells no
    // geometry). A row can be chosen only when its Trash is not empty and no erase is under way.
    void showRows(const QList<KZTrashLocation> &records, bool isWorking,
                  const QRect &trayIconGeometry);
    // The rows of the last showRows, in the records' order.
    [[nodiscard]] QList<KZDiskMenuItemView *> rows() const;

    // Where a window of size opens next to anchor: below it, or above when the anchor sits at
    // the bottom (or beside it for a panel at the screen's side), always inside available.
    [[nodiscard]] static QRect placement(const QSize &size, const QRect &anchor,
                                         const QRect &available);

signals:
    // An enabled row was chosen: empty this volume's Trash. The panel has closed already.
    void rowChosen(const KZTrashLocation &record);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void clearRows();
    void moveSelection(int step);
    void fitToRows();

    QVBoxLayout *m_layout = nullptr;
    QList<QPointer<KZDiskMenuItemView>> m_rows;
    QPointer<QLabel> m_noTrashLabel;
    QRect m_anchor;
};
