#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

#include <functional>

// The table of helper commands and the polkit actions (rights) they run under, shared by the
// application and the installed policy. Class operations only; any thread.
class KZCommonHelper
{
public:
    static inline const QString kAuthRightName = QStringLiteral("authRightName");
    static inline const QString kAuthRightDefault = QStringLiteral("authRightDefault");
    static inline const QString kAuthRightDescription = QStringLiteral("authRightDescription");
    static inline const QString kEraseCommand
        = QStringLiteral("eraseWithAuthorization:itemsDictionary:withReply:");
    // polkit's counterpart of asking for an administrator's credentials.
    static inline const QString kAdminRule = QStringLiteral("auth_admin");

    // {command: {"authRightName", "authRightDefault", "authRightDescription"}}, built once.
    [[nodiscard]] static const QVariantMap &commandInfo();
    // The right a command runs under; a null string for a command not in the table.
    [[nodiscard]] static QString authorizationRightForCommand(const QString &command);

    using RightBlock
        = std::function<void(const QString &authRightName, const QVariant &authRightDefault,
                             const QString &authRightDescription)>;
    // Calls block once per command of the table. A malformed entry is a programming error
    // that ends the process.
    static void enumerateRightsUsingBlock(const RightBlock &block);
    static void enumerateRightsUsingBlock(const QVariantMap &table, const RightBlock &block);

    // The polkit counterpart of registering the rights: the policy document (from the shipped
    // template) defining each right that no policy in actionsFolder defines yet, with its
    // exec.path naming helperPath; empty when all exist. An existing action is left as it is,
    // so that an administrator's change of it survives. actionsFolder must not be empty.
    [[nodiscard]] static QByteArray setupAuthorizationRights(const QString &actionsFolder,
                                                             const QString &helperPath);
    // Action ids defined by the *.policy files of actionsFolder.
    [[nodiscard]] static QStringList definedActions(const QString &actionsFolder);
};
