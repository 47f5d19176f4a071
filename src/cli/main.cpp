// binwise: the command-line front end. Everything but the application object lives in
// binwise_cli, so that tests reach it.
#include "KZCliApplication.h"

#include <QCoreApplication>

int main(int argc, char **argv)
{
    // The arguments as the kernel gave them: paths may be names that are not UTF-8.
    QByteArrayList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QByteArray(argv[i]));

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("binwise"));
    QCoreApplication::setApplicationVersion(QStringLiteral(BINWISE_VERSION));
    return KZCliApplication::run(arguments);
}
