#pragma once

namespace lumora {

// Picks the Qt Quick scene graph for every window of the tray before the first one exists. Call
// it in main() after the application object is created and before any Qt Quick window. The
// environment variable QT_QUICK_BACKEND, when set, is left to decide instead.
void chooseSceneGraph();

} // namespace lumora
