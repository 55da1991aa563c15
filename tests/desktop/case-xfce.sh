# The XFCE 4.18 panel with its notification area, and xfwm4 with focus-stealing prevention, under
# Xvfb: the item is shown; while the user works in another program, a real left click opens the
# break screen over the screen and it takes the focus, so Escape ends it; a middle click opens the
# popover next to the icon. (Two monitors: see case-screens.sh.)
source "$(dirname "$0")/lib.sh"
need xfce4-panel
start_bus session
start_xvfb 1280x800
start_xfce_panel
ok "xfce4-panel is up (${PANEL_W}x${PANEL_H} at $PANEL_X,$PANEL_Y) and runs the watcher"

connect_fake_tools 30 42
screenshot_x before-lumora
start_lumora
find_icon panel-with-item "$OUT/before-lumora.png" "$PANEL_X" "$PANEL_Y" "$PANEL_W" "$PANEL_H"

# The user works in another program (a Qt one, which keeps its user time up to date with each
# click and key); then a left click on the icon: Activate, the break screen.
spawn qmleasing /usr/lib/qt6/bin/qmleasing
wait_until 15 "the other program's window did not show" xdotool search --onlyvisible --class qmleasing
eval "$(xdotool getwindowgeometry --shell "$(xdotool search --onlyvisible --class qmleasing | head -n1)")"
click $((X + 60)) $((Y + 60)) 1
other_has_focus() { xprop -id "$(xdotool getactivewindow)" WM_CLASS | grep -q qmleasing; }
wait_until 10 "the other program did not get the focus" other_has_focus
xdotool key Tab Tab
click_item 1 Activate
expect_break "a left click on the icon" "$OUT/panel-with-item.png"
has_focus() { lumora_windows | awk -v a="$(xdotool getactivewindow)" '$1 == a { f = 1 } END { exit !f }'; }
wait_until 10 "the break screen did not take the focus from the program in use" has_focus
ok "the break screen took the focus from the program in use"
end_break

# Middle click: SecondaryActivate, the popover, next to the icon.
click_item 2 SecondaryActivate
wait_until 15 "a middle click did not open the popover next to the icon" popover_near_icon
screenshot_x_changed popover "$OUT/panel-with-item.png" 0 "$PANEL_H" 1280 400
ok "a middle click on the icon opened the popover next to it"
quit_lumora
