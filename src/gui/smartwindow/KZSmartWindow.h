#pragma once

#include <QTimer>
#include <QWidget>

class KZLazyIconModel;
class KZPreviewWindow;
class KZSmartWindowCntrl;
class KZSourceTableView;
class KZTrashedTableView;
class KZWaitingView;
class QPushButton;
class QSplitter;

// The smart-delete window: the volumes' Trashes on the left, the selected Trash's items on
// the right with tick boxes, sizes and dates, Cancel and Erase along the bottom, and the
// preview of the selected item. A tool window that stays above the others. Everything it
// shows and every tick goes through the controller; the window only draws and forwards.
// GUI thread only.
class KZSmartWindow : public QWidget
{
    Q_OBJECT

public:
    // controller: outlives the window (the application keeps both for its life).
    explicit KZSmartWindow(KZSmartWindowCntrl *controller, QWidget *parent = nullptr);
    ~KZSmartWindow() override;

    [[nodiscard]] KZSourceTableView *sourceList() const { return m_sourceList; }
    [[nodiscard]] KZTrashedTableView *list() const { return m_list; }
    [[nodiscard]] QPushButton *cancelBtn() const { return m_cancelBtn; }
    [[nodiscard]] QPushButton *eraseBtn() const { return m_eraseBtn; }
    [[nodiscard]] KZWaitingView *waitingView() const { return m_waitingView; }
    [[nodiscard]] KZPreviewWindow *previewWindow() const { return m_preview; }
    [[nodiscard]] KZLazyIconModel *itemIcons() const { return m_itemIcons; }

    // Whether the window is the active one (the cells draw their selection by it).
    [[nodiscard]] bool windowIsActive() const { return isActiveWindow(); }

protected:
    void closeEvent(QCloseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void showWindow();
    void setGathering(bool gathering);
    void showWaitingView();
    void sourceSelectionChanged();
    void selectVolumeRow(int row);
    void headerClicked(int column);
    void showSortIndicator();
    void placeWaitingView();

    KZSmartWindowCntrl *m_controller;
    KZLazyIconModel *m_volumeIcons = nullptr;
    KZLazyIconModel *m_itemIcons = nullptr;
    QSplitter *m_splitter = nullptr;
    KZSourceTableView *m_sourceList = nullptr;
    KZTrashedTableView *m_list = nullptr;
    QPushButton *m_cancelBtn = nullptr;
    QPushButton *m_eraseBtn = nullptr;
    KZWaitingView *m_waitingView = nullptr;
    KZPreviewWindow *m_preview = nullptr;
    QTimer m_waitingTimer;
    bool m_selectingByProgram = false;
};
