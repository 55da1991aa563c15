# The XFCE 4.18 panel with its notification area, and xfwm4 with focus-stealing prevention, under
# Xvfb: the item is shown; while the user works in another program, a real left click opens the
# break screen over the screen and it takes the focus, so Escape ends it; a middle click opens the
# popover next to the icon. (Two monitors: see case-screens.sh.)
source "$(dirname "$0")/lib.sh"
DIAGNOSE=x_windows_state

command -v xfce4-panel >/dev/null || skip "xfce4-panel is not installed (scripts/setup.sh desktop)"
start_session_bus
start_xvfb 1280x800
start_xfce_panel
ok "xfce4-panel is up (${PANEL_W}x${PANEL_H} at $PANEL_X,$PANEL_Y) and runs the watcher"

if ! lumora_has_tray; then
    screenshot_x panel
    skip "panel part proven; the Lumora checks wait: $LUMORA_NO_TRAY_REASON"
fi

connect_fake_tools 30 42
screenshot_x before-lumora
watch_item_calls
start_lumora
wait_until 15 "the watcher did not list Lumora's item" lumora_item_registered
ok "the panel's watcher lists Lumora's item"

# The icon: whatever appears in the panel once the item is there.
icon=""
deadline=$((SECONDS + 15))
while [ -z "$icon" ] && ((SECONDS < deadline)); do
    screenshot_x panel-with-item >/dev/null
    icon=$(changed_box "$OUT/before-lumora.png" "$OUT/panel-with-item.png" \
        "$PANEL_X" "$PANEL_Y" "$PANEL_W" "$PANEL_H")
    [ -n "$icon" ] || sleep 0.2
done
[ -n "$icon" ] || fail "nothing appeared in the panel for Lumora's item"
read -r ix iy iw ih <<<"$icon"
((iw <= 48 && ih <= 48)) || fail "the change in the panel is ${iw}x${ih}, larger than an icon"
cx=$((ix + iw / 2)) cy=$((iy + ih / 2))
ok "the panel shows Lumora's icon (${iw}x${ih} at $ix,$iy)"

# The user works in another program (a Qt one, which keeps its user time up to date with each
# click and key); then a left click on the icon: Activate, the break screen.
spawn qmleasing /usr/lib/qt6/bin/qmleasing
wait_until 15 "the other program's window did not show" xdotool search --onlyvisible --class qmleasing
other=$(xdotool search --onlyvisible --class qmleasing | head -n1)
eval "$(xdotool getwindowgeometry --shell "$other")"
xdotool mousemove $((X + 60)) $((Y + 60)) click 1
other_has_focus() { xprop -id "$(xdotool getactivewindow)" WM_CLASS | grep -q qmleasing; }
wait_until 10 "the other program did not get the focus" other_has_focus
xdotool key Tab Tab
xdotool mousemove "$cx" "$cy" click 1
wait_until 10 "a left click did not reach the item (no Activate)" item_called Activate
ok "a left click made the panel call Activate on the item"
full_screen() { lumora_x_windows | awk '$2 == 0 && $3 == 0 && $4 == 1280 && $5 == 800 { f = 1 } END { exit !f }'; }
wait_until 15 "a left click did not cover the screen with the break screen" full_screen
screenshot_x_changed break-screen "$OUT/panel-with-item.png" 590 350 100 100
ok "a left click on the icon opened the break screen over the screen"
has_focus() { lumora_x_windows | awk -v a="$(xdotool getactivewindow)" '$1 == a { f = 1 } END { exit !f }'; }
wait_until 10 "the break screen did not take the focus from the program in use" has_focus
ok "the break screen took the focus from the program in use"
xdotool key Escape
wait_until 10 "Escape did not end the break" not full_screen
ok "Escape ended the break"

# Middle click: SecondaryActivate, the popover, next to the icon.
xdotool mousemove "$cx" "$cy" click 2
wait_until 10 "a middle click did not reach the item (no SecondaryActivate)" item_called SecondaryActivate
popover_near_icon() {
    lumora_x_windows | awk -v cx="$cx" -v cy="$cy" \
        '$4 >= 300 && $4 <= 400 && $2 <= cx + 40 && $2 + $4 >= cx - 40 && $3 <= cy + 400 { found = 1 } END { exit !found }'
}
wait_until 15 "a middle click did not open the popover next to the icon" popover_near_icon
screenshot_x_changed popover "$OUT/panel-with-item.png" 0 "$PANEL_H" 1280 400
ok "a middle click on the icon opened the popover next to it"
lumora_call Quit >/dev/null || true
wait_until 10 "lumora did not quit" not alive "$SPAWNED_LUMORA"
