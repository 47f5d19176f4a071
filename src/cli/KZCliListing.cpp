#include "KZCliListing.h"

#include "KZJsonLines.h"
#include "format/KZDateUtilities.h"
#include "format/KZNumberUtilities.h"
#include "model/KZPath.h"
#include "model/KZTrashInfo.h"
#include "model/KZTrashSizes.h"

#include <QDateTime>
#include <QStringList>

namespace {

// A field of a text record: on one line, without tabs of its own.
QString field(const QByteArray &bytes)
{
    return KZPath::escapedDisplayString(bytes);
}

QString field(const QString &text)
{
    return KZPath::escapedDisplayString(text.toUtf8());
}

QString sizeText(quint64 bytes)
{
    return KZNumberUtilities::sharedControl().sizeToFormatString(bytes, 4, true);
}

QString countText(quint64 count)
{
    return KZNumberUtilities::sharedControl().numberToFormatString(double(count));
}

QString urlText(const QUrl &url)
{
    return url.toString(QUrl::FullyEncoded);
}

QByteArray line(const QStringList &fields)
{
    return fields.join(QLatin1Char('\t')).toUtf8() + '\n';
}

// Local time, as the Trash's own info files and `ls -l --time-style=+%F\ %T` give it.
QString dateText(std::optional<double> secondsSince2001)
{
    if (!secondsSince2001)
        return QStringLiteral("-");
    const qint64 seconds = qint64(*secondsSince2001) + KZDateUtilities::kSeconds1970To2001;
    return QDateTime::fromSecsSinceEpoch(seconds).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

} // namespace

KZCliListing::KZCliListing(KZCliTrashes &trashes)
    : m_trashes(trashes)
{}

QByteArray KZCliListing::list(bool json)
{
    KZJsonLines array;
    QByteArray text;
    for (const KZTrashLocation &location : m_trashes.locations()) {
        quint64 count = 0;
        quint64 size = 0;
        for (const QUrl &trashURL : location.trashURLs()) {
            quint64 found = 0;
            size += m_trashes.sizeOfTrash(trashURL, &found);
            count += found;
        }
        if (json) {
            array.beginObject();
            array.add("volumeName", location.volumeName);
            array.add("volumeURL", urlText(location.volumeURL));
            array.add("trashURL", urlText(location.trashURL));
            array.add("trashIsEmpty", location.trashIsEmpty);
            array.add("itemsCount", count);
            array.add("itemsSize", size);
            array.endObject();
        } else {
            text += line(
                {field(location.volumeName), field(KZPath::pathFromURL(location.volumeURL)),
                 field(KZPath::pathFromURL(location.trashURL)), countText(count), sizeText(size)});
        }
    }
    return json ? array.finish() : text;
}

bool KZCliListing::items(const QByteArrayList &volumes, const KZItemFilter &filter, bool json,
                         QByteArray *output, QString *error)
{
    QList<KZTrashLocation> selected;
    if (!m_trashes.selectVolumes(volumes, &selected, error))
        return false;
    KZJsonLines array;
    QByteArray text;
    const QList<KZCliTrashes::TrashItem> chosen
        = m_trashes.chooseItems(selected, filter, true, QDateTime::currentSecsSinceEpoch());
    for (const KZCliTrashes::TrashItem &item : chosen) {
        const std::optional<KZTrashInfo> &info = item.info;
        const quint64 size = item.size.value_or(0);
        const bool hasPath = info && !info->originalPath.isEmpty();
        if (json) {
            array.beginObject();
            array.add("volumeName", item.volumeName);
            array.add("name", KZPath::displayString(item.name));
            array.add("itemURL", urlText(item.url));
            array.add("originalPath",
                      hasPath ? std::optional<QString>(KZPath::displayString(info->originalPath))
                              : std::nullopt);
            array.add("added", info ? info->deletionDate : std::nullopt);
            array.add("size", size);
            array.endObject();
        } else {
            text += line({field(item.volumeName), field(item.name),
                          hasPath ? field(info->originalPath) : QStringLiteral("-"),
                          dateText(info ? info->deletionDate : std::nullopt), sizeText(size)});
        }
    }
    *output = json ? array.finish() : text;
    return true;
}
