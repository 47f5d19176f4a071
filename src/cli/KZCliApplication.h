#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

// The binwise executable's body: parses the command line and runs one command on the
// QCoreApplication that main() made. Results go to standard output, messages, questions and
// progress to standard error. Main thread.
class KZCliApplication
{
public:
    // Exit statuses; scripts rely on them.
    enum ExitStatus : int {
        Done = 0,         // every requested item was erased (or the query answered)
        NotAllErased = 1, // some items were left: skipped, in use, locked, failed
        UsageError = 2,   // a usage error, or a request that cannot be carried out as asked
        Cancelled = 3,    // the user cancelled
    };

    // arguments: argv without the program's name, as bytes.
    [[nodiscard]] static int run(const QByteArrayList &arguments);

    // Writes all of bytes to a descriptor (standard output or error), retrying short writes.
    static void writeTo(int fd, const QByteArray &bytes);
    // "binwise: " + message + line feed, on standard error.
    static void printError(const QString &message);
};
