#pragma once

#include <QTableView>

// The smart-delete window's source list of volumes. The space bar asks for the preview of the
// item selected in the item list, whichever list has the keys. GUI thread only.
class KZSourceTableView : public QTableView
{
    Q_OBJECT

public:
    explicit KZSourceTableView(QWidget *parent = nullptr);

    // The selected row, or -1.
    [[nodiscard]] int selectedRow() const;

Q_SIGNALS:
    // The space bar was pressed.
    void quickLookRequested();

protected:
    void keyPressEvent(QKeyEvent *event) override;
};
