/* exported init */
// Installed by tests/desktop/case-gnome.sh into a scratch home only: with unsafe mode on, the
// test reads the panel's items and menus through org.gnome.Shell.Eval, as Looking Glass would.
class Probe {
    enable() {
        global.context.unsafe_mode = true;
    }

    disable() {
        global.context.unsafe_mode = false;
    }
}

function init() {
    return new Probe();
}
