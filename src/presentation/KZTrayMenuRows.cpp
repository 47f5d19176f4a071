#include "KZTrayMenuRows.h"

#include "KZTrashSizeQueue.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"

KZTrayMenuRows::KZTrayMenuRows(QObject *parent)
    : QObject(parent)
    , m_generation(std::make_unique<QObject>())
{}

KZTrayMenuRows::~KZTrayMenuRows() = default;

void KZTrayMenuRows::rebuild(const QList<KZTrashLocation> &records, bool canErase)
{
    m_generation = std::make_unique<QObject>();
    m_canErase = canErase;
    m_rows.clear();
    m_rows.reserve(records.size());
    for (const KZTrashLocation &record : records)
        m_rows.append(Row{record, {}, false});
    Q_EMIT rowsReset();
    for (int row = 0; row < count(); ++row) {
        if (isEnabled(row))
            measure(row);
    }
}

void KZTrayMenuRows::setCanErase(bool canErase)
{
    if (m_canErase == canErase)
        return;
    m_canErase = canErase;
    for (int row = 0; row < count(); ++row) {
        if (m_rows.at(row).record.trashIsEmpty)
            continue;
        Q_EMIT rowChanged(row);
        if (isEnabled(row))
            measure(row);
    }
}

bool KZTrayMenuRows::isEnabled(int row) const
{
    return m_canErase && !m_rows.at(row).record.trashIsEmpty;
}

QString KZTrayMenuRows::secondLine(int row) const
{
    // A disabled row reads as empty, also while an erase is under way.
    if (!isEnabled(row))
        return KZLocalizedString(QStringLiteral("Trash_empty"));
    const QString &info = m_rows.at(row).info;
    return info.isNull() ? KZLocalizedString(QStringLiteral("Gathering_info")) : info;
}

QString KZTrayMenuRows::text(int row) const
{
    return QStringLiteral("%1… — %2").arg(m_rows.at(row).record.volumeName, secondLine(row));
}

QString KZTrayMenuRows::infoText(quint64 itemsSize, quint64 itemsCount)
{
    const KZNumberUtilities &numbers = KZNumberUtilities::sharedControl();
    const QString format
        = itemsCount == 1 ? QStringLiteral("item_size") : QStringLiteral("items_size");
    return KZLocalizedFormat(format, {numbers.numberToFormatString(double(itemsCount)),
                                      numbers.sizeToFormatString(itemsSize, 4, true)});
}

void KZTrayMenuRows::measure(int row)
{
    Row &entry = m_rows[row];
    if (entry.sizeIsWorking)
        return;
    entry.sizeIsWorking = true;
    KZTrashSizeQueue::sharedControl().measure(entry.record, m_generation.get(),
                                              [this, row](quint64 itemsSize, quint64 itemsCount) {
                                                  Row &measured = m_rows[row];
                                                  measured.record.itemsSize = itemsSize;
                                                  measured.record.itemsCount = itemsCount;
                                                  measured.info = infoText(itemsSize, itemsCount);
                                                  Q_EMIT rowChanged(row);
                                              });
}
