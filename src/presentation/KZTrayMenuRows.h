#pragma once

#include "model/KZTrashLocation.h"

#include <QList>
#include <QObject>
#include <QString>

#include <memory>

// The rows of the status menu's per-volume submenu, as plain text and enabled states that a
// QMenu (and, through it, a DBusMenu host) can show. Rebuilt every time the submenu opens; each
// enabled row measures its Trash once on the shared size pool and reports the result, so that
// an open menu updates in place. Main thread.
class KZTrayMenuRows : public QObject
{
    Q_OBJECT

public:
    explicit KZTrayMenuRows(QObject *parent = nullptr);
    ~KZTrayMenuRows() override;

    // New rows for records: a row is enabled when its Trash is not empty and canErase is true.
    // Enabled rows start measuring; results of earlier rows are dropped.
    void rebuild(const QList<KZTrashLocation> &records, bool canErase);
    // An erase started or ended: every row follows, and a row enabled now that has not
    // measured yet starts.
    void setCanErase(bool canErase);

    [[nodiscard]] int count() const { return int(m_rows.size()); }
    [[nodiscard]] const KZTrashLocation &record(int row) const { return m_rows.at(row).record; }
    [[nodiscard]] bool isEnabled(int row) const;
    // "name…" then, after a dash, the measured text, "Gathering_info" while measuring, or
    // "Trash_empty" for a disabled row.
    [[nodiscard]] QString text(int row) const;
    [[nodiscard]] QString secondLine(int row) const;
    // The measured text ("item_size" / "items_size"), or a null string while unknown.
    [[nodiscard]] QString info(int row) const { return m_rows.at(row).info; }

    // The localized second line of a measured Trash.
    [[nodiscard]] static QString infoText(quint64 itemsSize, quint64 itemsCount);

Q_SIGNALS:
    // The rows were made anew.
    void rowsReset();
    // A row's text or enabled state changed.
    void rowChanged(int row);

private:
    struct Row
    {
        KZTrashLocation record;
        QString info;
        bool sizeIsWorking = false;
    };
    void measure(int row);

    QList<Row> m_rows;
    bool m_canErase = true;
    // The context of the running measurements: replaced at each rebuild, so that a result for
    // rows gone reaches nobody.
    std::unique_ptr<QObject> m_generation;
};
