#pragma once

#include <functional>

// What the application controller asks of the desktop's status item: the tray icon with its
// menu, the about box and Binwise's own panel. The Widgets face implements it; the controller
// itself stays Qt Core only. Main thread.
class KZStatusMenuFace
{
public:
    virtual ~KZStatusMenuFace() = default;

    // Builds the status item and its menus. done(true) once the icon is in a tray, done(false)
    // when no tray host appeared in the time the face waits for one.
    virtual void setupStatusMenu(std::function<void(bool shown)> done) = 0;
    // The about box, with the application icon at 64 × 64.
    virtual void showAboutPanel() = 0;
    // Binwise's panel with one rich row per volume, under the tray icon.
    virtual void showPanel() = 0;
};
