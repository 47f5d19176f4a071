#pragma once

#include <QCache>
#include <QHash>
#include <QImage>
#include <QMutex>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

// A reader of freedesktop.org icon themes that works on any thread. QIcon's theme loader and
// its caches belong to the GUI thread, so the icons that worker threads need come from the
// theme files directly, as QImages; QIcon only says (on the GUI thread) which theme the desktop
// uses and where themes are installed. One instance is immutable after construction apart from
// its image cache, which is locked.
class KZIconTheme
{
public:
    // Qt's file icon provider's icons, the last resort when the theme has nothing.
    enum class ProviderIcon { File, Folder, Drive, Network };

    // The desktop's theme. Any thread. The settings are read on the GUI thread: there at once,
    // and from a worker by asking the GUI thread and waiting for it at most two seconds (after
    // which the worker gets the desktop-independent default theme). Called on the GUI thread,
    // it also notices a theme switched through QIcon.
    [[nodiscard]] static std::shared_ptr<const KZIconTheme> current();
    // Forgets the theme read so far; the next request reads the desktop's settings again. GUI
    // thread; the application calls it when it sees QEvent::ThemeChange.
    static void themeChanged();

    // The theme named themeName (empty or "hicolor": the theme GNOME or KDE installs, as the
    // desktop named none) with the themes it inherits and then hicolor, looked up in the theme
    // folders of searchPaths, then unthemed icons in pixmapPaths. Images are made for
    // devicePixelRatio. Any thread; reads the folders once, here.
    KZIconTheme(const QString &themeName, const QStringList &searchPaths,
                const QStringList &pixmapPaths = {}, qreal devicePixelRatio = 1,
                const QHash<ProviderIcon, QImage> &providerImages = {});
    ~KZIconTheme();
    KZIconTheme(const KZIconTheme &) = delete;
    KZIconTheme &operator=(const KZIconTheme &) = delete;

    // The themes searched, in order.
    [[nodiscard]] QStringList themeChain() const;
    [[nodiscard]] qreal devicePixelRatio() const { return m_devicePixelRatio; }

    // The file of the first of names the themes hold, theme by theme (each theme is asked for
    // every name before the next theme), at the size best for pixelSize pixels: an exact or
    // scalable match, else the smallest larger size, else the largest. Empty when none.
    [[nodiscard]] QString filePathForNames(const QStringList &names, int pixelSize) const;
    // That file as a pixelSize x pixelSize image (device pixel ratio 1); null when no file is
    // found or it cannot be read. Any thread.
    [[nodiscard]] QImage imageForNames(const QStringList &names, int pixelSize) const;
    // Qt's file icon provider's image for kind at pixelSize pixels, as read on the GUI thread
    // when the desktop's theme was taken; null when there was none.
    [[nodiscard]] QImage providerImage(ProviderIcon kind, int pixelSize) const;

    // Reads an image file at most 64 MiB large, without blocking on a FIFO or a device. Null
    // when the file is no image.
    [[nodiscard]] static QImage readImageFile(const QByteArray &path,
                                              const QSize &scaledSize = QSize());

private:
    struct Directory
    {
        enum class Type { Fixed, Scalable, Threshold };
        int size = 0;
        int scale = 1;
        int minSize = 0;
        int maxSize = 0;
        int threshold = 2;
        Type type = Type::Threshold;
    };
    struct IconFile
    {
        int directory = 0;
        QString path;
    };
    struct Theme
    {
        QString name;
        std::vector<Directory> directories;
        QHash<QString, std::vector<IconFile>> files; // icon name -> files, directory order
    };

    [[nodiscard]] static bool loadTheme(const QString &name, const QStringList &searchPaths,
                                        Theme *theme, QStringList *inherits);
    [[nodiscard]] static QString lookupIcon(const Theme &theme, const QString &name, int pixelSize);

    std::vector<Theme> m_chain;
    QStringList m_pixmapPaths;
    qreal m_devicePixelRatio = 1;
    QHash<ProviderIcon, QImage> m_providerImages;
    mutable QMutex m_cacheLock;
    mutable QCache<QString, QImage> m_cache;
};
