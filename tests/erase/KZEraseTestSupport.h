#pragma once

#include "KZFaultyFileManager.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "erase/KZBWAlert.h"
#include "erase/KZDeleteItems.h"
#include "erase/KZScriptedAlertBackend.h"
#include "erase/KZTUErrorDelegate.h"
#include "foundation/KZAppGlobals.h"
#include "foundation/KZUserDefaults.h"
#include "model/KZCommonFlleUtilties.h"
#include "model/KZFileManager.h"
#include "privileged/KZHelperClient.h"

#include <QList>
#include <QVariantMap>

#include <functional>
#include <memory>

// What a helper client was given. Each batch is acknowledged on the main thread as the real
// client does, reporting every listed item as erased (4096 bytes each).
struct KZHelperRecord
{
    QList<QVariantMap> batches;
    int stops = 0;
    // Also take the items and the emptied folders off the disk, as the real helper does.
    bool removeItems = false;
};

// A sandboxed home with its Trash, a settings file, a scripted user and an engine over them.
class KZEraseFixture
{
public:
    KZEraseFixture();
    ~KZEraseFixture();

    // Runs the request to its end (or to its refusal); answers prepareToEraseWithArray.
    bool run(const KZEraseRequest &request);
    // Waits until the running job has ended.
    bool waitForEnd();
    // The location record of a Trash, named as its volume.
    static KZEraseRecord location(const KZTestTrash &trash, const QString &volumeName,
                                  bool trashIsEmpty = false);
    // Makes a new engine, e.g. with a clock of the test's own.
    void makeEngine(const std::function<double()> &clock = {});
    void installHelper(std::shared_ptr<KZHelperRecord> record);
    // The lines of every log file written under the sandbox.
    [[nodiscard]] QByteArrayList logLines() const;
    [[nodiscard]] QByteArray logFolder() const;

    KZTestSandbox sandbox;
    KZTestTrash trash = KZTestTrash::home();
    std::shared_ptr<KZScriptedAlertBackend> script = std::make_shared<KZScriptedAlertBackend>();
    KZTUErrorDelegate presenter;
    KZUserDefaults defaults;
    KZFaultyFileManager fileManager;
    KZBWAlert alert;
    std::unique_ptr<KZDeleteItems> engine;
    QList<KZEraseSummary> ended;
    int stopWorkingPosted = 0;
};
