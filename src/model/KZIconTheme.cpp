#include "KZIconTheme.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileIconProvider>
#include <QIcon>
#include <QImageReader>
#include <QLoggingCategory>
#include <QPainter>
#include <QSemaphore>
#include <QSet>
#include <QStandardPaths>
#include <QThread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <deque>

Q_LOGGING_CATEGORY(lcIconTheme, "binwise.icons")

namespace {

// The themes GNOME and KDE install; used when the desktop names no theme (a bare window
// manager, the offscreen platform), as GTK falls back to Adwaita.
const QStringList kDesktopDefaultThemes = {QStringLiteral("Adwaita"), QStringLiteral("breeze")};
const QString kHicolor = QStringLiteral("hicolor");
const QStringList kExtensions
    = {QStringLiteral(".png"), QStringLiteral(".svg"), QStringLiteral(".xpm")};
constexpr qint64 kMaxImageFileSize = 64 * 1024 * 1024;
constexpr int kCacheCostKiB = 32 * 1024;
constexpr int kProviderPixels = 256;

struct DesktopSettings
{
    QString themeName;
    QString fallbackThemeName;
    QStringList searchPaths;
    qreal devicePixelRatio = 1;

    friend bool operator==(const DesktopSettings &, const DesktopSettings &) = default;
};

struct SharedState
{
    QMutex lock;
    std::shared_ptr<const KZIconTheme> current;
    DesktopSettings settings;
    std::shared_ptr<const KZIconTheme> provisional;
};

SharedState &shared()
{
    static SharedState state;
    return state;
}

QStringList xdgIconPaths()
{
    QStringList paths{QDir::homePath() + QStringLiteral("/.icons")};
    const QStringList data = QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation);
    for (const QString &dir : data)
        paths << dir + QStringLiteral("/icons");
    return paths;
}

QStringList xdgPixmapPaths()
{
    QStringList paths;
    const QStringList data = QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation);
    for (const QString &dir : data)
        paths << dir + QStringLiteral("/pixmaps");
    return paths;
}

QStringList withoutDuplicates(const QStringList &list)
{
    QStringList result;
    for (const QString &item : list)
        if (!result.contains(item))
            result << item;
    return result;
}

bool isGuiThread()
{
    const QCoreApplication *app = QCoreApplication::instance();
    return qobject_cast<const QGuiApplication *>(app) && QThread::currentThread() == app->thread();
}

// GUI thread only: QIcon's settings are the platform theme's answers.
DesktopSettings readDesktopSettings()
{
    DesktopSettings settings;
    settings.themeName = QIcon::themeName();
    settings.fallbackThemeName = QIcon::fallbackThemeName();
    settings.searchPaths = QIcon::themeSearchPaths();
    settings.devicePixelRatio = qGuiApp->devicePixelRatio();
    return settings;
}

QImage providerIconImage(const QIcon &icon)
{
    if (icon.isNull())
        return {};
    return icon.pixmap(QSize(kProviderPixels, kProviderPixels), 1.0).toImage();
}

// GUI thread only.
std::shared_ptr<const KZIconTheme> makeDesktopTheme(const DesktopSettings &settings)
{
    QHash<KZIconTheme::ProviderIcon, QImage> provider;
    if (qobject_cast<QApplication *>(QCoreApplication::instance())) {
        const QFileIconProvider icons;
        provider.insert(KZIconTheme::ProviderIcon::File,
                        providerIconImage(icons.icon(QAbstractFileIconProvider::File)));
        provider.insert(KZIconTheme::ProviderIcon::Folder,
                        providerIconImage(icons.icon(QAbstractFileIconProvider::Folder)));
        provider.insert(KZIconTheme::ProviderIcon::Drive,
                        providerIconImage(icons.icon(QAbstractFileIconProvider::Drive)));
        provider.insert(KZIconTheme::ProviderIcon::Network,
                        providerIconImage(icons.icon(QAbstractFileIconProvider::Network)));
    }
    QString name = settings.themeName;
    if (name.isEmpty())
        name = settings.fallbackThemeName;
    return std::make_shared<KZIconTheme>(name,
                                         withoutDuplicates(settings.searchPaths + xdgIconPaths()),
                                         xdgPixmapPaths(), settings.devicePixelRatio, provider);
}

