#pragma once

#include <memory>

class KZGlobalShortcuts;

// The global hot keys of the running session: X11 key grabs under X11, the desktop portal on
// Wayland where it offers global shortcuts, otherwise none (with the reason why).
namespace KZPlatformShortcuts {
[[nodiscard]] std::unique_ptr<KZGlobalShortcuts> create();
} // namespace KZPlatformShortcuts
