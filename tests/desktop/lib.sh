# Shared by the desktop cases (sourced). Each case runs in a PID namespace of its own (run.sh), so
# nothing it starts can outlive it; the cleanup below still ends every process in the reverse of
# its start order, and says so when Lumora outlives its SIGTERM.
#
# Everything lives under one scratch folder: the home, the XDG folders, the runtime folder and
# both message buses are private; the real home, session bus and display are never touched.
set -euo pipefail

CASE=${CASE:?run the cases through tests/desktop/run.sh}
OUT=${OUT:?}
LUMORA=${LUMORA:?}
HERE="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
mkdir -p "$OUT"

# run.sh makes the scratch folder (and removes it even when a case runs out of time).
SCRATCH="${SCRATCH:-$(mktemp -d /tmp/lumora-desktop-"$CASE".XXXXXX)}"
export HOME="$SCRATCH/home"
export XDG_CONFIG_HOME="$HOME/.config" XDG_DATA_HOME="$HOME/.local/share"
export XDG_CACHE_HOME="$HOME/.cache" XDG_STATE_HOME="$HOME/.local/state"
export XDG_RUNTIME_DIR="$SCRATCH/run"
mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_STATE_HOME" \
    "$XDG_RUNTIME_DIR" "$SCRATCH/bin"
chmod 700 "$XDG_RUNTIME_DIR"
unset DISPLAY WAYLAND_DISPLAY SWAYSOCK DBUS_SESSION_BUS_ADDRESS DBUS_SYSTEM_BUS_ADDRESS \
    XDG_CURRENT_DESKTOP XDG_SESSION_TYPE DESKTOP_SESSION XAUTHORITY TERMINAL QT_QPA_PLATFORM \
    QT_QUICK_BACKEND LUMORA_CODEX_PATH LUMORA_CLAUDE_PATH || true
export NO_AT_BRIDGE=1 GTK_A11Y=none LC_ALL=C.UTF-8
export PATH="$SCRATCH/bin:$PATH"

STARTED=() # "pid name", in start order
LUMORA_PID=""

log() { printf '  %s\n' "$*"; }
ok() { printf '  ok: %s\n' "$*"; }
# A case may name a function in DIAGNOSE that prints the state worth seeing when it fails
# (Lumora's windows, say).
DIAGNOSE=""
fail() {
    printf 'FAIL %s: %s\n' "$CASE" "$*"
    # The screen as it was, for the person reading the failure.
    if [ -n "${WAYLAND_DISPLAY:-}${DISPLAY:-}" ]; then
        grab "$OUT/failure.png" 2>/dev/null && log "screenshot: $OUT/failure.png"
    fi
    if [ -n "$DIAGNOSE" ]; then
        local diagnose=$DIAGNOSE
        DIAGNOSE=""
        "$diagnose" 2>&1 | sed 's/^/  state: /' || true
    fi
    exit 1
}
x_windows_state() {
    local windows
    windows=$(lumora_x_windows 2>/dev/null)
    echo "Lumora's visible windows (id x y width height): ${windows:-none}" | tr '\n' ';'
    echo
    [ -z "${LUMORA_ITEM_NAME:-}" ] || echo "the item's label: \"$(lumora_label 2>&1)\""
}
# Exit code 77 tells run.sh that the case skipped; the message says what stopped it.
skip() {
    printf 'SKIP %s: %s\n' "$CASE" "$*"
    exit 77
}

