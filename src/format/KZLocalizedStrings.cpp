#include "KZLocalizedStrings.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QLoggingCategory>
#include <QMutexLocker>

Q_LOGGING_CATEGORY(lcStrings, "binwise.strings")

namespace {

const QString kFallbackLanguage = QStringLiteral("en");

// "de-DE" and "de_DE" both name the folder "de_DE"; "de" is tried after them.
QStringList candidateFolders(const QStringList &languages)
{
    QStringList folders;
    for (const QString &language : languages) {
        QString name = language;
        name.replace(QLatin1Char('-'), QLatin1Char('_'));
        if (!folders.contains(name))
            folders.append(name);
        const QString bare = name.section(QLatin1Char('_'), 0, 0);
        if (!bare.isEmpty() && !folders.contains(bare))
            folders.append(bare);
    }
    folders.removeAll(kFallbackLanguage);
    folders.append(kFallbackLanguage);
    return folders;
}

} // namespace

KZLocalizedStrings &KZLocalizedStrings::sharedControl()
{
    static KZLocalizedStrings shared(QLocale().uiLanguages());
    return shared;
}

KZLocalizedStrings::KZLocalizedStrings(const QStringList &languages)
    : m_languages(candidateFolders(languages))
{}

const KZLocalizedStrings::Table &KZLocalizedStrings::table(const QString &language,
                                                           const QString &name) const
{
    const QString id = language + QLatin1Char('/') + name;
    auto it = m_tables.constFind(id);
    if (it != m_tables.constEnd())
        return *it;

    Table loaded;
    QFile file(QStringLiteral(":/strings/%1.json").arg(id));
    if (file.open(QIODevice::ReadOnly)) {
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
        if (!doc.isObject()) {
            qCWarning(lcStrings, "string table %s is not a JSON object: %s", qPrintable(id),
                      qPrintable(error.errorString()));
        }
        const QJsonObject object = doc.object();
        for (auto entry = object.begin(); entry != object.end(); ++entry)
            loaded.insert(entry.key(), entry.value().toString());
    }
    return *m_tables.insert(id, loaded);
}

QString KZLocalizedStrings::stringForKey(const QString &key, const QString &tableName) const
{
    QMutexLocker locker(&m_lock);
    for (const QString &language : m_languages) {
        const Table &strings = table(language, tableName);
        auto it = strings.constFind(key);
        if (it != strings.constEnd())
            return *it;
    }
    return key;
}

bool KZLocalizedStrings::hasKey(const QString &key, const QString &tableName) const
{
    QMutexLocker locker(&m_lock);
    for (const QString &language : m_languages) {
        if (table(language, tableName).contains(key))
            return true;
    }
    return false;
}

QStringList KZLocalizedStrings::keysOfTable(const QString &tableName) const
{
    QMutexLocker locker(&m_lock);
    for (const QString &language : m_languages) {
        const Table &strings = table(language, tableName);
        if (!strings.isEmpty()) {
            QStringList keys = strings.keys();
            keys.sort();
            return keys;
        }
    }
    return {};
}

QString KZLocalizedStrings::replaceContentOfString(const QString &string, const QStringList &names)
{
    static const QString placeholder = QStringLiteral("%@");
    QString result = string;
    for (const QString &name : names) {
        // Always the first place still open, counted from the start: a name that itself holds
        // "%@" offers that place to the next name, as the older callers expect.
        const qsizetype at = result.indexOf(placeholder);
        if (at < 0)
            break;
        result.replace(at, placeholder.size(), name);
    }
    return result;
}

QString KZLocalizedString(const QString &key)
{
    return KZLocalizedStrings::sharedControl().stringForKey(key);
}

QString KZLocalizedStringFromTable(const QString &key, const QString &table)
{
    return KZLocalizedStrings::sharedControl().stringForKey(key, table);
}

QString KZLocalizedFormat(const QString &key, const QStringList &names, const QString &table)
{
    return KZLocalizedStrings::replaceContentOfString(
        KZLocalizedStrings::sharedControl().stringForKey(key, table), names);
}
