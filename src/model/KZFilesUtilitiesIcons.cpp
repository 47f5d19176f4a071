// The icon operations of the file model. They live in binwise_gui because images need Qt Gui.
#include "KZFilesUtilities.h"

#include "KZIconTheme.h"
#include "KZVolumeKind.h"

#include <QFile>
#include <QImage>
#include <QMimeDatabase>
#include <QPainter>
#include <QSize>
#include <QtMath>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// What the workspace calls an icon's own size.
constexpr int kNaturalIconSide = 32;
// The largest a row draws an icon (the item rows' two-line height).
constexpr int kLeastIconSide = 36;
// Enough of a file's start for every magic rule of the shared MIME database.
constexpr qint64 kMimeSniffBytes = 4096;
constexpr qint64 kDesktopEntryBytes = 64 * 1024;

struct Stat
{
    bool exists = false;
    mode_t mode = 0;
};

Stat statOf(const QByteArray &path)
{
    struct stat st = {};
    if (path.isEmpty() || ::lstat(path.constData(), &st) != 0)
        return {};
    return {true, st.st_mode};
}

// The first bytes of a regular file. Never follows a final symbolic link and never blocks on
// a FIFO: items in a Trash are not trusted.
QByteArray readHead(const QByteArray &path, qint64 limit)
{
    const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0)
        return {};
    QByteArray data;
    struct stat st = {};
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) {
        data.resize(limit);
        qint64 total = 0;
        while (total < limit) {
            const ssize_t got = ::read(fd, data.data() + total, size_t(limit - total));
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                break;
            total += got;
        }
        data.truncate(total);
    }
    ::close(fd);
    return data;
}

// The Icon= value of a desktop entry's [Desktop Entry] group.
QString desktopEntryIcon(const QByteArray &contents)
{
    bool inGroup = false;
    const QList<QByteArray> lines = contents.split('\n');
    for (const QByteArray &raw : lines) {
        const QByteArray line = raw.trimmed();
        if (line.startsWith('[')) {
            inGroup = line == "[Desktop Entry]";
            continue;
        }
        if (!inGroup)
            continue;
        const qsizetype equals = line.indexOf('=');
        if (equals > 0 && line.left(equals).trimmed() == "Icon")
            return QString::fromUtf8(line.mid(equals + 1).trimmed());
    }
    return {};
}

// The icon the user or the desktop gave this very item, if any.
QString customIconOf(const QByteArray &path, const Stat &stat)
{
    if (S_ISDIR(stat.mode)) {
        const QByteArray entry = path + (path.endsWith('/') ? "" : "/") + ".directory";
        return desktopEntryIcon(readHead(entry, kDesktopEntryBytes));
    }
    if (S_ISREG(stat.mode) && path.endsWith(".desktop"))
        return desktopEntryIcon(readHead(path, kDesktopEntryBytes));
    return {};
}

