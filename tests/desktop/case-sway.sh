# sway in its headless mode (software rendering) with waybar: the item is shown in waybar's
# tray; a click through sway's own seat commands opens the popover; the break screen covers the
# output; `lumora status --waybar` feeds a custom module of the same bar.
source "$(dirname "$0")/lib.sh"

for tool in sway waybar grim swaymsg cc pkg-config; do
    command -v "$tool" >/dev/null || skip "$tool is not installed (scripts/setup.sh desktop)"
done
[ "$(id -u)" -ne 0 ] || skip "sway refuses to start as root, and no user namespace could be made here to run it as an ordinary user"
pkg-config --exists wayland-client || skip "libwayland-dev is missing (scripts/setup.sh desktop)"
cc -O1 -o "$SCRATCH/bin/virtual-pointer" "$HERE/virtual-pointer.c" \
    $(pkg-config --cflags --libs wayland-client) || fail "could not build virtual-pointer.c"

# The custom module runs lumora's status line when this lumora has --waybar.
waybar_module=""
if "$LUMORA" status --waybar >"$SCRATCH/waybar-probe" 2>&1; then
    # What the module printed is kept, to show that waybar ran it.
    # waybar starts before the fake tools exist, so the module names them itself.
    printf '#!/bin/sh\nexport LUMORA_CODEX_PATH="%s" LUMORA_CLAUDE_PATH="%s"\n"%s" status --waybar | tee -a "%s"\n' \
        "$SCRATCH/bin/codex" "$SCRATCH/bin/claude" "$LUMORA" "$SCRATCH/module-output" \
        >"$SCRATCH/bin/lumora-module"
    chmod +x "$SCRATCH/bin/lumora-module"
    waybar_module='"custom/lumora": { "exec": "'"$SCRATCH/bin/lumora-module"'", "return-type": "json", "interval": 2 },'
    modules='"custom/lumora", "clock"'
else
    log "skipped: the custom module ($LUMORA status --waybar said: $(head -n1 "$SCRATCH/waybar-probe"))"
    modules='"clock"'
fi
cat >"$SCRATCH/waybar.json" <<EOF
{
    "layer": "top", "position": "top", "height": 30,
    "modules-left": ["custom/probe", "sway/workspaces", "tray"],
    "custom/probe": { "format": "[probe]", "on-click": "touch $SCRATCH/probe-clicked" },
    "modules-right": [$modules],
    $waybar_module
    "tray": { "icon-size": 22, "spacing": 8 },
    "clock": { "format": "{:%H:%M}" }
}
EOF
cat >"$SCRATCH/sway.conf" <<EOF
output HEADLESS-1 resolution 1280x800 position 0 0 bg #2e3440 solid_color
default_border none
focus_follows_mouse no
EOF

start_session_bus
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
    swaymsg -q seat - cursor press "$3"
    swaymsg -q seat - cursor release "$3"
}
lumora_wayland_windows() { # "x y width height" of every Lumora window sway shows
    swaymsg -t get_tree | jq -r '.. | objects | select(.app_id? == "lumora" and .visible == true)
        | "\(.rect.x) \(.rect.y) \(.rect.width) \(.rect.height)"'
}

# The probe module at the bar's left end proves that the seat's clicks reach waybar.
click 12 15 button1
wait_until 10 "a click through sway's seat did not reach waybar's probe module" \
    test -e "$SCRATCH/probe-clicked"
ok "a click through sway's seat commands reaches waybar"

wayland_windows_state() {
    echo "Lumora's visible windows (x y width height): $(lumora_wayland_windows | tr '\n' ';')"
    swaymsg -t get_tree | jq -c '.. | objects | select(.app_id? != null) | {app_id, type, visible, rect, floating: (.type == "floating_con")}'
}
DIAGNOSE=wayland_windows_state
popover_shown() { lumora_wayland_windows | awk '$3 >= 300 && $3 <= 400 { f = 1 } END { exit !f }'; }
break_shown() { lumora_wayland_windows | grep -qx '0 0 1280 800'; }

if ! lumora_has_tray; then
    screenshot_x bar
    skip "sway, waybar and the seat clicks proven; the Lumora checks wait: $LUMORA_NO_TRAY_REASON"
fi

connect_fake_tools 30 42
# The tray sits at the left, after the probe and the workspaces; nothing else in that part of
# the bar changes, so whatever appears there once Lumora runs is its icon.
screenshot_x before-lumora
watch_item_calls
start_lumora
wait_until 15 "waybar's watcher did not list Lumora's item" lumora_item_registered
icon=""
deadline=$((SECONDS + 15))
while [ -z "$icon" ] && ((SECONDS < deadline)); do
    grim "$OUT/bar-with-item.png"
    icon=$(changed_box "$OUT/before-lumora.png" "$OUT/bar-with-item.png" 72 0 600 30)
    [ -n "$icon" ] || sleep 0.2
done
[ -n "$icon" ] || fail "nothing appeared in waybar's tray for Lumora's item"
read -r ix iy iw ih <<<"$icon"
log "screenshot: $OUT/bar-with-item.png"
ok "waybar shows Lumora's icon (${iw}x${ih} at $ix,$iy)"

if [ -n "$waybar_module" ]; then
    module_ran() { [ -s "$SCRATCH/module-output" ]; }
    wait_until 10 "waybar did not run the custom module lumora status --waybar" module_ran
    # The bar ran the module before the tools were connected too: wait for a run after that.
    module_current() {
        text=$(tail -n1 "$SCRATCH/module-output" | jq -er .text) && [ "$text" = "$("$LUMORA" status)" ]
    }
    wait_until 10 "waybar's module never showed the status line \"$("$LUMORA" status)\"" module_current
    ok "waybar runs lumora status --waybar as a custom module in the same bar (text \"$text\")"
fi

# A right click sends ContextMenu (no dbusmenu outside GNOME): the popover.
click $((ix + iw / 2)) $((iy + ih / 2)) button3
wait_until 10 "a right click through sway's seat did not reach the item (no ContextMenu)" item_called ContextMenu
ok "a right click through sway's seat made waybar call ContextMenu on the item"
wait_until 15 "a right click on the item did not open the popover" \
    popover_shown
screenshot_x_changed popover "$OUT/bar-with-item.png" 0 40 1280 760
ok "a right click through sway's seat opened the popover"
swaymsg -q seat - cursor set 640 600
swaymsg -q seat - cursor press button1
swaymsg -q seat - cursor release button1

# A left click sends Activate: the break screen over the whole output.
grab "$SCRATCH/before-break.png"
click $((ix + iw / 2)) $((iy + ih / 2)) button1
wait_until 10 "a left click through sway's seat did not reach the item (no Activate)" item_called Activate
wait_until 15 "a left click did not cover the output with the break screen" \
    break_shown
screenshot_x_changed break-screen "$SCRATCH/before-break.png" 590 350 100 100
ok "a left click opened the break screen over the whole output"
click 640 400 button1
wait_until 10 "a click did not end the break" \
    not break_shown
ok "a click ended the break"
lumora_call Quit >/dev/null || true
wait_until 10 "lumora did not quit" not alive "$SPAWNED_LUMORA"
