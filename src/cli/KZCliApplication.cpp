#include "KZCliApplication.h"

#include "KZCliEraseCommand.h"
#include "KZCliListing.h"
#include "KZCliPutCommand.h"
#include "KZCliRestoreCommand.h"
#include "KZCliTrashes.h"
#include "KZCommandLine.h"
#include "foundation/KZUserDefaults.h"
#include "privileged/KZSecureAccess.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <cerrno>

#include <unistd.h>

void KZCliApplication::writeTo(int fd, const QByteArray &bytes)
{
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.constData() + done, size_t(bytes.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        done += n;
    }
}

void KZCliApplication::printError(const QString &message)
{
    writeTo(STDERR_FILENO, "binwise: " + message.toUtf8() + '\n');
}

int KZCliApplication::run(const QByteArrayList &arguments)
{
    KZCommandLine::Options options;
    QString error;
    if (!KZCommandLine::parse(arguments, &options, &error)) {
        printError(error);
        return UsageError;
    }
    if (options.help) {
        writeTo(STDOUT_FILENO, KZCommandLine::helpText(options.command).toUtf8());
        return Done;
    }

    // The file model's diagnostics name internals ("NSTrashDirectory error"); on a terminal
    // the commands say the same in their own words. QT_LOGGING_RULES still shows them.
    if (options.command != KZCommandLine::Command::Tray)
        QLoggingCategory::setFilterRules(QStringLiteral("binwise.model.warning=false"));

    switch (options.command) {
    case KZCommandLine::Command::Version:
        writeTo(
            STDOUT_FILENO,
            QStringLiteral("binwise %1\n").arg(QCoreApplication::applicationVersion()).toUtf8());
        return Done;
    case KZCommandLine::Command::List: {
        KZCliTrashes trashes;
        writeTo(STDOUT_FILENO, KZCliListing(trashes).list(options.json));
        return Done;
    }
    case KZCommandLine::Command::Items: {
        KZCliTrashes trashes;
        QByteArray output;
        if (!KZCliListing(trashes).items(options.operands, options.filter, options.json, &output,
                                         &error)) {
            printError(QStringLiteral("items: ") + error);
            return UsageError;
        }
        writeTo(STDOUT_FILENO, output);
        return Done;
    }
    case KZCommandLine::Command::Empty:
    case KZCommandLine::Command::Erase: {
        // The user's settings, over the defaults the desktop application registers too.
        KZUserDefaults::sharedControl().setupDefaultsPreferences();
        // The engine reaches the privileged helper through this factory.
        KZSecureAccess::installFactory();
        KZCliTrashes trashes;
        return KZCliEraseCommand(options, trashes).run();
    }
    case KZCommandLine::Command::Put: {
        KZCliTrashes trashes;
        return KZCliPutCommand(options, trashes).run();
    }
    case KZCommandLine::Command::Restore: {
        KZCliTrashes trashes;
        return KZCliRestoreCommand(options, trashes).run();
    }
    case KZCommandLine::Command::None:
    case KZCommandLine::Command::Tray:
    case KZCommandLine::Command::Help:
        break;
    }
    writeTo(STDOUT_FILENO, KZCommandLine::helpText().toUtf8());
    return Done;
}