bool isMountRoot(const QByteArray &path)
{
    struct statx stx = {};
    if (::statx(AT_FDCWD, path.constData(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &stx) != 0)
        return false;
    if (stx.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT)
        return (stx.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    // Kernels before 5.8: a mount root sits on another device than its parent, or is "/".
    struct stat self = {};
    struct stat parent = {};
    if (::lstat(path.constData(), &self) != 0 || !S_ISDIR(self.st_mode)
        || ::stat((path + "/..").constData(), &parent) != 0)
        return false;
    return self.st_dev != parent.st_dev || self.st_ino == parent.st_ino;
}

QStringList mimeIconNames(const QMimeType &mime)
{
    QStringList names{mime.iconName(), mime.genericIconName()};
    const QStringList ancestors = mime.allAncestors();
    QMimeDatabase database;
    for (const QString &ancestor : ancestors) {
        const QMimeType parent = database.mimeTypeForName(ancestor);
        names << parent.iconName() << parent.genericIconName();
    }
    names.removeDuplicates();
    names.removeAll(QString());
    return names;
}

struct IconChoice
{
    QStringList names;
    KZIconTheme::ProviderIcon provider = KZIconTheme::ProviderIcon::File;
};

// The icon by kind: drive kind for mount points, the type's icon for everything else. A
// missing item is judged by its name alone.
IconChoice kindIconOf(const QByteArray &path, const Stat &stat)
{
    QMimeDatabase database;
    const QString name = QFile::decodeName(path.mid(path.lastIndexOf('/') + 1));
    if (stat.exists && S_ISDIR(stat.mode)) {
        if (isMountRoot(path)) {
            const KZVolumeKind::Kind kind = KZVolumeKind::kindOfVolume(path);
            return {KZVolumeKind::iconNames(kind), kind == KZVolumeKind::Kind::Network
                                                       ? KZIconTheme::ProviderIcon::Network
                                                       : KZIconTheme::ProviderIcon::Drive};
        }
        return {mimeIconNames(database.mimeTypeForName(QStringLiteral("inode/directory"))),
                KZIconTheme::ProviderIcon::Folder};
    }
    QString inodeType;
    if (stat.exists) {
        if (S_ISLNK(stat.mode))
            inodeType = QStringLiteral("inode/symlink");
        else if (S_ISFIFO(stat.mode))
            inodeType = QStringLiteral("inode/fifo");
        else if (S_ISSOCK(stat.mode))
            inodeType = QStringLiteral("inode/socket");
        else if (S_ISCHR(stat.mode))
            inodeType = QStringLiteral("inode/chardevice");
        else if (S_ISBLK(stat.mode))
            inodeType = QStringLiteral("inode/blockdevice");
    }
    if (!inodeType.isEmpty())
        return {mimeIconNames(database.mimeTypeForName(inodeType))
                    << QStringLiteral("text-x-generic"),
                KZIconTheme::ProviderIcon::File};

    QMimeType mime;
    const QList<QMimeType> byName = database.mimeTypesForFileName(name);
    if (byName.size() == 1 || !stat.exists)
        mime = byName.isEmpty()
                   ? database.mimeTypeForName(QStringLiteral("application/octet-stream"))
                   : byName.first();
    else
        mime = database.mimeTypeForFileNameAndData(name, readHead(path, kMimeSniffBytes));
    return {mimeIconNames(mime) << QStringLiteral("application-x-generic"),
            KZIconTheme::ProviderIcon::File};
}

QSize logicalSizeOrNatural(const QSize &size)
{
    if (size.width() <= 0 || size.height() <= 0)
        return QSize(kNaturalIconSide, kNaturalIconSide);
    return size;
}

int pixelSideFor(const QSize &logical, qreal ratio)
{
    return qCeil(qMax(qMax(logical.width(), logical.height()), kLeastIconSide) * ratio);
}

// A square image of pixelSide pixels given the logical size asked for: stretched to its
// shape when that is not square, with the ratio that makes it logical points large.
QImage withLogicalSize(QImage square, const QSize &logical)
{
    if (square.isNull())
        return {};
    const qreal ratio = qreal(square.width()) / qMax(logical.width(), logical.height());
    if (logical.width() != logical.height())
        square = square.scaled(qRound(logical.width() * ratio), qRound(logical.height() * ratio),
                               Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    square.setDevicePixelRatio(ratio);
    return square;
}

QImage customIconImage(const KZIconTheme &theme, const QString &icon, int pixelSide)
{
    if (icon.isEmpty())
        return {};
    if (icon.startsWith(u'/')) {
        QImage image
            = KZIconTheme::readImageFile(QFile::encodeName(icon), QSize(pixelSide, pixelSide));
        if (image.isNull())
            return {};
        return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    }
    // Desktop entries may name an icon with its file extension; the theme knows it without.
    QString name = icon;
    for (const char *extension : {".png", ".svg", ".xpm"})
        if (name.endsWith(QLatin1String(extension)))
            name.chop(4);
    return theme.imageForNames({name}, pixelSide);
}

QImage iconOfExistingOrNamedItem(const QByteArray &path, const Stat &stat, const QSize &logical)
{
    const std::shared_ptr<const KZIconTheme> theme = KZIconTheme::current();
    const int pixelSide = pixelSideFor(logical, theme->devicePixelRatio());
    QImage image;
    if (stat.exists)
        image = customIconImage(*theme, customIconOf(path, stat), pixelSide);
    if (image.isNull()) {
        const IconChoice choice = kindIconOf(path, stat);
        image = theme->imageForNames(choice.names, pixelSide);
        if (image.isNull())
            image = theme->providerImage(choice.provider, pixelSide);
    }
    return withLogicalSize(image, logical);
}

} // namespace

QImage KZFilesUtilities::iconOfItem(const QByteArray &path, const QUrl &url, const QSize &forSize)
{
    const QByteArray itemPath = url.isEmpty() ? path : KZPath::pathFromURL(url);
    const Stat stat = statOf(itemPath);
    if (!stat.exists)
        return {};
    return iconOfExistingOrNamedItem(itemPath, stat, logicalSizeOrNatural(forSize));
}

QImage KZFilesUtilities::iconForItemPath(const QByteArray &path, const QSize &withSize)
{
    const QSize logical = withSize.width() == 0 ? QSize(kNaturalIconSide, kNaturalIconSide)
                                                : logicalSizeOrNatural(withSize);
    return iconOfExistingOrNamedItem(path, statOf(path), logical);
}

QImage KZFilesUtilities::imageWithPath(const QByteArray &path, const QSize &ofSize)
{
    const bool keepOwnSize = ofSize.width() <= 0 || ofSize.height() <= 0;
    const qreal ratio = keepOwnSize ? 1.0 : KZIconTheme::current()->devicePixelRatio();
    const QSize pixels = keepOwnSize
                             ? QSize()
                             : QSize(qCeil(ofSize.width() * ratio), qCeil(ofSize.height() * ratio));
    QImage image = KZIconTheme::readImageFile(path, pixels);
    if (image.isNull())
        return {};
    if (!keepOwnSize) {
        if (image.size() != pixels)
            image = image.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        image.setDevicePixelRatio(ratio);
    }
    return image;
}

QImage KZFilesUtilities::ghostIconWithIcon(const QImage &icon, const QSize &forSize)
{
    if (forSize.width() <= 0 || forSize.height() <= 0)
        return {};
    const qreal ratio = icon.isNull() ? 1.0 : icon.devicePixelRatio();
    QImage ghost(qCeil(forSize.width() * ratio), qCeil(forSize.height() * ratio),
                 QImage::Format_ARGB32_Premultiplied);
    ghost.setDevicePixelRatio(ratio);
    ghost.fill(Qt::transparent);
    if (!icon.isNull()) {
        QPainter painter(&ghost);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        painter.setOpacity(0.5);
        painter.drawImage(QPointF(0, 0), icon);
    }
    return ghost;
}
