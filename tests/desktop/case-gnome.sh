# GNOME Shell 43 as the X11 window manager and compositor under Xvfb, with Debian's AppIndicator
# extension: the item is shown with its label; its menu holds the five items; choosing "Refresh",
# "Take a Break", "Show Usage", "Settings…" and "Quit Lumora" with real clicks does what they say.
# A private system bus with nobody on it stands in for logind's. Settings come from a keyfile in the
# scratch home; they enable the AppIndicator extension and a probe extension that turns on the
# shell's unsafe mode, so that the test reads the panel through org.gnome.Shell.Eval.
source "$(dirname "$0")/lib.sh"
need gnome-shell
gnome_state() {
    windows_state
    [ -z "${LUMORA_ITEM_NAME:-}" ] || echo "the item's Menu: $(sni_property Menu 2>&1)"
    grep -E "AppIndicators-WARNING" "$OUT/gnome-shell.log" | tail -n 3 | sed 's/^.*WARNING \*\*: [0-9:.]* /the extension said: /'
    echo "the top bar's indicators: $(shell_eval 'Object.entries(Main.panel.statusArea).filter(([k, v]) => v && v._indicator).map(([k, v]) => `${k}: id ${v._indicator.id}, shown ${v.mapped}, menu items ${v.menu.numMenuItems}`)' 2>&1)"
}
DIAGNOSE=gnome_state
appindicator=ubuntu-appindicators@ubuntu.com
[ -d "/usr/share/gnome-shell/extensions/$appindicator" ] ||
    skip "the AppIndicator extension is not installed (gnome-shell-extension-appindicator)"
probe=lumora-desktop-probe@lumora.invalid
mkdir -p "$XDG_DATA_HOME/gnome-shell/extensions/$probe" "$XDG_CONFIG_HOME/glib-2.0/settings"
cd "$XDG_DATA_HOME/gnome-shell/extensions/$probe"
echo '{"uuid": "'$probe'", "name": "Lumora desktop test probe", "description": "unsafe mode for the desktop test", "shell-version": ["43"]}' >metadata.json
echo 'function init() { return { enable() { global.context.unsafe_mode = true; }, disable() { global.context.unsafe_mode = false; } }; }' >extension.js
cd - >/dev/null
cat >"$XDG_CONFIG_HOME/glib-2.0/settings/keyfile" <<EOF
[org/gnome/shell]
enabled-extensions=['$appindicator', '$probe']
welcome-dialog-last-shown-version='999'
[org/gnome/desktop/notifications]
show-banners=false
[org/gnome/desktop/background]
picture-options='none'
primary-color='#2e3440'
EOF
export GSETTINGS_BACKEND=keyfile XDG_CURRENT_DESKTOP=GNOME XDG_SESSION_TYPE=x11

start_bus system
start_bus session
start_xvfb 1280x800
spawn gnome-shell gnome-shell --x11 --replace --sm-disable
# shell_eval JS: the value of a JavaScript expression inside the shell, as JSON.
shell_eval() {
    local answer
    answer=$(busctl --address="$DBUS_SESSION_BUS_ADDRESS" --json=short --timeout=10 call \
        org.gnome.Shell /org/gnome/Shell org.gnome.Shell Eval s "$1") || return 1
    jq -e '.data[0]' <<<"$answer" >/dev/null || { echo "eval failed: $(jq -r '.data[1]' <<<"$answer")" >&2 && return 1; }
    jq -r '.data[1]' <<<"$answer"
}
wait_until 40 "GNOME Shell did not start (log: $OUT/gnome-shell.log)" bus_has org.gnome.Shell
wait_until 20 "the probe extension did not turn on unsafe mode (log: $OUT/gnome-shell.log)" \
    shell_eval 1
wait_until 20 "the AppIndicator extension did not start its StatusNotifierWatcher" \
    bus_has org.kde.StatusNotifierWatcher
state=$(shell_eval "Main.extensionManager.lookup('$appindicator').state")
[ "$state" = 1 ] || fail "the AppIndicator extension is not enabled (state $state)"
# Leave the overview the shell shows once it has started, to show the desktop with its top bar.
overview_closed() {
    shell_eval '(() => {
        if (Main.layoutManager._startingUp) return false;
        if (Main.overview.visible) { Main.overview.hide(); return false; }
        return !Main.overview.animationInProgress;
    })()' | grep -qx true
}
wait_until 20 "the overview did not close" overview_closed
ok "GNOME Shell $(gnome-shell --version | awk '{print $3}') runs with the AppIndicator extension and its watcher"

