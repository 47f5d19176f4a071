#pragma once

#include "KZAlertBackend.h"

#include <QMutex>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

// The one place that shows errors, information panels and questions. Callers pass string-table
// keys (table "Errors"), never finished texts. Every entry may be called from any thread: off
// the main thread the alert is shown on the main thread while the caller waits for it.
class KZTUErrorDelegate
{
public:
    // Request dictionary keys.
    static inline const QString kError = QStringLiteral("error");
    static inline const QString kInfo = QStringLiteral("info");
    static inline const QString kMessKey = QStringLiteral("messKey");
    static inline const QString kNames = QStringLiteral("names");
    static inline const QString kWindow = QStringLiteral("window");
    static inline const QString kPrefName = QStringLiteral("prefName");
    static inline const QString kDButtonName = QStringLiteral("dbuttonName");
    static inline const QString kAButtonName = QStringLiteral("abuttonName");
    static inline const QString kOButtonName = QStringLiteral("obuttonName");
    // The older shape that showError(const QVariantMap &) accepts.
    static inline const QString kMessage = QStringLiteral("message");
    static inline const QString kAdditionalName = QStringLiteral("additionalName");

    static KZTUErrorDelegate &sharedControl();
    KZTUErrorDelegate();

    // Where alerts go; a terminal backend until the application sets another. Any thread.
    void setBackend(std::shared_ptr<KZAlertBackend> backend);
    [[nodiscard]] std::shared_ptr<KZAlertBackend> backend() const;

    // Application-modal warning; waits until it is dismissed.
    void showError(const QString &error, const QString &message = {},
                   const QStringList &additionalNames = {});
    // {"error": key, "message": key, "additionalName": [names]}.
    void showError(const QVariantMap &errorInfo);
    // A sheet on window when one is given, else application-modal; warning style.
    void showErrorForWindow(QObject *window, const QString &infoMessage,
                            const QString &message = {}, const QStringList &additionalNames = {});
    void showInformationalPanelForWindow(QObject *window, const QString &infoMessage,
                                         const QString &message = {},
                                         const QStringList &additionalNames = {});
    // Three buttons added in order (each even with an empty title); answers 1000, 1001 or
    // 1002. With nobody to answer, the second button (No, Cancel, Disagree) is taken.
    int askToTheUser(const QString &info, const QString &message,
                     const QStringList &additionalNames, const QString &defaultButton,
                     const QString &alternateButton, const QString &otherButton);
    // Deliberately empty: they show nothing, and the question answers 0. Callers wanting a
    // suppression box use KZBWAlert's askToTheUserWithOption.
    void showInformationalPanelWithView(const QString &info, const QString &message,
                                        const QStringList &additionalNames,
                                        const QString &preferenceName);
    int askToTheUserWithView(const QString &info, const QString &message,
                             const QStringList &additionalNames, const QString &defaultButton,
                             const QString &alternateButton, const QString &otherButton,
                             const QString &preferenceName);

    [[nodiscard]] static QString replaceContentOfString(const QString &string,
                                                        const QStringList &names);

    // The setting named with the last panel that carried a do-not-show-again box.
    [[nodiscard]] QString lastPrefStringUsed() const;
    // The answer of the last question.
    [[nodiscard]] int userChoice() const;
    // The box's action; the setting is left alone on purpose.
    void changeUserWarningVisibility(bool checked);
    // Title of the do-not-show-again box. A graphical backend sizes it as the title's width
    // in the control font plus 16 points, 22 points high.
    [[nodiscard]] static QString accessoryViewTitle();

private:
    enum class Kind { Error, Information, Question, InformationWithBox, QuestionWithBox };

    // The public entries' common path: hop to the main thread, then show.
    int present(Kind kind, const QVariantMap &request);
    int show(Kind kind, const QVariantMap &request);
    // The dictionary halves of the two empty entries; nothing reaches them today.
    void showInformationalPanelWithView(const QVariantMap &request);
    int askToTheUserWithView(const QVariantMap &request);

    static QVariantMap makeRequest(const QString &key, const QString &keyName,
                                   const QString &message, const QStringList &names,
                                   QObject *window);

    mutable QMutex m_lock;
    std::shared_ptr<KZAlertBackend> m_backend;
    QString m_lastPrefStringUsed;
    int m_userChoice = 0;
};
