# The break screen on every screen: two side-by-side RandR 1.5 monitors on Xvfb's one output
# (the right one takes the output, so that no monitor spans the screen), which Qt shows as two
# screens; `lumora break` covers each with a window of its own; a monitor unplugged during the
# break loses its window, one plugged in gets one; Escape ends the break on all of them. No
# window manager: GDK (so xfwm4) skips a monitor without an output of its own.
source "$(dirname "$0")/lib.sh"
start_bus session
start_xvfb 2560x800
MONITOR_WIDTH=1280 MONITOR_HEIGHT=800
xrandr --setmonitor left "1280/300x800/200+0+0" none >/dev/null
xrandr --setmonitor right "1280/300x800/200+1280+0" screen >/dev/null
ok "Xvfb shows two monitors of ${MONITOR_WIDTH}x$MONITOR_HEIGHT"
connect_fake_tools 30 42
start_lumora
xdotool mousemove 300 300
screenshot_x before-break
"$LUMORA" break >"$OUT/break.log" 2>&1 || fail "lumora break: $(cat "$OUT/break.log")"
on_both() {
    lumora_windows | awk -v w="$MONITOR_WIDTH" -v h="$MONITOR_HEIGHT" '
        $2 == 0 && $3 == 0 && $4 == w && $5 == h { a = 1 }
        $2 == w && $3 == 0 && $4 == w && $5 == h { b = 1 } END { exit !(a && b) }'
}
wait_until 15 "lumora break did not cover both monitors, one window each ($(lumora_windows | tr '\n' ';'))" on_both
screenshot_x_changed break-screens "$OUT/before-break.png" $((MONITOR_WIDTH + MONITOR_WIDTH / 2 - 50)) 350 100 100
ok "lumora break covered both monitors, each with a window of its own"

# Unplugged and plugged in again while the break is shown.
only_right() {
    lumora_windows | awk -v w="$MONITOR_WIDTH" -v h="$MONITOR_HEIGHT" '
        $2 == w && $3 == 0 && $4 == w && $5 == h { b = 1 } $2 == 0 { a = 1 }
        END { exit !(b && !a) }'
}
xrandr --delmonitor left >/dev/null
wait_until 10 "the left monitor's break window stayed after it was unplugged ($(lumora_windows | tr '\n' ';'))" only_right
ok "the unplugged monitor's window went; the right one still shows the break"
xrandr --setmonitor left "$MONITOR_WIDTH/300x$MONITOR_HEIGHT/200+0+0" none >/dev/null
wait_until 10 "the monitor plugged in during the break got no window ($(lumora_windows | tr '\n' ';'))" on_both
# Its window starts black; the picture is taken once the moving background shows on it.
ppmmake black $((2 * MONITOR_WIDTH)) "$MONITOR_HEIGHT" | pnmtopng >"$SCRATCH/black.png"
screenshot_x_changed replugged "$SCRATCH/black.png" $((MONITOR_WIDTH / 2 - 50)) 100 100 100
ok "the monitor plugged in during the break got a break window of its own"

# Escape on the right monitor's break window (which, with no window manager here, the test
# focuses; the left monitor also has the popover that Lumora opens at its start without a tray).
xdotool mousemove 1920 400 windowfocus --sync "$(lumora_windows | awk '$2 == 1280 { print $1 }')" key Escape
wait_until 10 "Escape did not end the break on both monitors" not on_both
ok "Escape ended the break on both"
quit_lumora
