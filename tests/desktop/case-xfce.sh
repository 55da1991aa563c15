# The XFCE 4.18 panel's notification area, xfwm4 with focus-stealing prevention and dunst, under Xvfb. While the user
# works in another program, a left click on the icon opens the break screen, which takes the focus, so Escape ends
# it; a middle click opens the popover next to the icon. Codex rising from 30% to 85% used between two refreshes
# makes Lumora send one notification, which dunst shows; a further rise sends none; its "Take a Break" action, chosen
# with a real click on dunst's bubble, opens the break screen.
source "$(dirname "$0")/lib.sh"
need xfce4-panel dunst
# Bubbles below the panel (so that the pictures show both); a left click invokes the action.
printf '[global]\nmonitor=0\nfollow=none\nwidth=360\nheight=120\norigin=top-right\noffset=16x48
mouse_left_click=do_action, close_current\nshow_indicators=no\n[urgency_normal]\ntimeout=0\n' >"$SCRATCH/dunstrc"
mkdir -p "$XDG_CONFIG_HOME/Lumora" && echo '{"alertsEnabled": true}' >"$XDG_CONFIG_HOME/Lumora/preferences.json"
start_bus session && start_xvfb 1280x800 && start_xfce_panel
spawn dunst dunst -config "$SCRATCH/dunstrc" && up 15 "dunst did not take org.freedesktop.Notifications" bus_has org.freedesktop.Notifications
monitor notify-calls "type='method_call',interface='org.freedesktop.Notifications',member='Notify'"
# sent TEST COUNT: the number of Notify calls whose application is Lumora compares so with COUNT.
sent() { [ "$(awk '/member=Notify$/ { getline; n += /string "Lumora"$/ } END { print n + 0 }' "$OUT/notify-calls.log")" "$1" "$2" ]; }
show_icon && show_status && { sent -eq 0 || fail "Lumora sent a notification at 30% used"; }
ok "at 30% used Lumora shows \"$STATUS\" and sends no notification"
# The user works in another program: a Qt one, which keeps its user time up to date, with one
# window (qmleasing maps a second one late, which took the focus from whatever had it).
spawn qdbusviewer /usr/lib/qt6/bin/qdbusviewer && wait_until 15 "the other program's window did not show" xdotool search --onlyvisible --class qdbusviewer
geometry "$(xdotool search --onlyvisible --class qdbusviewer | head -n1)" && OX=$((X + 60)) OY=$((Y + 60))
click $OX $OY 1 && wait_until 10 "the other program did not get the focus" sh -c 'xprop -id "$(xdotool getactivewindow)" WM_CLASS | grep -q qdbusviewer'
xdotool key Tab Tab && click_item 1 Activate && expect_break "a left click on the icon" "$OUT/panel-with-item.png"
wait_until 10 "the break screen did not take the focus from the program in use" has_focus getactivewindow
ok "the break screen took the focus from the program in use" && end_break && popover_by_click 2 SecondaryActivate near
click $OX $OY 1 && wait_until 10 "a click into the other program did not close the popover" not popover_shown
echo 85 >"$SCRATCH/bin/codex.used" && refresh_to "Codex 15%" && wait_until 10 "crossing 80% sent no notification" sent -ge 1
wait_until 10 "dunst does not show Lumora's notification" sh -c '[ "$(dunstctl count displayed)" -ge 1 ]'
wait_until 10 "dunst's bubble did not appear" xdotool search --onlyvisible --class Dunst
screenshot notification && ok "crossing 80% sent a notification, shown by dunst"
echo 90 >"$SCRATCH/bin/codex.used" && refresh_to "Codex 10%" && { sent -eq 1 || fail "a further rise above 80% sent another notification"; }
ok "a further rise to 90% sent no second notification"
geometry "$(xdotool search --onlyvisible --class Dunst | head -n1)" && click $((X + WIDTH / 2)) $((Y + HEIGHT / 2)) 1
expect_break "the notification's \"Take a Break\" action" "$OUT/notification.png" notification-break && end_break && quit_lumora
