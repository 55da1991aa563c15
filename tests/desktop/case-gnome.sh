# GNOME Shell 43 under Xvfb with Debian's AppIndicator extension (a probe extension allows org.gnome.Shell.Eval; logind's bus
# is a private one with nobody on it): the item shows its label, its menu the five items, and each, clicked, does what it says.
source "$(dirname "$0")/lib.sh"
need gnome-shell && appindicator=ubuntu-appindicators@ubuntu.com probe=lumora-desktop-probe@lumora.invalid
[ -d "/usr/share/gnome-shell/extensions/$appindicator" ] || skip "the AppIndicator extension is not installed (gnome-shell-extension-appindicator)"
extension="$XDG_DATA_HOME/gnome-shell/extensions/$probe" && mkdir -p "$extension" "$XDG_CONFIG_HOME/glib-2.0/settings"
echo '{"uuid": "'$probe'", "name": "Lumora desktop test probe", "description": "unsafe mode", "shell-version": ["43"]}' >"$extension/metadata.json"
echo 'function init() { return { enable() { global.context.unsafe_mode = true; }, disable() { global.context.unsafe_mode = false; } }; }' >"$extension/extension.js"
printf "[org/gnome/shell]\nenabled-extensions=['%s', '%s']\nwelcome-dialog-last-shown-version='999'
[org/gnome/desktop/notifications]\nshow-banners=false\n[org/gnome/desktop/background]\npicture-options='none'
primary-color='#2e3440'\n" "$appindicator" "$probe" >"$XDG_CONFIG_HOME/glib-2.0/settings/keyfile"
export GSETTINGS_BACKEND=keyfile XDG_CURRENT_DESKTOP=GNOME XDG_SESSION_TYPE=x11
start_bus system && start_bus session && start_xvfb 1280x800 && spawn gnome-shell gnome-shell --x11 --replace --sm-disable
shell_eval() { # JS: the value of a JavaScript expression inside the shell, as JSON
    local answer && answer=$(busctl --address="$DBUS_SESSION_BUS_ADDRESS" --json=short --timeout=10 call \
        org.gnome.Shell /org/gnome/Shell org.gnome.Shell Eval s "$1") && jq -e '.data[0]' <<<"$answer" >/dev/null && jq -r '.data[1]' <<<"$answer"
}
up 40 "GNOME Shell did not start" bus_has org.gnome.Shell
up 20 "the probe extension did not turn on unsafe mode" shell_eval 1
up 20 "the AppIndicator extension did not start its StatusNotifierWatcher" bus_has org.kde.StatusNotifierWatcher
state=$(shell_eval "Main.extensionManager.lookup('$appindicator').state") && [ "$state" = 1 ] || fail "the AppIndicator extension is not enabled (state $state)"
overview_closed() { # the overview the shell shows once started, closed for the desktop with its top bar
    shell_eval '(() => { if (Main.layoutManager._startingUp) return false; if (Main.overview.visible) { Main.overview.hide(); return false; }
        return !Main.overview.animationInProgress; })()' | grep -qx true; }
wait_until 20 "the overview did not close" overview_closed
ok "GNOME Shell $(gnome-shell --version | awk '{print $3}') runs with the AppIndicator extension and its watcher"
connect_fake_tools 30 42 && status="$("$LUMORA" status)" && start_lumora
item() { # [JQ]: Lumora's button in the top bar (its label, place and menu), read inside the shell
    shell_eval '(() => { const b = Object.values(Main.panel.statusArea).find(v => v && v._indicator && v._indicator.id === "lumora");
    const box = a => { const [x, y] = a.get_transformed_position(), [w, h] = a.get_transformed_size(); return { x, y, w, h }; };
    return b ? Object.assign(box(b), { label: b._label ? b._label.get_text() : "", shown: b.mapped, menuOpen: b.menu.isOpen,
        items: b.menu._getMenuItems().filter(i => i.label && i.visible).map(i => Object.assign(box(i), { text: i.label.get_text() })) }) : null; })()' |
        jq -er "${1:-.}"
}
wait_until 15 "the top bar does not show Lumora's item" item '.shown == true'
wait_until 15 "the item's label is not \"$status\" (it is \"$(item .label 2>/dev/null)\")" item ".label == \"$status\""
screenshot top-bar && ok "the top bar shows Lumora's item with the label \"$status\""
# Clicks on the item alternate left and right of its middle: two at one spot make a double click, which starts a break.
read -r left right cy <<<"$(item '"\(.x + .w / 4 | floor) \(.x + .w * 3 / 4 | floor) \(.y + .h / 2 | floor)"')" && clicks=0
open_menu() { item .menuOpen >/dev/null || click "$((clicks++ % 2 ? right : left))" "$cy" 1; wait_until 10 "a click on the item did not open its menu" item .menuOpen; }
choose() { # TEXT [WHAT CONDITION...]: opens the menu and clicks the item with that text; WHAT follows
    open_menu && local entry && entry=$(item ".items[] | select(.text == \"$1\") | \"\(.x + .w / 2 | floor) \(.y + .h / 2 | floor)\"") ||
        fail "the menu has no \"$1\""
    click $entry 1 && wait_until 10 "the menu did not close after \"$1\"" not item .menuOpen
    [ $# -lt 2 ] || { wait_until 15 "after \"$1\", this did not happen: $2" "${@:3}" && ok "\"$1\": $2"; }
}
open_menu && items=$(item '.items[].text' | paste -sd '|')
[ "$items" = "Show Usage|Take a Break|Refresh|Settings…|Quit Lumora" ] || fail "the menu holds \"$items\""
screenshot menu && ok "a click on the item opens its menu: ${items//|/, }"
xdotool key Escape && wait_until 10 "Escape did not close the menu" not item .menuOpen
choose "Refresh" "it read the tools again" ran_since "$(app_server_runs)"
choose "Take a Break" && expect_break "\"Take a Break\"" "$OUT/top-bar.png" && end_break
choose "Show Usage" "it opened the popover" popover_shown && screenshot_changed popover "$OUT/top-bar.png" 0 40 1280 400
click 200 700 1
choose "Settings…" "it opened the window \"Lumora Settings\"" xdotool search --onlyvisible --name '^Lumora Settings$' && screenshot settings
choose "Quit Lumora" "it ended lumora" not alive "$SPAWNED_LUMORA"
