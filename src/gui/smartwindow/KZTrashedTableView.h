#pragma once

#include <QPersistentModelIndex>
#include <QTableView>

class KZSmartWindowCntrl;

// The smart-delete window's item list. A click on a tick box ticks the item without selecting
// its row, with the click's modifiers (Shift ticks a range); a click elsewhere tells the
// controller first, so a range being built follows the click. GUI thread only.
class KZTrashedTableView : public QTableView
{
    Q_OBJECT

public:
    explicit KZTrashedTableView(KZSmartWindowCntrl *controller, QWidget *parent = nullptr);

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;

private:
    [[nodiscard]] bool isTickColumn(const QModelIndex &index) const;

    KZSmartWindowCntrl *m_controller;
    QPersistentModelIndex m_tickPressed;
};
