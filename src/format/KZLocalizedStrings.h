#pragma once

#include <QHash>
#include <QMutex>
#include <QString>
#include <QStringList>

// The application's string tables: key to text, one JSON object per table, shipped as Qt
// resources under :/strings/<language>/<table>.json. Thread-safe; tables load on first use.
class KZLocalizedStrings
{
public:
    static inline const QString kGeneralTable = QStringLiteral("Localizable");
    static inline const QString kErrorsTable = QStringLiteral("Errors");
    static inline const QString kCommonHelperTable = QStringLiteral("KZCommonHelper");

    static KZLocalizedStrings &sharedControl();

    // languages: most preferred first, e.g. QLocale().uiLanguages(); English always closes the
    // list, so a key missing from a translation still reads in English.
    explicit KZLocalizedStrings(const QStringList &languages);

    // The text for key in table; a key that no table holds comes back as itself.
    [[nodiscard]] QString stringForKey(const QString &key,
                                       const QString &table = kGeneralTable) const;
    [[nodiscard]] bool hasKey(const QString &key, const QString &table = kGeneralTable) const;
    // Every key of a table in the most preferred language that has the table.
    [[nodiscard]] QStringList keysOfTable(const QString &table) const;
    [[nodiscard]] QStringList languages() const { return m_languages; }

    // Fills the "%@" places of string in order, one name each; names left over are dropped and
    // places left over stay as "%@". An empty list returns the string unchanged.
    [[nodiscard]] static QString replaceContentOfString(const QString &string,
                                                        const QStringList &names);

private:
    using Table = QHash<QString, QString>;
    const Table &table(const QString &language, const QString &name) const;

    QStringList m_languages;
    mutable QMutex m_lock;
    mutable QHash<QString, Table> m_tables; // "<language>/<table>" -> table
};

// Shorthands in the spirit of the platform's own localisation macros.
[[nodiscard]] QString KZLocalizedString(const QString &key);
[[nodiscard]] QString KZLocalizedStringFromTable(const QString &key, const QString &table);
// Looks up a format and fills its "%@" places with names.
[[nodiscard]] QString KZLocalizedFormat(const QString &key, const QStringList &names,
                                        const QString &table = KZLocalizedStrings::kGeneralTable);
