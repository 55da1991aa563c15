#!/usr/bin/env bash
# The tray's idle figures on a real desktop: XFCE's panel and xfwm4 on Xvfb, dunst as the
# notification server, both tools connected to fake codex/claude, private buses and home.
#
#   bench/desktop-idle.sh [LUMORA-BINARY]     (IDLE_SECONDS=300 STARTS=10 by default)
#
# Prints: start to registered item (median of STARTS starts), resident memory right after a
# start and after the popover was opened and closed, and the tray's own CPU time (user +
# system, from /proc) over IDLE_SECONDS of idling, as a share of one core.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
lumora="$(realpath "${1:-$here/../build/bin/lumora}")"
out="$(realpath -m "$here/../build/desktop-idle")"
mkdir -p "$out"
if [ "${IN_NAMESPACE:-}" != 1 ]; then
    isolate=()
    if [ "$(id -u)" -eq 0 ]; then
        isolate=(unshare --user --map-user=1000 --map-group=1000 --pid --fork --kill-child --mount-proc)
    fi
    exec env IN_NAMESPACE=1 "${isolate[@]}" "$0" "$lumora"
fi

export CASE=idle OUT="$out" LUMORA="$lumora"
source "$here/../tests/desktop/lib.sh"
IDLE_SECONDS=${IDLE_SECONDS:-300}
STARTS=${STARTS:-10}

start_bus session
start_xvfb 1280x800
start_xfce_panel
spawn dunst dunst
wait_until 15 "dunst did not start" bus_has org.freedesktop.Notifications
connect_fake_tools 30 42

now_ms() { date +%s%3N; }
rss_kb() { awk '/^VmRSS:/ { print $2 }' "/proc/$1/status"; }
cpu_ticks() { awk '{ print $14 + $15 }' "/proc/$1/stat"; }

# Start to registered item, several times; the last start stays for the rest.
times=()
for i in $(seq "$STARTS"); do
    begin=$(now_ms)
    start_lumora >/dev/null
    wait_until 20 "the item was not registered" lumora_item_registered
    times+=($(($(now_ms) - begin)))
    if [ "$i" -lt "$STARTS" ]; then
        lumora_call Quit >/dev/null || true
        wait_until 10 "lumora did not quit" not alive "$SPAWNED_LUMORA"
    fi
done
median=$(printf '%s\n' "${times[@]}" | sort -n | awk '{ a[NR] = $1 } END { print (NR % 2) ? a[(NR + 1) / 2] : (a[NR / 2] + a[NR / 2 + 1]) / 2 }')
echo "start to registered item: median ${median} ms of $STARTS starts (${times[*]} ms)"

pid=$LUMORA_PID
# Let the first refresh finish before reading the memory right after a start.
wait_until 20 "the first refresh did not finish" sh -c "grep -q '^app-server' '$SCRATCH/codex-runs'"
echo "resident memory after start: $(($(rss_kb "$pid") / 1024)) MB"

# The popover once opened and closed (a click elsewhere takes its activation away).
lumora_call ShowPopover >/dev/null || true
deadline=$((SECONDS + 15))
until [ -n "$(lumora_windows)" ] || ((SECONDS >= deadline)); do sleep 0.1; done
if [ -n "$(lumora_windows)" ]; then
    xdotool mousemove 640 700 click 1
    wait_until 15 "the popover did not close" sh -c "[ -z \"\$(xdotool search --onlyvisible --classname '^lumora\$')\" ]"
    echo "resident memory after the popover was opened and closed: $(($(rss_kb "$pid") / 1024)) MB"
else
    echo "resident memory after the popover: not measured, no popover opened within 15 s"
fi

hz=$(getconf CLK_TCK)
ticks=$(cpu_ticks "$pid")
begin=$(now_ms)
echo "idling for $IDLE_SECONDS s with XFCE's panel and dunst ..."
sleep "$IDLE_SECONDS" # the measurement itself: the tray left alone
used=$(($(cpu_ticks "$pid") - ticks))
elapsed=$(($(now_ms) - begin))
awk -v t="$used" -v hz="$hz" -v ms="$elapsed" 'BEGIN {
    printf "CPU time over %.0f s idle: %.2f s, %.3f%% of one core\n", ms / 1000, t / hz, 100 * t / hz / (ms / 1000) }'
echo "resident memory after idling: $(($(rss_kb "$pid") / 1024)) MB"
lumora_call Quit >/dev/null || true
