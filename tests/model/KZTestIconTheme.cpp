#include "KZTestIconTheme.h"

#include "model/KZIconTheme.h"

#include <QDir>
#include <QFile>
#include <QIcon>
#include <QStandardPaths>

#include <filesystem>

KZTestIconTheme::KZTestIconTheme()
{
    m_savedTheme = QIcon::themeName();
    m_savedSearchPaths = QIcon::themeSearchPaths();
    QDir().mkpath(scratch());

    const QStringList sections
        = {QStringLiteral("16x16/mimetypes:16:Fixed"), QStringLiteral("48x48/mimetypes:48:Fixed"),
           QStringLiteral("48x48/places:48:Fixed"), QStringLiteral("48x48/devices:48:Fixed")};
    writeTheme(QStringLiteral("KZTest"), sections, QStringLiteral("KZParent"));
    writeTheme(QStringLiteral("KZParent"), sections);
    writeTheme(QStringLiteral("hicolor"), sections);
    for (int side : {16, 48}) {
        const QString dir = QStringLiteral("%1x%1/mimetypes").arg(side);
        writeIcon(QStringLiteral("KZTest"), dir, QStringLiteral("text-x-generic"), side,
                  kTextColor);
        writeIcon(QStringLiteral("KZTest"), dir, QStringLiteral("application-x-generic"), side,
                  kTextColor.darker());
    }
    writeIcon(QStringLiteral("KZTest"), QStringLiteral("48x48/places"), QStringLiteral("folder"),
              48, kFolderColor);
    writeIcon(QStringLiteral("KZTest"), QStringLiteral("48x48/places"),
              QStringLiteral("folder-custom"), 48, kNamedCustomColor);
    writeIcon(QStringLiteral("KZTest"), QStringLiteral("48x48/devices"),
              QStringLiteral("drive-harddisk"), 48, kDriveColor);
    writeIcon(QStringLiteral("KZParent"), QStringLiteral("48x48/mimetypes"),
              QStringLiteral("parent-only"), 48, kParentOnlyColor);
}

KZTestIconTheme::~KZTestIconTheme()
{
    QIcon::setThemeSearchPaths(m_savedSearchPaths);
    QIcon::setThemeName(m_savedTheme);
    KZIconTheme::themeChanged();
    // QDir cannot name files whose names are not UTF-8; the C++ library removes them by bytes.
    std::error_code ignored;
    std::filesystem::remove_all(
        std::filesystem::path(QFile::encodeName(m_dir.path()).toStdString()), ignored);
}

void KZTestIconTheme::writeTheme(const QString &name, const QStringList &sections,
                                 const QString &inherits)
{
    QDir().mkpath(base() + u'/' + name);
    QStringList directories;
    QString body;
    for (const QString &section : sections) {
        // "dir:size:type[:min:max]"
        const QStringList parts = section.split(u':');
        directories << parts[0];
        body += QStringLiteral("\n[%1]\nSize=%2\nType=%3\n").arg(parts[0], parts[1], parts[2]);
        if (parts.size() == 5)
            body += QStringLiteral("MinSize=%1\nMaxSize=%2\n").arg(parts[3], parts[4]);
        QDir().mkpath(base() + u'/' + name + u'/' + parts[0]);
    }
    QFile index(base() + u'/' + name + QStringLiteral("/index.theme"));
    if (!index.open(QIODevice::WriteOnly))
        return;
    QString header = QStringLiteral("[Icon Theme]\nName=%1\nDirectories=%2\n")
                         .arg(name, directories.join(u','));
    if (!inherits.isEmpty())
        header += QStringLiteral("Inherits=%1\n").arg(inherits);
    index.write((header + body).toUtf8());
}

void KZTestIconTheme::writeIcon(const QString &theme, const QString &directory, const QString &name,
                                int side, const QColor &colour)
{
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(colour);
    image.save(base() + u'/' + theme + u'/' + directory + u'/' + name + QStringLiteral(".png"));
}

void KZTestIconTheme::use(const QString &theme)
{
    QIcon::setThemeSearchPaths({base()});
    QIcon::setThemeName(theme);
    KZIconTheme::themeChanged();
}

QColor KZTestIconTheme::centre(const QImage &image)
{
    return image.isNull() ? QColor() : image.pixelColor(image.width() / 2, image.height() / 2);
}
