# The break screen on every screen: an X server with two side-by-side monitors (RandR 1.5
# monitors on Xvfb's one output), which Qt shows as two screens; `lumora break` covers each
# with a window of its own; a monitor unplugged during the break loses its window, one plugged in
# gets one; Escape ends the break on all of them.
#
# No window manager here: Xvfb has a single RandR output, and GDK (so xfwm4 and the XFCE panel)
# skips a monitor without an output, while Qt 6 no longer reads Xinerama; a second screen that
# both a desktop's window manager and Qt see cannot be made with Debian's X servers alone.
source "$(dirname "$0")/lib.sh"
DIAGNOSE=x_windows_state

start_session_bus
start_xvfb 2560x800
split_monitors
xsetroot -solid "#2e3440"
ok "Xvfb shows two monitors of ${MONITOR_WIDTH}x$MONITOR_HEIGHT"

if ! lumora_has_tray; then
    skip "the two monitors are ready; the Lumora checks wait: $LUMORA_NO_TRAY_REASON"
fi
connect_fake_tools 30 42
start_lumora
xdotool mousemove 300 300
screenshot_x before-break
"$LUMORA" break >"$OUT/break.log" 2>&1 || fail "lumora break: $(cat "$OUT/break.log")"
on_both() {
    lumora_x_windows | awk -v w="$MONITOR_WIDTH" -v h="$MONITOR_HEIGHT" '
        $2 == 0 && $3 == 0 && $4 == w && $5 == h { a = 1 }
        $2 == w && $3 == 0 && $4 == w && $5 == h { b = 1 } END { exit !(a && b) }'
}
wait_until 15 "lumora break did not cover both monitors, one window each ($(lumora_x_windows | tr '\n' ';'))" on_both
screenshot_x_changed break-screens "$OUT/before-break.png" $((MONITOR_WIDTH + MONITOR_WIDTH / 2 - 50)) 350 100 100
ok "lumora break covered both monitors, each with a window of its own"

# Unplugged and plugged in again while the break is shown.
only_right() {
    lumora_x_windows | awk -v w="$MONITOR_WIDTH" -v h="$MONITOR_HEIGHT" '
        $2 == w && $3 == 0 && $4 == w && $5 == h { b = 1 } $2 == 0 { a = 1 }
        END { exit !(b && !a) }'
}
xrandr --delmonitor left >/dev/null
wait_until 10 "the left monitor's break window stayed after it was unplugged ($(lumora_x_windows | tr '\n' ';'))" only_right
ok "the unplugged monitor's window went; the right one still shows the break"
xrandr --setmonitor left "$MONITOR_WIDTH/300x$MONITOR_HEIGHT/200+0+0" none >/dev/null
wait_until 10 "the monitor plugged in during the break got no window ($(lumora_x_windows | tr '\n' ';'))" on_both
# Its window starts black; the picture is taken once the moving background shows on it.
ppmmake black $((2 * MONITOR_WIDTH)) "$MONITOR_HEIGHT" | pnmtopng >"$SCRATCH/black.png"
screenshot_x_changed replugged "$SCRATCH/black.png" $((MONITOR_WIDTH / 2 - 50)) 100 100 100
ok "the monitor plugged in during the break got a break window of its own"

xdotool key Escape
wait_until 10 "Escape did not end the break on both monitors" not on_both
ok "Escape ended the break on both"
lumora_call Quit >/dev/null || true
wait_until 10 "lumora did not quit" not alive "$SPAWNED_LUMORA"
