#pragma once

#include <QTemporaryDir>
#include <QWidget>

class QStandardItemModel;
class QTableView;

// A window with a source list of sample volumes and two item lists (two-line rows and
// one-line rows) drawn by the smart-delete window's cells. The sample items are real files in
// a temporary folder, so their icons come from the icon theme as the window's would.
class KZCellsDemo : public QWidget
{
    Q_OBJECT

public:
    explicit KZCellsDemo(QWidget *parent = nullptr);

    // Selects a row in each list and gives the item list the focus, so the picture shows
    // highlighted rows in both colour schemes.
    void selectSampleRows();

private:
    void createSampleItems();
    QTableView *makeSourceList();
    QTableView *makeItemList(int rowHeight, int dateColumnWidth);

    QTemporaryDir m_items;
    QTableView *m_sourceList = nullptr;
    QTableView *m_itemList = nullptr;
    QTableView *m_compactList = nullptr;
};
