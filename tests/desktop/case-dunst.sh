# dunst as the notification server: a fake Codex whose usage rises from 30% to 85% between two
# refreshes makes Lumora send one notification, with the right title and body, that dunst shows;
# a further rise sends none; the notification's "Take a Break" action, chosen with a real click
# on dunst's bubble, opens the break screen.
source "$(dirname "$0")/lib.sh"
need dunst
mkdir -p "$XDG_CONFIG_HOME/dunst"
cat >"$XDG_CONFIG_HOME/dunst/dunstrc" <<EOF
[global]
    monitor = 0
    follow = none
    width = 360
    height = 120
    origin = top-right
    # below the panel, so that the pictures show both
    offset = 16x48
    mouse_left_click = do_action, close_current
    show_indicators = no
[urgency_normal]
    timeout = 0
EOF
start_bus session
start_xvfb 1280x800
start_xfce_panel # a panel for the item: without one Lumora would tell the user how to get one
spawn dunst dunst -config "$XDG_CONFIG_HOME/dunst/dunstrc"
wait_until 15 "dunst did not take org.freedesktop.Notifications (log: $OUT/dunst.log)" \
    bus_has org.freedesktop.Notifications
# Every Notify call on the bus, as the server receives it.
spawn notify-calls dbus-monitor --session \
    "type='method_call',interface='org.freedesktop.Notifications',member='Notify'"
wait_until 10 "dbus-monitor did not start" grep -q "NameAcquired" "$OUT/notify-calls.log"
# click_bubble: a real left click on dunst's bubble, which invokes a notification's only action.
click_bubble() {
    eval "$(xdotool getwindowgeometry --shell "$(xdotool search --onlyvisible --class Dunst | head -n1)")"
    click $((X + WIDTH / 2)) $((Y + HEIGHT / 2)) 1
}
# A test notification with one action proves the way to an action: notify-send prints the
# action's name once dunst invokes it.
spawn probe-notification notify-send -a probe -A "probe-action=Try" "Desktop test" "dunst shows notifications"
displayed() { [ "$(dunstctl count displayed)" "$1" "$2" ]; }
wait_until 10 "dunst did not show a test notification" displayed -ge 1
wait_until 10 "dunst's bubble did not appear" xdotool search --onlyvisible --class Dunst
click_bubble
wait_until 10 "a click on dunst's bubble did not invoke the notification's action" \
    grep -qx probe-action "$OUT/probe-notification.log"
wait_until 10 "dunst did not close the test notification" displayed -eq 0
ok "dunst $(dunst -v 2>&1 | grep -o '[0-9][0-9.]*' | head -n1) shows notifications beside XFCE's panel; a click on a bubble invokes its action"

connect_fake_tools 30 42
resets=$(cat "$SCRATCH/codex-resets")
preferences="$XDG_CONFIG_HOME/Lumora/preferences.json"
jq '.alertsEnabled = true' "$preferences" >"$preferences.new" && mv "$preferences.new" "$preferences"

# Lumora's Notify calls, one a line: the call's arguments joined by "|".
lumora_calls() {
    awk '/^method call.*member=Notify$/ { if (b != "") print b; b = "call"; next }
         /^(method|signal|error)/ { if (b != "") print b; b = ""; next }
         b != "" { sub(/^ +/, ""); b = b "|" $0 }
         END { if (b != "") print b }' "$OUT/notify-calls.log" | grep '^call|string "Lumora"|' || true
}
lumora_notifications() { lumora_calls | grep -c . || true; }
lumora_sent() { [ "$(lumora_notifications)" -ge 1 ]; }

expected_label="$("$LUMORA" status)"
start_lumora
wait_until 20 "lumora does not show \"$expected_label\" (Codex at 30% used) as lumora status does" \
    label_is "$expected_label"
[ "$(lumora_notifications)" = 0 ] || fail "Lumora sent a notification at 30% used"
ok "at 30% used Lumora shows \"$(lumora_label)\" and sends no notification"

echo 85 >"$SCRATCH/codex-used"
refresh_lumora
wait_until 20 "a refresh did not read Codex at 85% used" label_has "Codex 15%"
wait_until 10 "crossing 80% sent no notification" lumora_sent
call=$(lumora_calls | head -n1)
# The reset time in the locale's short format: hours and minutes, perhaps seconds.
expected_body="Expected reset: $(date -d "@$resets" +%H:%M)"
grep -qF '|string "Codex usage reached 80%"|' <<<"$call" || fail "the notification's title is not \"Codex usage reached 80%\": $call"
grep -qE "\|string \"$expected_body(:[0-9]{2})?\"\|" <<<"$call" || fail "the notification's body is not \"$expected_body\": $call"
wait_until 10 "dunst does not show Lumora's notification" displayed -ge 1
screenshot_x notification
ok "crossing 80% sent \"Codex usage reached 80%\" / \"$expected_body\", shown by dunst"

echo 90 >"$SCRATCH/codex-used"
refresh_lumora
wait_until 20 "a refresh did not read Codex at 90% used" label_has "Codex 10%"
[ "$(lumora_notifications)" = 1 ] || fail "a further rise above 80% sent another notification"
ok "a further rise to 90% sent no second notification"

# The action: dunst invokes it on a left click on the bubble (mouse_left_click = do_action).
grep -qF '|string "Take a Break"|' <<<"$call" || fail "the notification carries no \"Take a Break\" action: $call"
click_bubble
expect_break "the notification's \"Take a Break\" action" "$OUT/notification.png"
end_break
quit_lumora
