#include "KZTrashInfo.h"

#include "KZItemAttributes.h"
#include "KZPath.h"
#include "KZTrashFolder.h"
#include "format/KZDateUtilities.h"
#include "protocol/KZFileDescriptor.h"

#include <fcntl.h>

#include <cstdio>
#include <ctime>

std::optional<KZTrashInfo> KZTrashInfo::readForItem(const QUrl &itemURL)
{
    const QByteArray itemPath = KZPath::pathFromURL(itemURL);
    const QByteArray name = KZPath::fileName(itemPath);
    if (name.isEmpty())
        return std::nullopt;
    const KZFileDescriptor filesfd(
        ::open(KZPath::parentPath(itemPath).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!filesfd.isValid())
        return std::nullopt;
    const std::optional<QByteArray> root = KZTrashFolder::trashRootOfFilesFolder(
        KZTrashFolder::realPathOfDescriptor(filesfd.get(), KZFileManager::defaultManager()),
        KZTrashFolder::dataHomeFromEnvironment());
    if (!root)
        return std::nullopt;
    const QByteArray infoName = "../info/" + name + kFileSuffix;
    // An info file is a few lines; anything else another program left there (a FIFO, a
    // folder, a huge file) is not read, and the item shows without its origin.
    QByteArray content;
    if (!KZItemAttributes::readSmallFileAt(filesfd.get(), infoName.constData(), kMaximumSize,
                                           &content, KZFileManager::defaultManager()))
        return std::nullopt;
    return parse(content, KZTrashFolder::topDirectoryOfTrashRoot(*root));
}

std::optional<KZTrashInfo> KZTrashInfo::parse(const QByteArray &content,
                                              const QByteArray &topDirectory)
{
    KZTrashInfo info;
    bool inGroup = false;
    bool sawGroup = false;
    for (QByteArray line : content.split('\n')) {
        if (line.endsWith('\r'))
            line.chop(1);
        if (line.startsWith('[')) {
            inGroup = line == "[Trash Info]";
            sawGroup = sawGroup || inGroup;
            continue;
        }
        if (!inGroup)
            continue;
        if (line.startsWith("Path=") && info.originalPath.isEmpty()) {
            const QByteArray path = QByteArray::fromPercentEncoding(line.mid(5));
            if (path.startsWith('/') || topDirectory.isEmpty())
                info.originalPath = path;
            else
                info.originalPath = KZPath::join(topDirectory, path);
        } else if (line.startsWith("DeletionDate=") && !info.deletionDate) {
            info.deletionDate = parseDeletionDate(line.mid(13).trimmed());
        }
    }
    if (!sawGroup)
        return std::nullopt;
    return info;
}

std::optional<double> KZTrashInfo::parseDeletionDate(const QByteArray &text)
{
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    int consumed = 0;
    const QByteArray terminated = text + '\0';
    if (std::sscanf(terminated.constData(), "%4d-%2d-%2dT%2d:%2d:%2d%n", &year, &month, &day, &hour,
                    &minute, &second, &consumed)
            != 6
        && std::sscanf(terminated.constData(), "%4d%2d%2dT%2d:%2d:%2d%n", &year, &month, &day,
                       &hour, &minute, &second, &consumed)
               != 6)
        return std::nullopt;
    if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 60)
        return std::nullopt;
    std::tm local{};
    local.tm_year = year - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = second;
    local.tm_isdst = -1;
    const time_t seconds = std::mktime(&local);
    if (seconds == time_t(-1) && !(year == 1969 && month == 12 && day == 31))
        return std::nullopt;
    return double(seconds) - double(KZDateUtilities::kSeconds1970To2001);
}

QByteArray KZTrashInfo::infoPathForItemPath(const QByteArray &itemPath)
{
    const QByteArray root = KZPath::parentPath(KZPath::parentPath(itemPath));
    return KZPath::join(KZPath::join(root, "info"), KZPath::fileName(itemPath) + kFileSuffix);
}
