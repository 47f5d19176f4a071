#pragma once

#include <QColor>
#include <QIcon>
#include <QImage>
#include <QStringList>
#include <QTemporaryDir>

// Icon themes made for a test: solid-colour PNG icons in a folder of themes that QIcon is
// pointed at for the test's life. Only the machine's hicolor theme can add to them (the XDG
// data folders stay as they are: the MIME database lives there too). GUI thread.
class KZTestIconTheme
{
public:
    // Colours of the icons of the theme "KZTest" and of "parent-only" in its parent theme.
    static inline const QColor kTextColor{0, 0, 255};
    static inline const QColor kFolderColor{255, 200, 0};
    static inline const QColor kDriveColor{90, 90, 90};
    static inline const QColor kNamedCustomColor{200, 0, 200};
    static inline const QColor kParentOnlyColor{0, 160, 160};

    KZTestIconTheme();
    ~KZTestIconTheme();
    KZTestIconTheme(const KZTestIconTheme &) = delete;
    KZTestIconTheme &operator=(const KZTestIconTheme &) = delete;

    [[nodiscard]] bool isValid() const { return m_dir.isValid(); }
    // The folder holding the theme folders, and one for the test's own files.
    [[nodiscard]] QString base() const { return m_dir.path() + QStringLiteral("/icons"); }
    [[nodiscard]] QString scratch() const { return m_dir.path() + QStringLiteral("/files"); }

    // Writes the index.theme of name: sections as "dir:size:type[:min:max]", then Inherits.
    void writeTheme(const QString &name, const QStringList &sections, const QString &inherits = {});
    // Writes icon name as a side x side PNG of colour into theme/directory.
    void writeIcon(const QString &theme, const QString &directory, const QString &name, int side,
                   const QColor &colour);
    // Makes QIcon and the icon functions use theme (from base() only).
    void use(const QString &theme = QStringLiteral("KZTest"));

    [[nodiscard]] static QColor centre(const QImage &image);

private:
    QTemporaryDir m_dir;
    QString m_savedTheme = QIcon::themeName();
    QStringList m_savedSearchPaths = QIcon::themeSearchPaths();
};
