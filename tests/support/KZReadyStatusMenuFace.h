#pragma once

#include "presentation/KZStatusMenuFace.h"

// The face a tray host gives the application controller: the status menu is up at once; the
// about box and the panel are not what the tests using it look at.
class KZReadyStatusMenuFace : public KZStatusMenuFace
{
public:
    void setupStatusMenu(std::function<void(bool)> done) override { done(true); }
    void showAboutPanel() override {}
    void showPanel() override {}
};