QImage squareImage(const QImage &image, int pixelSize)
{
    if (image.isNull())
        return {};
    QImage result = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    if (result.width() == pixelSize && result.height() == pixelSize)
        return result;
    const QImage scaled
        = result.scaled(pixelSize, pixelSize, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    if (scaled.width() == pixelSize && scaled.height() == pixelSize)
        return scaled;
    // A theme image that is not square is centred, as the desktop draws it.
    QImage canvas(pixelSize, pixelSize, QImage::Format_ARGB32_Premultiplied);
    canvas.fill(Qt::transparent);
    QPainter painter(&canvas);
    painter.drawImage((pixelSize - scaled.width()) / 2, (pixelSize - scaled.height()) / 2, scaled);
    return canvas;
}

} // namespace

std::shared_ptr<const KZIconTheme> KZIconTheme::current()
{
    SharedState &state = shared();
    if (isGuiThread()) {
        const DesktopSettings settings = readDesktopSettings();
        {
            QMutexLocker locker(&state.lock);
            if (state.current && state.settings == settings)
                return state.current;
        }
        auto theme = makeDesktopTheme(settings);
        QMutexLocker locker(&state.lock);
        state.current = theme;
        state.settings = settings;
        return theme;
    }

    {
        QMutexLocker locker(&state.lock);
        if (state.current)
            return state.current;
    }
    if (auto *app = qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        auto answered = std::make_shared<QSemaphore>();
        QMetaObject::invokeMethod(
            app,
            [answered] {
                (void)current();
                answered->release();
            },
            Qt::QueuedConnection);
        if (answered->tryAcquire(1, 2000)) {
            QMutexLocker locker(&state.lock);
            if (state.current)
                return state.current;
        } else {
            qCWarning(lcIconTheme) << "GUI thread busy; icons use the default theme for now";
        }
    }
    QMutexLocker locker(&state.lock);
    if (!state.provisional)
        state.provisional
            = std::make_shared<KZIconTheme>(QString(), xdgIconPaths(), xdgPixmapPaths());
    return state.provisional;
}

void KZIconTheme::themeChanged()
{
    SharedState &state = shared();
    QMutexLocker locker(&state.lock);
    state.current.reset();
    state.settings = {};
}

KZIconTheme::KZIconTheme(const QString &themeName, const QStringList &searchPaths,
                         const QStringList &pixmapPaths, qreal devicePixelRatio,
                         const QHash<ProviderIcon, QImage> &providerImages)
    : m_pixmapPaths(pixmapPaths)
    , m_devicePixelRatio(devicePixelRatio > 0 ? devicePixelRatio : 1)
    , m_providerImages(providerImages)
    , m_cache(kCacheCostKiB)
{
    QStringList wanted;
    if (themeName.isEmpty() || themeName == kHicolor) {
        for (const QString &candidate : kDesktopDefaultThemes) {
            if (std::any_of(searchPaths.begin(), searchPaths.end(), [&](const QString &base) {
                    return QFile::exists(base + u'/' + candidate + QStringLiteral("/index.theme"));
                })) {
                wanted << candidate;
                break;
            }
        }
    } else {
        wanted << themeName;
    }

    // Breadth first over Inherits, so a theme's own parents come before theirs; hicolor
    // closes the chain whatever the themes say.
    std::deque<QString> queue(wanted.begin(), wanted.end());
    QSet<QString> seen;
    while (!queue.empty()) {
        const QString name = queue.front();
        queue.pop_front();
        if (seen.contains(name) || name == kHicolor)
            continue;
        seen.insert(name);
        Theme theme;
        QStringList inherits;
        if (loadTheme(name, searchPaths, &theme, &inherits))
            m_chain.push_back(std::move(theme));
        queue.insert(queue.end(), inherits.begin(), inherits.end());
    }
    Theme hicolor;
    QStringList ignored;
    if (loadTheme(kHicolor, searchPaths, &hicolor, &ignored))
        m_chain.push_back(std::move(hicolor));
}

