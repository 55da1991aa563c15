#pragma once

#include <QtGlobal>

namespace lumora {

// `lumora` without a command: the tray application. Returns the process's exit code: 0 after
// Quit (or when another tray of this session runs and has been asked to show its popover), 1
// without a desktop session.
int runTray(int& argc, char** argv);

// Whether the environment names a display to show a tray on: WAYLAND_DISPLAY or DISPLAY, or a
// Qt platform that needs neither (offscreen, for example).
bool hasDesktopSession();

inline constexpr const char* noDesktopMessage = QT_TRANSLATE_NOOP(
    "Messages",
    "Lumora needs a desktop session to show its tray. `lumora status` works without one.");

} // namespace lumora
