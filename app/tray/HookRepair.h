#pragma once

#include <QString>

namespace lumora {

// Rewrites Claude Code's status-line hook script when the hook is installed but the helper the
// script calls is gone (Lumora was moved or updated): the script then names `hookHelper`, and
// keeps chaining the status line the user had before. Claude Code's settings are not touched.
// Returns whether the script was rewritten. Never throws: a hook it cannot repair stays as it is.
bool repairHookScript(const QString& homeDirectory, const QString& hookHelper);

} // namespace lumora