connect_fake_tools 30 42
expected_label="$("$LUMORA" status)"
start_lumora

# Lumora's button in the top bar: its label, place and menu, read inside the shell.
item_js='(() => {
    const b = Object.values(Main.panel.statusArea).find(v => v && v._indicator && v._indicator.id === "lumora");
    if (!b) return null;
    const box = a => { const [x, y] = a.get_transformed_position(); const [w, h] = a.get_transformed_size(); return { x: Math.round(x), y: Math.round(y), w: Math.round(w), h: Math.round(h) }; };
    return Object.assign(box(b), {
        label: b._label ? b._label.get_text() : "",
        shown: b.mapped,
        menuOpen: b.menu.isOpen,
        items: b.menu._getMenuItems().filter(i => i.label && i.visible).map(i => Object.assign(box(i), { text: i.label.get_text() })),
    });
})()'
item() { shell_eval "$item_js"; }
label_is_expected() { [ "$(item | jq -r '.label')" = "$expected_label" ]; }
item_shown() { item | jq -e '.shown == true' >/dev/null; }
wait_until 15 "the top bar does not show Lumora's item" item_shown
wait_until 15 "the item's label is not \"$expected_label\" (it is \"$(item | jq -r .label 2>/dev/null)\")" label_is_expected
screenshot_x top-bar
ok "the top bar shows Lumora's item with the label \"$expected_label\""

info=$(item)
cy=$(jq '.y + .h / 2 | floor' <<<"$info")
# Two clicks on the item, alternately left and right of its middle: the shell takes two clicks
# at one spot in quick succession for a double click, which starts a break instead.
click_x=("$(jq '.x + .w / 4 | floor' <<<"$info")" "$(jq '.x + .w * 3 / 4 | floor' <<<"$info")")
clicks=0
menu_open() { item | jq -e '.menuOpen == true' >/dev/null; }
open_menu() {
    if ! menu_open; then
        click "${click_x[clicks % 2]}" "$cy" 1
        clicks=$((clicks + 1))
    fi
    wait_until 10 "a click on the item did not open its menu" menu_open
}
# choose TEXT: opens the menu and clicks the item with that text.
choose() {
    open_menu
    local entry
    entry=$(item | jq -c --arg t "$1" '.items[] | select(.text == $t)')
    [ -n "$entry" ] || fail "the menu has no \"$1\""
    click "$(jq '.x + .w / 2 | floor' <<<"$entry")" "$(jq '.y + .h / 2 | floor' <<<"$entry")" 1
    wait_until 10 "the menu did not close after \"$1\"" not menu_open
}

open_menu
items=$(item | jq -r '.items[].text' | paste -sd '|')
[ "$items" = "Show Usage|Take a Break|Refresh|Settings…|Quit Lumora" ] ||
    fail "the menu holds \"$items\""
screenshot_x menu
ok "a click on the item opens its menu: ${items//|/, }"
xdotool key Escape
wait_until 10 "Escape did not close the menu" not menu_open

runs=$(app_server_runs)
choose "Refresh"
wait_until 15 "\"Refresh\" did not read Codex again" ran_since "$runs"
ok "\"Refresh\" read the tools again"

choose "Take a Break"
expect_break "\"Take a Break\"" "$OUT/top-bar.png"
end_break

choose "Show Usage"
wait_until 15 "\"Show Usage\" did not open the popover" popover_shown
screenshot_x_changed popover "$OUT/top-bar.png" 0 40 1280 400
ok "\"Show Usage\" opened the popover"
click 200 700 1

choose "Settings…"
wait_until 15 "\"Settings…\" did not open the window \"Lumora Settings\"" \
    xdotool search --onlyvisible --name '^Lumora Settings$'
screenshot_x settings
ok "\"Settings…\" opened the window \"Lumora Settings\""

choose "Quit Lumora"
wait_until 10 "\"Quit Lumora\" did not end lumora" not alive "$SPAWNED_LUMORA"
ok "\"Quit Lumora\" ended lumora"
