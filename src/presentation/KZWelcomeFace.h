#pragma once

// What the application controller asks of the welcome window's controller. The Widgets
// controller implements it; the application controller stays Qt Core only. Main thread.
class KZWelcomeFace
{
public:
    virtual ~KZWelcomeFace() = default;

    // Shows the welcome window from its first page, or brings it forward where it already is
    // (keeping its page). Modal: returns once the window has closed.
    virtual void showWelcomeInModal(bool modal) = 0;
};