cleanup() {
    local status=$?
    trap - EXIT
    local i entry pid name
    for ((i = ${#STARTED[@]} - 1; i >= 0; i--)); do
        entry=${STARTED[i]}
        pid=${entry%% *}
        name=${entry#* }
        kill -TERM "$pid" 2>/dev/null || continue
        for _ in $(seq 30); do
            alive "$pid" || break
            sleep 0.1
        done
        if alive "$pid"; then
            # Panels and compositors may linger on the way out; Lumora must not.
            [ "$name" != lumora ] || log "lumora (pid $pid) was still running 3 s after SIGTERM"
            kill -KILL "$pid" 2>/dev/null || true
        fi
    done
    # As the first process of the case's PID namespace, end whatever those started too.
    if [ $$ -eq 1 ]; then
        kill -KILL -1 2>/dev/null || true
        for _ in $(seq 50); do
            [ "$(ps -e --no-headers | wc -l)" -gt 2 ] || break
            sleep 0.1
        done
    fi
    rm -rf "$SCRATCH" 2>/dev/null || true
    exit "$status"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# spawn NAME COMMAND...: starts a process in the background, its output in $OUT/NAME.log.
spawn() {
    local name=$1
    shift
    "$@" >"$OUT/$name.log" 2>&1 &
    STARTED+=("$! $name")
    SPAWNED=$!
    disown "$SPAWNED" # how each ends is in its log, not in the case's output
}

# wait_until SECONDS WHAT COMMAND...: runs COMMAND every 100 ms until it succeeds; fails the
# case with WHAT when SECONDS pass first.
wait_until() {
    local seconds=$1 what=$2
    shift 2
    local deadline=$((SECONDS + seconds))
    until "$@" >/dev/null 2>&1; do
        if ((SECONDS >= deadline)); then
            fail "$what (not within $seconds s)"
        fi
        sleep 0.1
    done
}

not() { ! "$@"; }

# alive PID: the process still runs (and is not a zombie).
alive() { [ -e "/proc/$1" ] && ! grep -q '^State:.*Z' "/proc/$1/status" 2>/dev/null; }

# --- message buses --------------------------------------------------------------------------

start_session_bus() {
    local file="$SCRATCH/session-bus"
    spawn session-bus dbus-daemon --session --nofork --nopidfile --nosyslog --print-address=3 \
        3>"$file"
    wait_until 10 "the private session bus did not start" test -s "$file"
    DBUS_SESSION_BUS_ADDRESS="$(head -n1 "$file")"
    export DBUS_SESSION_BUS_ADDRESS
}

# GNOME Shell asks logind and others on the system bus; a private bus with nobody on it lets
# it start without the machine's system bus.
start_system_bus() {
    local file="$SCRATCH/system-bus"
    spawn system-bus dbus-daemon --session --nofork --nopidfile --nosyslog --print-address=3 \
        3>"$file"
    wait_until 10 "the private system bus did not start" test -s "$file"
    DBUS_SYSTEM_BUS_ADDRESS="$(head -n1 "$file")"
    export DBUS_SYSTEM_BUS_ADDRESS
}

bus_has() {
    gdbus call --session --timeout 5 -d org.freedesktop.DBus -o /org/freedesktop/DBus \
        -m org.freedesktop.DBus.NameHasOwner "$1" | grep -q true
}

bus_owner_pid() {
    gdbus call --session --timeout 5 -d org.freedesktop.DBus -o /org/freedesktop/DBus \
        -m org.freedesktop.DBus.GetConnectionUnixProcessID "$1" | sed -n 's/^(uint32 \([0-9]*\),)$/\1/p'
}

# The items the StatusNotifierWatcher on the session bus knows, one a line.
watcher_items() {
    gdbus call --session --timeout 5 -d org.kde.StatusNotifierWatcher -o /StatusNotifierWatcher \
        -m org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierWatcher \
        RegisteredStatusNotifierItems | grep -o "'[^']*'" | tr -d "'"
}

# --- X11 ------------------------------------------------------------------------------------

# start_xvfb WIDTHxHEIGHT: a private X server on a free display number.
start_xvfb() {
    local fifo="$SCRATCH/xvfb-display"
    spawn xvfb Xvfb -displayfd 3 -screen 0 "${1}x24" -nolisten tcp -noreset +extension RANDR \
        3>"$fifo"
    wait_until 15 "Xvfb did not start" test -s "$fifo"
    DISPLAY=":$(head -n1 "$fifo")"
    export DISPLAY
    wait_until 10 "Xvfb does not answer" xdpyinfo
}

# split_monitors: two side-by-side monitors on the one X screen (RandR 1.5 monitors), so that
# Qt sees two screens, as on a desk with two displays (the right one takes over Xvfb's output,
# so that no monitor spans the whole screen; so assigned, xfwm4 also sees the whole width).
split_monitors() {
    local width height half
    read -r width height < <(xdpyinfo | awk '/dimensions:/ { split($2, s, "x"); print s[1], s[2] }')
    half=$((width / 2))
    xrandr --setmonitor left "$half/300x$height/200+0+0" none >/dev/null
    xrandr --setmonitor right "$half/300x$height/200+$half+0" screen >/dev/null
    MONITOR_WIDTH=$half MONITOR_HEIGHT=$height
}

# start_xfce_panel: xfwm4 and the XFCE panel with its notification area (which runs the
# StatusNotifierWatcher) on the X server; sets PANEL_X, PANEL_Y, PANEL_W, PANEL_H.
start_xfce_panel() {
    mkdir -p "$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml"
    cp "$HERE/xfce4-panel.xml" "$HERE/xfwm4.xml" "$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml/"
    export XDG_CURRENT_DESKTOP=XFCE XDG_SESSION_TYPE=x11
    xsetroot -solid "#2e3440"
    spawn xfwm4 xfwm4 --compositor=off
    wait_until 20 "xfwm4 did not take the window manager selection (log: $OUT/xfwm4.log)" \
        sh -c "xprop -root _NET_SUPPORTING_WM_CHECK | grep -q 'window id'"
    spawn panel xfce4-panel --disable-wm-check
    wait_until 30 "the panel's notification area did not start a StatusNotifierWatcher (log: $OUT/panel.log)" \
        bus_has org.kde.StatusNotifierWatcher
    wait_until 10 "no panel window is shown" xdotool search --onlyvisible --class xfce4-panel
    local panel
    panel=$(xdotool search --onlyvisible --class xfce4-panel | head -n1)
    eval "$(xdotool getwindowgeometry --shell "$panel")"
    PANEL_X=$X PANEL_Y=$Y PANEL_W=$WIDTH PANEL_H=$HEIGHT
}

# grab FILE: the whole screen as PNG: grim under Wayland, the X root window otherwise.
grab() {
    if [ -n "${WAYLAND_DISPLAY:-}" ]; then
        grim "$1"
    else
        xwd -root -silent | xwdtopnm 2>/dev/null | pnmtopng >"$1"
    fi
}

screenshot_x() {
    grab "$OUT/$1.png"
    log "screenshot: $OUT/$1.png"
}

# screenshot_x_changed NAME REFERENCE.png LEFT TOP WIDTH HEIGHT: a screenshot taken once the
# region differs from the reference picture (the window in it has drawn), within 10 s. Under
# Wayland too, despite its name.
screenshot_x_changed() {
    local name=$1 reference=$2
    shift 2
    local deadline=$((SECONDS + 10))
    while :; do
        grab "$OUT/$name.png"
        [ -z "$(changed_box "$reference" "$OUT/$name.png" "$@")" ] || break
        ((SECONDS < deadline)) || fail "$name: nothing was drawn in the region $* within 10 s"
        sleep 0.1
    done
    log "screenshot: $OUT/$name.png"
}

# Visible top-level X windows of Lumora, one "id x y width height" a line.
lumora_x_windows() {
    local id
    for id in $(xdotool search --onlyvisible --classname '^lumora$' 2>/dev/null); do
        eval "$(xdotool getwindowgeometry --shell "$id")"
        echo "$id $X $Y $WIDTH $HEIGHT"
    done
}

# --- fake Codex and Claude Code -------------------------------------------------------------

# A fake codex: signed in; its app-server answers the handshake and a rate-limit read with the
# used percentage in $SCRATCH/codex-used (changed by a case between refreshes) and the reset time
# in $SCRATCH/codex-resets (an hour from now). Every run is logged to $SCRATCH/codex-runs.
install_fake_codex() {
    echo "${1:-30}" >"$SCRATCH/codex-used"
    echo $(($(date +%s) + 3600)) >"$SCRATCH/codex-resets"
    cat >"$SCRATCH/bin/codex" <<EOF
#!/bin/sh
echo "\$*" >> '$SCRATCH/codex-runs'
case "\$1" in
login) echo 'Logged in using ChatGPT'; exit 0;;
--version) echo 'codex-cli 0.169.0'; exit 0;;
app-server)
    used=\$(cat '$SCRATCH/codex-used') resets=\$(cat '$SCRATCH/codex-resets')
    read -r _; echo '{"id":1,"result":{}}'
    read -r _; read -r _
    echo '{"id":2,"result":{"rateLimits":{"primary":{"usedPercent":'"\$used"',"windowDurationMins":300,"resetsAt":'"\$resets"'}}}}'
    exec cat > /dev/null;;
esac
exit 2
EOF
    chmod +x "$SCRATCH/bin/codex"
    export LUMORA_CODEX_PATH="$SCRATCH/bin/codex"
}

# A fake claude executable (Lumora only needs it to exist) and the hook's cache, written by the
# real hook script that `lumora connect claude` installs, fed the status JSON Claude Code gives.
install_fake_claude() {
    printf '#!/bin/sh\necho "2.0.0 (Claude Code)"\n' >"$SCRATCH/bin/claude"
    chmod +x "$SCRATCH/bin/claude"
    export LUMORA_CLAUDE_PATH="$SCRATCH/bin/claude"
}

feed_claude_hook() {
    local used=$1 resets=$(($(date +%s) + 7200))
    printf '{"model":{"display_name":"Opus"},"rate_limits":{"five_hour":{"used_percentage":%s,"resets_at":%s},"seven_day":{"used_percentage":10,"resets_at":%s}}}' \
        "$used" "$resets" "$((resets + 86400))" |
        sh "$XDG_DATA_HOME/Lumora/claude-statusline.sh" >/dev/null
}

# Both tools connected through the command line, as a user would.
connect_fake_tools() {
    install_fake_codex "${1:-30}"
    install_fake_claude
    "$LUMORA" connect codex >"$OUT/connect-codex.log" 2>&1 || fail "lumora connect codex: $(cat "$OUT/connect-codex.log")"
    "$LUMORA" connect claude >"$OUT/connect-claude.log" 2>&1 || fail "lumora connect claude: $(cat "$OUT/connect-claude.log")"
    feed_claude_hook "${2:-42}"
}

# --- Lumora ---------------------------------------------------------------------------------

# Whether this lumora has its tray: `lumora quit` answers "Lumora is not running." on a bus
# without one. A build from before the tray gives another answer; its cases then skip the
# Lumora checks and say so, after proving the panel part.
lumora_has_tray() {
    local answer
    answer="$("$LUMORA" quit 2>&1 || true)"
    LUMORA_NO_TRAY_REASON="$LUMORA has no tray yet: \`lumora quit\` answered \"$(printf '%s' "$answer" | head -n1)\""
    [[ "$answer" == *"Lumora is not running."* ]]
}

# Whether the watcher lists an item of the Lumora process; sets LUMORA_ITEM_NAME (its bus name)
# and LUMORA_ITEM_PATH (its object path). Watchers write an item as "NAME/PATH", "NAME" (the
# path is then /StatusNotifierItem) or, GNOME's AppIndicator extension, "NAME@PATH".
lumora_item_registered() {
    local item name path
    for item in $(watcher_items); do
        name=${item%%[/@]*}
        path=${item#"$name"}
        path=${path#@}
        if [ "$(bus_owner_pid "$name")" = "$LUMORA_PID" ]; then
            LUMORA_ITEM_NAME=$name
            LUMORA_ITEM_PATH=${path:-/StatusNotifierItem}
            return 0
        fi
    done
    return 1
}

# start_lumora [PREFIX...]: starts the tray (optionally under a wrapper such as strace) and waits
# for its name and its item at the watcher.
start_lumora() {
    spawn lumora "$@" "$LUMORA"
    SPAWNED_LUMORA=$SPAWNED
    wait_until 20 "lumora did not take io.github.lumora.Lumora (log: $OUT/lumora.log)" \
        bus_has io.github.lumora.Lumora
    LUMORA_PID="$(bus_owner_pid io.github.lumora.Lumora)"
    ok "lumora runs (pid $LUMORA_PID) and owns io.github.lumora.Lumora"
}

# The item's label (XAyatanaLabel), and whether it holds every text given.
lumora_label() { sni_property XAyatanaLabel | sed -n "s/^(<'\(.*\)'>,)\$/\1/p"; }
label_is() { [ "$(lumora_label)" = "$1" ]; }
label_has() {
    local label text
    label=$(lumora_label)
    for text; do [[ "$label" == *"$text"* ]] || return 1; done
}
# How often codex app-server ran (the fake codex logs every run), and a wait for one more run.
app_server_runs() { grep -c '^app-server' "$SCRATCH/codex-runs" 2>/dev/null || true; }
ran_since() { [ "$(app_server_runs)" -gt "$1" ]; }

# The panel's calls to the item (Activate, ContextMenu, ...), logged by dbus-monitor; item_called
# METHOD COUNT: the panel has called METHOD at least COUNT times.
watch_item_calls() {
    spawn item-calls dbus-monitor --session "type='method_call',interface='org.kde.StatusNotifierItem'"
    wait_until 10 "dbus-monitor did not start" grep -q NameAcquired "$OUT/item-calls.log"
}
item_called() { [ "$(grep -c "member=$1\$" "$OUT/item-calls.log")" -ge "${2:-1}" ]; }

# refresh_lumora: asks the tray to refresh until it has run codex again (a refresh asked for
# while one is under way is dropped, as it should be), within 20 s.
refresh_lumora() {
    local runs deadline=$((SECONDS + 20)) until
    runs=$(app_server_runs)
    while ! ran_since "$runs"; do
        ((SECONDS < deadline)) || fail "the tray did not refresh (no new codex run) within 20 s"
        lumora_call Refresh >/dev/null
        until=$((SECONDS + 3))
        while ! ran_since "$runs" && ((SECONDS < until)); do sleep 0.1; done
    done
}

lumora_call() {
    gdbus call --session --timeout 10 -d io.github.lumora.Lumora -o /io/github/lumora/Lumora \
        -m "io.github.lumora.Lumora.$1"
}

sni_property() {
    gdbus call --session --timeout 5 -d "$LUMORA_ITEM_NAME" \
        -o "$LUMORA_ITEM_PATH" -m org.freedesktop.DBus.Properties.Get \
        org.kde.StatusNotifierItem "$1"
}

# --- finding what changed on screen -----------------------------------------------------------

# changed_box BEFORE.png AFTER.png LEFT TOP WIDTH HEIGHT: the bounding box "x y width height" (in
# screen coordinates) of the pixels that differ between two screenshots inside that region, e.g.
# an item that appeared in a panel; nothing when nothing changed there.
changed_box() {
    local before=$1 after=$2 left=$3 top=$4 width=$5 height=$6
    pamarith -difference <(pngtopnm "$before" | pamcut "$left" "$top" "$width" "$height") \
        <(pngtopnm "$after" | pamcut "$left" "$top" "$width" "$height") |
        pnmtoplainpnm | awk -v left="$left" -v top="$top" '
        NR == 2 { w = $1; next }
        NR <= 3 { next }
        {
            for (i = 1; i <= NF; i++) {
                p = n++ ; px = int(p / 3); if ($i > 24) { x = px % w; y = int(px / w);
                if (!found || x < x0) x0 = x; if (!found || x > x1) x1 = x;
                if (!found || y < y0) y0 = y; if (!found || y > y1) y1 = y; found = 1 }
            }
        }
        END { if (found) print x0 + left, y0 + top, x1 - x0 + 1, y1 - y0 + 1 }'
}
