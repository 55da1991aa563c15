# sway in its headless mode (software rendering) with waybar: the item is shown in waybar's
# tray; a click through sway's own seat commands opens the popover; the break screen covers the
# output; `lumora status --waybar` feeds a custom module of the same bar.
source "$(dirname "$0")/lib.sh"
need sway waybar grim swaymsg cc pkg-config
[ "$(id -u)" -ne 0 ] || skip "sway refuses to start as root, and no user namespace could be made here to run it as an ordinary user"
pkg-config --exists wayland-client || skip "libwayland-dev is missing (scripts/setup.sh desktop)"
cc -O1 -o "$SCRATCH/bin/virtual-pointer" "$HERE/virtual-pointer.c" \
    $(pkg-config --cflags --libs wayland-client) || fail "could not build virtual-pointer.c"

# The custom module runs lumora's status line (naming the fake tools: waybar starts before them),
# and keeps what it printed, to show that waybar ran it.
printf '#!/bin/sh\nexport LUMORA_CODEX_PATH="%s" LUMORA_CLAUDE_PATH="%s"\n"%s" status --waybar | tee -a "%s"\n' \
    "$SCRATCH/bin/codex" "$SCRATCH/bin/claude" "$LUMORA" "$SCRATCH/module-output" >"$SCRATCH/bin/lumora-module"
chmod +x "$SCRATCH/bin/lumora-module"
cat >"$SCRATCH/waybar.json" <<EOF
{
    "layer": "top", "position": "top", "height": 30,
    "modules-left": ["custom/probe", "sway/workspaces", "tray"],
    "custom/probe": { "format": "[probe]", "on-click": "touch $SCRATCH/probe-clicked" },
    "modules-right": ["custom/lumora", "clock"],
    "custom/lumora": { "exec": "$SCRATCH/bin/lumora-module", "return-type": "json", "interval": 2 },
    "tray": { "icon-size": 22, "spacing": 8 },
    "clock": { "format": "{:%H:%M}" }
}
EOF
printf 'output HEADLESS-1 resolution 1280x800 position 0 0 bg #2e3440 solid_color\ndefault_border none\nfocus_follows_mouse no\n' \
    >"$SCRATCH/sway.conf"

start_bus session
export WLR_BACKENDS=headless WLR_LIBINPUT_NO_DEVICES=1 WLR_RENDERER=pixman WLR_HEADLESS_OUTPUTS=1
export XDG_CURRENT_DESKTOP=sway XDG_SESSION_TYPE=wayland
spawn sway sway -c "$SCRATCH/sway.conf"
wait_until 20 "sway did not open its IPC socket (log: $OUT/sway.log)" \
    compgen -G "$XDG_RUNTIME_DIR/sway-ipc.*.sock"
SWAYSOCK="$(compgen -G "$XDG_RUNTIME_DIR/sway-ipc.*.sock" | head -n1)"
WAYLAND_DISPLAY="$(basename "$(compgen -G "$XDG_RUNTIME_DIR/wayland-*.lock" | head -n1)" .lock)"
export SWAYSOCK WAYLAND_DISPLAY
wait_until 10 "sway has no output" sh -c 'swaymsg -t get_outputs | grep -q HEADLESS-1'
spawn virtual-pointer virtual-pointer
wait_until 10 "no virtual pointer: $(cat "$OUT/virtual-pointer.log" 2>/dev/null)" \
    grep -q ready "$OUT/virtual-pointer.log"
wait_until 10 "the seat has no pointer" sh -c 'swaymsg -t get_seats | jq -e ".[0].capabilities % 2 == 1"'
spawn waybar waybar -c "$SCRATCH/waybar.json"
wait_until 20 "waybar's tray did not start a StatusNotifierWatcher (log: $OUT/waybar.log)" \
    bus_has org.kde.StatusNotifierWatcher
wait_until 20 "waybar did not show its bar" grep -q "Bar configured" "$OUT/waybar.log"
ok "sway runs headless with a pointer; waybar's bar is up with its tray's watcher"

click() { # click X Y BUTTON: through sway's seat commands
    swaymsg -q seat - cursor set "$1" "$2"
    swaymsg -q seat - cursor press "button$3"
    swaymsg -q seat - cursor release "button$3"
}
lumora_windows() { # "- x y width height" of every Lumora window sway shows
    swaymsg -t get_tree | jq -r '.. | objects | select(.app_id? == "lumora" and .visible == true)
        | "- \(.rect.x) \(.rect.y) \(.rect.width) \(.rect.height)"'
}
wayland_windows_state() {
    echo "Lumora's visible windows (x y width height): $(lumora_windows | tr '\n' ';')"
    swaymsg -t get_tree | jq -c '.. | objects | select(.app_id? != null) | {app_id, type, visible, rect, floating: (.type == "floating_con")}'
}
DIAGNOSE=wayland_windows_state

# The probe module at the bar's left end proves that the seat's clicks reach waybar.
click 12 15 1
wait_until 10 "a click through sway's seat did not reach waybar's probe module" \
    test -e "$SCRATCH/probe-clicked"
ok "a click through sway's seat commands reaches waybar"

connect_fake_tools 30 42
# The tray sits at the left, after the probe and the workspaces; nothing else in that part of
# the bar changes, so whatever appears there once Lumora runs is its icon.
screenshot_x before-lumora
start_lumora
find_icon bar-with-item "$OUT/before-lumora.png" 72 0 600 30

# The bar ran the module before the tools were connected too: wait for a run after that.
module_current() { text=$(tail -n1 "$SCRATCH/module-output" | jq -er .text) && [ "$text" = "$("$LUMORA" status)" ]; }
wait_until 20 "waybar's module never showed the status line \"$("$LUMORA" status)\"" module_current
ok "waybar runs lumora status --waybar as a custom module in the same bar (text \"$text\")"

# A right click sends ContextMenu (no dbusmenu outside GNOME): the popover.
click_item 3 ContextMenu
wait_until 15 "a right click on the item did not open the popover" popover_shown
screenshot_x_changed popover "$OUT/bar-with-item.png" 0 40 1280 760
ok "a right click through sway's seat opened the popover"
click 640 600 1

# A left click sends Activate: the break screen over the whole output; a click ends it.
grab "$SCRATCH/before-break.png"
click_item 1 Activate
expect_break "a left click" "$SCRATCH/before-break.png"
click 640 400 1
wait_until 10 "a click did not end the break" not full_screen
ok "a click ended the break"
quit_lumora
