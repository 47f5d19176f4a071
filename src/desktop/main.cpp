// binwise: the desktop application in the tray when started without a command (or with
// "tray"), the command-line front end otherwise. Commands run on a QCoreApplication and need
// no display.
#include "KZCliApplication.h"
#include "KZCommandLine.h"
#include "KZDesktopApplication.h"

#include <QCoreApplication>

int main(int argc, char **argv)
{
    // The arguments as the kernel gave them: paths may be names that are not UTF-8.
    QByteArrayList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QByteArray(argv[i]));

    KZCommandLine::Options options;
    QString error;
    if (KZCommandLine::parse(arguments, &options, &error) && KZCommandLine::startsDesktop(options))
        return KZDesktopApplication::run(argc, argv);

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("binwise"));
    QCoreApplication::setApplicationVersion(QStringLiteral(BINWISE_VERSION));
    return KZCliApplication::run(arguments);
}
