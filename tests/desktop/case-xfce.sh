# The XFCE 4.18 panel's notification area, and xfwm4 with focus-stealing prevention, under Xvfb:
# the item is shown; while the user works in another program, a left click on the icon opens the
# break screen, which takes the focus, so Escape ends it; a middle click opens the popover next
# to the icon. (Two monitors: case-screens.sh.)
source "$(dirname "$0")/lib.sh"
need xfce4-panel
start_bus session
start_xvfb 1280x800
start_xfce_panel
show_icon
# The user works in another program (a Qt one, which keeps its user time up to date).
spawn qmleasing /usr/lib/qt6/bin/qmleasing
wait_until 15 "the other program's window did not show" xdotool search --onlyvisible --class qmleasing
eval "$(xdotool getwindowgeometry --shell "$(xdotool search --onlyvisible --class qmleasing | head -n1)")"
click $((X + 60)) $((Y + 60)) 1
wait_until 10 "the other program did not get the focus" sh -c 'xprop -id "$(xdotool getactivewindow)" WM_CLASS | grep -q qmleasing'
xdotool key Tab Tab
click_item 1 Activate
expect_break "a left click on the icon" "$OUT/panel-with-item.png"
wait_until 10 "the break screen did not take the focus from the program in use" has_focus getactivewindow
ok "the break screen took the focus from the program in use"
end_break
popover_by_click 2 SecondaryActivate near
quit_lumora
