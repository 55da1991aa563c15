# sway headless (software rendering) with waybar: the item is shown in waybar's tray; clicks through sway's own seat
# commands open the popover (right) and the break screen (left); `lumora status --waybar` feeds a module of the bar.
source "$(dirname "$0")/lib.sh"
need sway waybar grim swaymsg cc pkg-config
[ "$(id -u)" -ne 0 ] || skip "sway refuses to start as root, and no user namespace could be made here to run it as an ordinary user"
pkg-config --exists wayland-client || skip "libwayland-dev is missing (scripts/setup.sh desktop)"
cc -O1 -o "$SCRATCH/bin/virtual-pointer" "$HERE/virtual-pointer.c" $(pkg-config --cflags --libs wayland-client) || fail "could not build virtual-pointer.c"
# The module runs lumora's status line (naming the fake tools: waybar starts before them) and keeps what it printed.
printf '#!/bin/sh\nexport LUMORA_CODEX_PATH="%s" LUMORA_CLAUDE_PATH="%s"\n"%s" status --waybar | tee -a "%s"\n' \
    "$SCRATCH/bin/codex" "$SCRATCH/bin/claude" "$LUMORA" "$SCRATCH/module-output" >"$SCRATCH/bin/lumora-module" && chmod +x "$SCRATCH/bin/lumora-module"
echo '{"layer": "top", "position": "top", "height": 30, "modules-left": ["sway/workspaces", "tray"],
    "modules-right": ["custom/lumora", "clock"], "tray": {"icon-size": 22, "spacing": 8}, "clock": {"format": "{:%H:%M}"},
    "custom/lumora": {"exec": "'"$SCRATCH"'/bin/lumora-module", "return-type": "json", "interval": 2}}' >"$SCRATCH/waybar.json"
printf 'output HEADLESS-1 resolution 1280x800 position 0 0 bg #2e3440 solid_color\ndefault_border none\nfocus_follows_mouse no\n' >"$SCRATCH/sway.conf"
start_bus session && export WLR_BACKENDS=headless WLR_LIBINPUT_NO_DEVICES=1 WLR_RENDERER=pixman WLR_HEADLESS_OUTPUTS=1 XDG_CURRENT_DESKTOP=sway XDG_SESSION_TYPE=wayland
spawn sway sway -c "$SCRATCH/sway.conf" && up 20 "sway did not open its IPC socket" compgen -G "$XDG_RUNTIME_DIR/sway-ipc.*.sock"
SWAYSOCK="$(compgen -G "$XDG_RUNTIME_DIR/sway-ipc.*.sock" | head -n1)"
WAYLAND_DISPLAY="$(basename "$(compgen -G "$XDG_RUNTIME_DIR/wayland-*.lock" | head -n1)" .lock)" && export SWAYSOCK WAYLAND_DISPLAY
wait_until 10 "sway has no output" sh -c 'swaymsg -t get_outputs | grep -q HEADLESS-1'
spawn virtual-pointer virtual-pointer && up 10 "no virtual pointer" grep -q ready "$OUT/virtual-pointer.log"
wait_until 10 "the seat has no pointer" sh -c 'swaymsg -t get_seats | jq -e ".[0].capabilities % 2 == 1"'
spawn waybar waybar -c "$SCRATCH/waybar.json" && up 20 "waybar's tray did not start a StatusNotifierWatcher" bus_has org.kde.StatusNotifierWatcher
up 20 "waybar did not show its bar" grep -q "Bar configured" "$OUT/waybar.log"
click() { # through sway's seat
    swaymsg -q seat - cursor set "$1" "$2" && swaymsg -q seat - cursor press "button$3" && swaymsg -q seat - cursor release "button$3" || fail "sway's seat could not click at $1,$2"
}
lumora_windows() { # "- x y width height" of every Lumora window sway shows
    swaymsg -t get_tree | jq -r '.. | objects | select(.app_id? == "lumora" and .visible == true) | "- \(.rect.x) \(.rect.y) \(.rect.width) \(.rect.height)"'
}
PANEL=(0 0 600 30) && show_icon # the workspaces and the tray, where nothing else changes
# The bar ran the module before the tools were connected too: wait for a run after that.
module_current() { text=$(tail -n1 "$SCRATCH/module-output" | jq -er .text) && [ "$text" = "$("$LUMORA" status)" ]; }
wait_until 20 "waybar's module never showed the status line \"$("$LUMORA" status)\"" module_current
ok "waybar runs lumora status --waybar as a custom module in the same bar (text \"$text\")"
popover_by_click 3 ContextMenu # no dbusmenu outside GNOME: a right click opens the popover
click 640 600 1 && click_item 1 Activate && expect_break "a left click" "$OUT/panel-with-item.png"
click 640 400 1 && wait_until 10 "a click did not end the break" not full_screen && ok "a click ended the break" && quit_lumora
