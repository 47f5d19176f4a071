#pragma once

#include "KZCliTrashes.h"
#include "KZCommandLine.h"
#include "erase/KZEraseRecord.h"
#include "erase/KZEraseSummary.h"

#include <QByteArrayList>
#include <QString>

#include <memory>

class KZCliOutcomes;

// "binwise empty" and "binwise erase": builds the request (all Trashes as the menu hands them,
// the named volumes' records, or one smart-erase record of the named items), hands it to the
// erase engine, turns the event loop until the engine posts "stopWorking", then prints the
// summary and answers the exit status. Main thread.
class KZCliEraseCommand
{
public:
    KZCliEraseCommand(const KZCommandLine::Options &options, KZCliTrashes &trashes);
    ~KZCliEraseCommand();

    // The exit status (KZCliApplication::ExitStatus).
    [[nodiscard]] int run();

    // The summary for a job: what was erased, and what was not and why, naming a few of the
    // items that stayed. left: the requested top-level items still there, of requested.
    [[nodiscard]] static QString summaryText(const KZEraseSummary &summary,
                                             const QByteArrayList &left, qsizetype requested);

private:
    // Builds m_request and m_requested; false (with the exit status in *status) when the
    // request is not one to start.
    [[nodiscard]] bool buildRequest(int *status);
    // Refuses what cannot be carried out as asked; false with the reason printed.
    [[nodiscard]] bool checkPreconditions();
    // Once per run: whether the helper can erase what the user's rights cannot.
    void checkHelper();
    [[nodiscard]] QByteArrayList itemsLeft() const;
    // The summary line, or any other message about the run's result: on standard output, or
    // on standard error when standard output carries the JSON document.
    void tell(const QByteArray &text) const;

    KZCommandLine::Options m_options;
    KZCliTrashes &m_trashes;
    KZEraseRequest m_request;
    // The top-level items the request covers, as paths, taken before the erase.
    QByteArrayList m_requested;
    // The same items with what their info files said, for the JSON document.
    QList<KZCliTrashes::TrashItem> m_requestedItems;
    std::shared_ptr<KZCliOutcomes> m_outcomes;
    bool m_helperChecked = false;
};
