# The break screen on every screen of two RandR monitors on Xvfb's one output (no window manager: GDK's, so xfwm4, skips a monitor
# without an output): one window each, a monitor unplugged during the break loses its own, one plugged in gets one, Escape ends all.
source "$(dirname "$0")/lib.sh"
start_bus session && start_xvfb 2560x800
plug() { xrandr --setmonitor "$1" "1280/300x800/200+$2+0" "$3" >/dev/null || fail "xrandr could not plug in $1"; }
plug left 0 none && plug right 1280 screen && connect_fake_tools 30 42 && start_lumora && xdotool mousemove 300 300 && screenshot before-break
"$LUMORA" break >"$OUT/break.log" 2>&1 || fail "lumora break: $(cat "$OUT/break.log")"
covering() { # LEFT RIGHT: whether break windows cover the left and the right monitor (1 or 0 each)
    lumora_windows | awk -v l="$1" -v r="$2" '$3 == 0 && $4 == 1280 && $5 == 800 { a += $2 == 0; b += $2 == 1280 } END { exit !((a > 0) == l && (b > 0) == r) }'
}
wait_until 15 "lumora break did not cover both monitors, one window each" covering 1 1
screenshot_changed break-screens "$OUT/before-break.png" 1870 350 100 100 && ok "lumora break covered both monitors, each with a window of its own"
xrandr --delmonitor left >/dev/null && wait_until 10 "the left monitor's break window stayed after it was unplugged" covering 0 1
plug left 0 none && wait_until 10 "the monitor plugged in during the break got no window" covering 1 1
# Its window starts black; the picture is taken once the moving background shows on it.
ppmmake black 2560 800 | pnmtopng >"$SCRATCH/black.png"
screenshot_changed replugged "$SCRATCH/black.png" 590 100 100 100 && ok "an unplugged monitor's break window went; one plugged in during the break got its own"
# Escape on the right monitor's window, focused by the test (the left one also has the popover Lumora opens without a tray).
xdotool mousemove 1920 400 windowfocus --sync "$(lumora_windows | awk '$2 == 1280 { print $1 }')" key Escape
wait_until 10 "Escape did not end the break on both monitors" covering 0 0 && ok "Escape ended the break on both" && quit_lumora
