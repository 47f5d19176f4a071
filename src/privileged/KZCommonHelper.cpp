#include "KZCommonHelper.h"

#include "format/KZLocalizedStrings.h"

#include <QDir>
#include <QFile>
#include <QXmlStreamReader>

namespace {

// Programming errors end the process in every build, as the rights must never be half set up.
void require(bool condition, const char *assertion)
{
    if (!condition)
        qFatal("Assertion \"%s\" failed", assertion);
}

} // namespace

const QVariantMap &KZCommonHelper::commandInfo()
{
    static const QVariantMap table{
        {kEraseCommand,
         QVariantMap{
             {kAuthRightName, QStringLiteral("org.binwise.Binwise.eraseAuthorized")},
             {kAuthRightDefault, kAdminRule},
             {kAuthRightDescription,
              KZLocalizedStringFromTable(
                  QStringLiteral("Binwise is trying to erase with root authorization."),
                  KZLocalizedStrings::kCommonHelperTable)},
         }},
    };
    return table;
}

QString KZCommonHelper::authorizationRightForCommand(const QString &command)
{
    const auto found = commandInfo().constFind(command);
    if (found == commandInfo().cend())
        return {};
    return found->toMap().value(kAuthRightName).toString();
}

void KZCommonHelper::enumerateRightsUsingBlock(const RightBlock &block)
{
    enumerateRightsUsingBlock(commandInfo(), block);
}

void KZCommonHelper::enumerateRightsUsingBlock(const QVariantMap &table, const RightBlock &block)
{
    for (auto it = table.cbegin(); it != table.cend(); ++it) {
        require(it.value().typeId() == QMetaType::QVariantMap, "commandDict is a map");
        const QVariantMap command = it.value().toMap();
        const QVariant name = command.value(kAuthRightName);
        const QVariant rightDefault = command.value(kAuthRightDefault);
        const QVariant description = command.value(kAuthRightDescription);
        require(name.typeId() == QMetaType::QString, "authRightName is a string");
        require(rightDefault.isValid(), "authRightDefault != nil");
        require(description.typeId() == QMetaType::QString, "authRightDesc is a string");
        block(name.toString(), rightDefault, description.toString());
    }
}

QStringList KZCommonHelper::definedActions(const QString &actionsFolder)
{
    QStringList ids;
    const QStringList policies
        = QDir(actionsFolder).entryList({QStringLiteral("*.policy")}, QDir::Files);
    for (const QString &name : policies) {
        QFile file(QDir(actionsFolder).filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        QXmlStreamReader xml(&file);
        while (!xml.atEnd()) {
            if (xml.readNext() == QXmlStreamReader::StartElement
                && xml.name() == QLatin1String("action"))
                ids.append(xml.attributes().value(QLatin1String("id")).toString());
        }
    }
    return ids;
}

QByteArray KZCommonHelper::setupAuthorizationRights(const QString &actionsFolder,
                                                    const QString &helperPath)
{
    require(!actionsFolder.isEmpty(), "authRef != NULL");
    QFile templateFile(QStringLiteral(":/packaging/org.binwise.policy.in"));
    require(templateFile.open(QIODevice::ReadOnly), "the policy template is built in");
    const QString policy = QString::fromUtf8(templateFile.readAll());
    const qsizetype actionStart = policy.indexOf(QLatin1String("  <action "));
    const QString actionEnd = QStringLiteral("</action>\n");
    const qsizetype actionStop = policy.indexOf(actionEnd) + actionEnd.size();
    require(actionStart > 0 && actionStop > actionStart, "the policy template has an action");
    const QString action = policy.mid(actionStart, actionStop - actionStart);

    const QStringList existing = definedActions(actionsFolder);
    QString actions;
    enumerateRightsUsingBlock([&](const QString &name, const QVariant &rightDefault,
                                  const QString &description) {
        if (existing.contains(name))
            return;
        QString filled = action;
        filled.replace(QLatin1String("@BINWISE_RIGHT_NAME@"), name.toHtmlEscaped());
        filled.replace(QLatin1String("@BINWISE_RIGHT_DEFAULT@"),
                       rightDefault.toString().toHtmlEscaped());
        filled.replace(QLatin1String("@BINWISE_RIGHT_DESCRIPTION@"), description.toHtmlEscaped());
        filled.replace(QLatin1String("@BINWISE_HELPER_PATH@"), helperPath.toHtmlEscaped());
        actions += filled;
    });
    if (actions.isEmpty())
        return {};
    return (policy.left(actionStart) + actions + policy.mid(actionStop)).toUtf8();
}
