#include "KZTestIconTheme.h"

#include "model/KZIconTheme.h"

#include <QDir>
#include <QFile>
#include <QIcon>

#include <filesystem>

using namespace Qt::StringLiterals;

KZTestIconTheme::KZTestIconTheme()
{
    QDir().mkpath(scratch());

    const QStringList sections = {u"16x16/mimetypes:16:Fixed"_s, u"48x48/mimetypes:48:Fixed"_s,
                                  u"48x48/places:48:Fixed"_s, u"48x48/devices:48:Fixed"_s};
    writeTheme(u"KZTest"_s, sections, u"KZParent"_s);
    writeTheme(u"KZParent"_s, sections);
    writeTheme(u"hicolor"_s, sections);
    for (int side : {16, 48}) {
        const QString dir = u"%1x%1/mimetypes"_s.arg(side);
        writeIcon(u"KZTest"_s, dir, u"text-x-generic"_s, side, kTextColor);
        writeIcon(u"KZTest"_s, dir, u"application-x-generic"_s, side, kTextColor.darker());
    }
    writeIcon(u"KZTest"_s, u"48x48/places"_s, u"folder"_s, 48, kFolderColor);
    writeIcon(u"KZTest"_s, u"48x48/places"_s, u"folder-custom"_s, 48, kNamedCustomColor);
    writeIcon(u"KZTest"_s, u"48x48/devices"_s, u"drive-harddisk"_s, 48, kDriveColor);
    writeIcon(u"KZParent"_s, u"48x48/mimetypes"_s, u"parent-only"_s, 48, kParentOnlyColor);
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
        body += u"\n[%1]\nSize=%2\nType=%3\n"_s.arg(parts[0], parts[1], parts[2]);
        if (parts.size() == 5)
            body += u"MinSize=%1\nMaxSize=%2\n"_s.arg(parts[3], parts[4]);
        QDir().mkpath(base() + u'/' + name + u'/' + parts[0]);
    }
    QFile index(base() + u'/' + name + u"/index.theme"_s);
    if (index.open(QIODevice::WriteOnly))
        index.write(u"[Icon Theme]\nName=%1\nDirectories=%2\nInherits=%3\n%4"_s
                        .arg(name, directories.join(u','), inherits, body)
                        .toUtf8());
}

void KZTestIconTheme::writeIcon(const QString &theme, const QString &directory, const QString &name,
                                int side, const QColor &colour)
{
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(colour);
    image.save(base() + u'/' + theme + u'/' + directory + u'/' + name + u".png"_s);
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