KZIconTheme::~KZIconTheme() = default;

bool KZIconTheme::loadTheme(const QString &name, const QStringList &searchPaths, Theme *theme,
                            QStringList *inherits)
{
    QStringList roots;
    for (const QString &base : searchPaths) {
        const QString root = base + u'/' + name;
        if (QFileInfo(root).isDir())
            roots << root;
    }
    QString indexPath;
    for (const QString &root : std::as_const(roots)) {
        if (QFile::exists(root + QStringLiteral("/index.theme"))) {
            indexPath = root + QStringLiteral("/index.theme");
            break;
        }
    }
    if (indexPath.isEmpty())
        return false;

    QFile index(indexPath);
    if (!index.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    // index.theme is a desktop-entry style file: [Groups] of key=value lines, lists split
    // at commas.
    QHash<QString, QHash<QString, QString>> groups;
    QString group;
    while (!index.atEnd()) {
        const QString line = QString::fromUtf8(index.readLine()).trimmed();
        if (line.isEmpty() || line.startsWith(u'#'))
            continue;
        if (line.startsWith(u'[') && line.endsWith(u']')) {
            group = line.mid(1, line.size() - 2);
            continue;
        }
        const qsizetype equals = line.indexOf(u'=');
        if (equals > 0)
            groups[group].insert(line.left(equals).trimmed(), line.mid(equals + 1).trimmed());
    }
    const QHash<QString, QString> header = groups.value(QStringLiteral("Icon Theme"));
    const auto list = [](const QString &value) {
        QStringList items = value.split(u',', Qt::SkipEmptyParts);
        for (QString &item : items)
            item = item.trimmed();
        return items;
    };
    *inherits = list(header.value(QStringLiteral("Inherits")));
    const QStringList directories = list(header.value(QStringLiteral("Directories")))
                                    + list(header.value(QStringLiteral("ScaledDirectories")));

    theme->name = name;
    for (const QString &directoryName : directories) {
        const QHash<QString, QString> keys = groups.value(directoryName);
        bool ok = false;
        Directory directory;
        directory.size = keys.value(QStringLiteral("Size")).toInt(&ok);
        if (!ok || directory.size <= 0)
            continue;
        directory.scale = qMax(1, keys.value(QStringLiteral("Scale"), QStringLiteral("1")).toInt());
        directory.minSize = keys.value(QStringLiteral("MinSize")).toInt(&ok);
        if (!ok)
            directory.minSize = directory.size;
        directory.maxSize = keys.value(QStringLiteral("MaxSize")).toInt(&ok);
        if (!ok)
            directory.maxSize = directory.size;
        directory.threshold = keys.value(QStringLiteral("Threshold"), QStringLiteral("2")).toInt();
        const QString type = keys.value(QStringLiteral("Type"), QStringLiteral("Threshold"));
        directory.type = type == QLatin1String("Fixed")      ? Directory::Type::Fixed
                         : type == QLatin1String("Scalable") ? Directory::Type::Scalable
                                                             : Directory::Type::Threshold;
        const int directoryIndex = int(theme->directories.size());
        theme->directories.push_back(directory);

        for (const QString &root : std::as_const(roots)) {
            const QDir dir(root + u'/' + directoryName);
            const QStringList entries = dir.entryList(QDir::Files | QDir::Readable);
            for (const QString &entry : entries) {
                for (const QString &extension : kExtensions) {
                    if (entry.endsWith(extension)) {
                        const QString iconName = entry.left(entry.size() - extension.size());
                        theme->files[iconName].push_back({directoryIndex, dir.filePath(entry)});
                        break;
                    }
                }
            }
        }
    }
    return true;
}

QString KZIconTheme::lookupIcon(const Theme &theme, const QString &name, int pixelSize)
{
    const auto found = theme.files.constFind(name);
    if (found == theme.files.constEnd())
        return {};
    QString larger;
    int largerSize = 0;
    QString smaller;
    int smallerSize = 0;
    for (const IconFile &file : *found) {
        const Directory &dir = theme.directories[size_t(file.directory)];
        const int scale = dir.scale;
        int low = dir.size * scale;
        int high = low;
        if (dir.type == Directory::Type::Scalable) {
            low = dir.minSize * scale;
            high = dir.maxSize * scale;
        } else if (dir.type == Directory::Type::Threshold) {
            low = (dir.size - dir.threshold) * scale;
            high = (dir.size + dir.threshold) * scale;
        }
        if (dir.type == Directory::Type::Fixed ? pixelSize == low
                                               : pixelSize >= low && pixelSize <= high)
            return file.path;
        // Scaling down keeps an icon sharp; scaling up blurs it.
        const int nominal = dir.type == Directory::Type::Scalable ? high : dir.size * scale;
        if (nominal > pixelSize && (larger.isEmpty() || nominal < largerSize)) {
            larger = file.path;
            largerSize = nominal;
        } else if (nominal < pixelSize && (smaller.isEmpty() || nominal > smallerSize)) {
            smaller = file.path;
            smallerSize = nominal;
        }
    }
    return larger.isEmpty() ? smaller : larger;
}

QStringList KZIconTheme::themeChain() const
{
    QStringList names;
    for (const Theme &theme : m_chain)
        names << theme.name;
    return names;
}

QString KZIconTheme::filePathForNames(const QStringList &names, int pixelSize) const
{
    for (const Theme &theme : m_chain) {
        for (const QString &name : names) {
            const QString path = lookupIcon(theme, name, pixelSize);
            if (!path.isEmpty())
                return path;
        }
    }
    for (const QString &name : names) {
        for (const QString &dir : m_pixmapPaths) {
            for (const QString &extension : kExtensions) {
                const QString path = dir + u'/' + name + extension;
                if (QFileInfo(path).isFile())
                    return path;
            }
        }
    }
    return {};
}

QImage KZIconTheme::imageForNames(const QStringList &names, int pixelSize) const
{
    if (names.isEmpty() || pixelSize <= 0)
        return {};
    const QString key = names.join(u'|') + u'@' + QString::number(pixelSize);
    {
        QMutexLocker locker(&m_cacheLock);
        if (const QImage *cached = m_cache.object(key))
            return *cached;
    }
    const QString path = filePathForNames(names, pixelSize);
    if (path.isEmpty())
        return {};
    const bool scalable = path.endsWith(QLatin1String(".svg"));
    const QImage image = squareImage(
        readImageFile(QFile::encodeName(path), scalable ? QSize(pixelSize, pixelSize) : QSize()),
        pixelSize);
    if (image.isNull()) {
        qCDebug(lcIconTheme) << "unreadable icon file" << path;
        return {};
    }
    QMutexLocker locker(&m_cacheLock);
    m_cache.insert(key, new QImage(image), int(qMax<qsizetype>(1, image.sizeInBytes() / 1024)));
    return image;
}

QImage KZIconTheme::providerImage(ProviderIcon kind, int pixelSize) const
{
    return squareImage(m_providerImages.value(kind), pixelSize);
}

QImage KZIconTheme::readImageFile(const QByteArray &path, const QSize &scaledSize)
{
    if (path.isEmpty())
        return {};
    // O_NONBLOCK: a FIFO named like an image must not hang the caller. Only regular files are
    // read; devices could be endless.
    const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return {};
    struct stat st = {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size > kMaxImageFileSize) {
        ::close(fd);
        return {};
    }
    QFile file;
    if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return {};
    }
    QImageReader reader(&file);
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(true);
    if (scaledSize.isValid() && !scaledSize.isEmpty())
        reader.setScaledSize(scaledSize);
    QImage image;
    if (!reader.read(&image))
        return {};
    return image;
}
