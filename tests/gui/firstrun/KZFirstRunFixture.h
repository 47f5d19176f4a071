#pragma once

#include "KZEraseTestSupport.h"
#include "KZReadyStatusMenuFace.h"
#include "gui/dialogs/KZWidgetsAlertBackend.h"
#include "gui/firstrun/KZWelcomeCntrl.h"
#include "presentation/KZBinwise.h"

#include <QCoreApplication>
#include <QDesktopServices>

#include <memory>

// The application controller of the first run, on a real engine and settings in a sandboxed
// home, asking its questions as windows on this process's X server and making the real welcome
// window. The status menu is not what these tests look at: its face answers at once.
struct KZFirstRunFixture
{
    KZFirstRunFixture()
    {
        erase.presenter.setBackend(std::make_shared<KZWidgetsAlertBackend>());
        KZBinwise::Environment environment;
        environment.engine = erase.engine.get();
        environment.userDefaults = &erase.defaults;
        environment.presenter = &erase.presenter;
        environment.locations = [](QList<KZError> *) {
            return QList<KZTrashLocation>();
        };
        environment.makeWelcome = [this](KZBinwise *delegate) {
            ++welcomesMade;
            auto made
                = std::make_unique<KZWelcomeCntrl>(delegate, &erase.defaults, launchAtLogin());
            welcome = made.get();
            return made;
        };
        environment.openURL = [](const QUrl &url) {
            return QDesktopServices::openUrl(url);
        };
        environment.findOldBinwise = [this] {
            ++finderAsked;
            return oldBinwiseUninstaller;
        };
        controller = std::make_unique<KZBinwise>(&face, environment);
    }

    // The login item of this test program, in the sandbox's autostart folder.
    KZLaunchAtLogin launchAtLogin() const
    {
        return KZLaunchAtLogin(QCoreApplication::applicationFilePath(),
                               erase.sandbox.path(QStringLiteral("autostart")));
    }

    KZEraseFixture erase;
    KZReadyStatusMenuFace face;
    int welcomesMade = 0;
    KZWelcomeCntrl *welcome = nullptr;
    int finderAsked = 0;
    // What the earlier edition's finder answers: its uninstaller, or nothing.
    QString oldBinwiseUninstaller;
    std::unique_ptr<KZBinwise> controller;
};
