#pragma once

#include "KZPreviewContent.h"

#include <QModelIndex>
#include <QPointer>
#include <QRect>
#include <QTimer>
#include <QUrl>
#include <QWidget>

#include <functional>
#include <optional>

class QAbstractItemView;
class QLabel;
class QPlainTextEdit;
class QPropertyAnimation;
class QStackedWidget;

// One item as the preview shows it: where it lies in the Trash, and its size when the list
// knows it (a folder's size is only known once measured).
struct KZPreviewItem
{
    QUrl itemURL;
    std::optional<quint64> size;
};

// Binwise's preview of the item selected in the smart-delete window's item list: a tool window
// above the others that shows a picture, the start of a text, a PDF's first page, or the item's
// large icon with its facts. The space bar in the lists it watches opens and closes it; while
// it is open it follows the list's selection, hands every other key to the list (so the arrow
// keys move the selection), and a watchdog closes it within 0.2 s of the selection going
// away. It grows out of the selected row's icon and shrinks back into it. GUI thread only.
class KZPreviewWindow : public QWidget
{
    Q_OBJECT

public:
    using ItemForIndex = std::function<std::optional<KZPreviewItem>(const QModelIndex &)>;

    // parent: the window the preview belongs to; the preview stays a window of its own.
    explicit KZPreviewWindow(QWidget *parent = nullptr);
    ~KZPreviewWindow() override;

    // The list whose selected row is previewed, and how a row becomes an item. Call after the
    // list has its model. The list's space bar toggles the preview.
    void setItemList(QAbstractItemView *list, ItemForIndex itemForIndex);
    // Another widget whose space bar toggles the preview (the source list).
    void addSpaceBarSource(QWidget *widget);

    // Opens the preview of the selected item, or closes it when it is open; beeps when
    // nothing is selected.
    void quickLookAction();
    // The item of the list's selected row, or nothing.
    [[nodiscard]] std::optional<KZPreviewItem> selectedObjects() const;
    // Closes the preview at once, without shrinking (its window is closing).
    void orderOut();
    // Shows the selected item again when the preview is open; nothing otherwise.
    void showPreviewWithQuickLook();
    // The watchdog's tick: closes the preview when the selection is gone, stops itself once
    // the preview is closed.
    void checkForUnselected();
    // Where the selected row's icon is on the screen, 32 x 32 points: where the preview grows
    // from and shrinks into. Empty when no row is selected.
    [[nodiscard]] QRect rectOfItem() const;

    // Whether the preview is open (or opening); false once it has begun to close.
    [[nodiscard]] bool isPreviewOpen() const { return m_open; }
    // What is shown now, for those who look at the window from outside.
    [[nodiscard]] KZPreviewContent::Kind shownKind() const { return m_shownKind; }
    [[nodiscard]] QUrl shownURL() const { return m_shownURL; }
    [[nodiscard]] bool watchdogIsRunning() const { return m_watchdog.isActive(); }
    // The window is growing out of or shrinking into the row's icon.
    [[nodiscard]] bool isZooming() const;

protected:
    void keyPressEvent(QKeyEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void showItem(const KZPreviewItem &item);
    void showFacts(const KZPreviewItem &item, const QString &kindName);
    void openFrom(const QRect &iconRect);
    void closeInto(const QRect &iconRect);
    [[nodiscard]] QRect restingGeometry() const;

    QPointer<QAbstractItemView> m_list;
    ItemForIndex m_itemForIndex;
    QTimer m_watchdog;
    QPropertyAnimation *m_zoom = nullptr;
    bool m_open = false;
    std::optional<QRect> m_lastGeometry;

    QStackedWidget *m_pages = nullptr;
    QLabel *m_picture = nullptr;
    QPlainTextEdit *m_text = nullptr;
    QWidget *m_facts = nullptr;
    QLabel *m_factsIcon = nullptr;
    QLabel *m_factsName = nullptr;
    QLabel *m_factsKind = nullptr;
    QLabel *m_factsSize = nullptr;
    QLabel *m_factsWhere = nullptr;
    QLabel *m_factsAdded = nullptr;
    QLabel *m_footer = nullptr;

    KZPreviewContent::Kind m_shownKind = KZPreviewContent::Kind::Facts;
    QUrl m_shownURL;
};
