# Sourced by the desktop cases: home, XDG folders and buses private, under one scratch folder, never the real ones.
set -euo pipefail
CASE=${CASE:?run the cases through tests/desktop/run.sh} OUT=${OUT:?} LUMORA=${LUMORA:?}
HERE="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)" SCRATCH="${SCRATCH:-$(mktemp -d /tmp/lumora-desktop-"$CASE".XXXXXX)}"
unset DISPLAY WAYLAND_DISPLAY SWAYSOCK DBUS_SESSION_BUS_ADDRESS DBUS_SYSTEM_BUS_ADDRESS XDG_CURRENT_DESKTOP XDG_SESSION_TYPE \
    DESKTOP_SESSION XAUTHORITY TERMINAL QT_QPA_PLATFORM QT_QUICK_BACKEND LUMORA_CODEX_PATH LUMORA_CLAUDE_PATH || true
export HOME="$SCRATCH/home" XDG_RUNTIME_DIR="$SCRATCH/run" NO_AT_BRIDGE=1 GTK_A11Y=none LC_ALL=C.UTF-8 PATH="$SCRATCH/bin:$PATH"
export XDG_CONFIG_HOME="$HOME/.config" XDG_DATA_HOME="$HOME/.local/share" XDG_CACHE_HOME="$HOME/.cache" XDG_STATE_HOME="$HOME/.local/state"
mkdir -p "$OUT" "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_STATE_HOME" "$SCRATCH/bin" && mkdir -pm 700 "$XDG_RUNTIME_DIR"
STARTED=() && log() { printf '  %s\n' "$*"; } && ok() { log "ok: $*"; }
fail() { # with a screenshot and Lumora's shown windows, once there is a display
    printf 'FAIL %s: %s\n' "$CASE" "$*" && [ -n "${WAYLAND_DISPLAY:-}${DISPLAY:-}" ] || exit 1
    grab "$OUT/failure.png" 2>/dev/null && log "screenshot: $OUT/failure.png"
    log "state: Lumora's visible windows (id x y width height): $(lumora_windows 2>&1 | tr '\n' ';')" && exit 1
}
skip() { printf 'SKIP %s: %s\n' "$CASE" "$*" && exit 77; } # 77 tells run.sh that the case skipped
need() { for tool; do command -v "$tool" >/dev/null || skip "$tool is not installed (scripts/setup.sh desktop)"; done; }
cleanup() { # Lumora, given 3 s on SIGTERM (it must end); the rest in reverse order; as PID 1, whatever those started
    local status=$? i && trap - EXIT
    ! kill -TERM "${SPAWNED_LUMORA:-none}" 2>/dev/null || poll 3 not alive "$SPAWNED_LUMORA" || log "lumora (pid $SPAWNED_LUMORA) ran on 3 s after SIGTERM"
    for ((i = ${#STARTED[@]} - 1; i >= 0; i--)); do kill -TERM "${STARTED[i]}" 2>/dev/null || true; done
    for i in "${STARTED[@]}"; do poll 3 not alive "$i" || kill -KILL "$i" 2>/dev/null || true; done
    [ $$ -ne 1 ] || { kill -KILL -1 2>/dev/null; poll 5 sh -c '[ "$(ps -e --no-headers | wc -l)" -le 2 ]'; } || true
    rm -rf "$SCRATCH" 2>/dev/null; exit "$status"
}
trap cleanup EXIT && trap 'exit 130' INT TERM
# spawn NAME COMMAND...: in the background, its output (and how it ends) in $OUT/NAME.log.
spawn() { LAST=$1; "${@:2}" >"$OUT/$1.log" 2>&1 & SPAWNED=$!; STARTED+=("$SPAWNED"); disown "$SPAWNED"; }
poll() { # SECONDS COMMAND...: runs COMMAND every 100 ms until it succeeds; false when SECONDS pass
    local deadline=$((SECONDS + $1)) && until "${@:2}" >/dev/null 2>&1; do ((SECONDS < deadline)) && sleep 0.1 || return 1; done
}
wait_until() { poll "$1" "${@:3}" || fail "$2 (not within $1 s)"; } # SECONDS WHAT COMMAND...
up() { wait_until "$1" "$2 (log: $OUT/$LAST.log)" "${@:3}"; } # wait_until naming the log of what started last
not() { ! "$@"; }
alive() { [ -e "/proc/$1" ] && ! grep -q '^State:.*Z' "/proc/$1/status" 2>/dev/null; }
wm_running() { xprop -root _NET_SUPPORTING_WM_CHECK | grep -q 'window id'; }
start_bus() { # session|system: a private bus (GNOME Shell gets a "system" one with nobody on it)
    spawn "$1-bus" dbus-daemon --session --nofork --nopidfile --nosyslog --print-address=3 3>"$SCRATCH/$1-bus" &&
        wait_until 10 "the private $1 bus did not start" test -s "$SCRATCH/$1-bus" && export "DBUS_${1^^}_BUS_ADDRESS=$(head -n1 "$SCRATCH/$1-bus")"
}
bus_call() { gdbus call --session --timeout 10 -d "$1" -o "$2" -m "$3" "${@:4}"; } # NAME PATH METHOD ARG...
bus_dbus() { bus_call org.freedesktop.DBus /org/freedesktop/DBus "org.freedesktop.DBus.$1" "$2"; }
bus_has() { bus_dbus NameHasOwner "$1" | grep -q true; }
bus_owner_pid() { bus_dbus GetConnectionUnixProcessID "$1" | sed -n 's/^(uint32 \([0-9]*\),)$/\1/p'; }
watcher() { bus_call org.kde.StatusNotifierWatcher /StatusNotifierWatcher org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierWatcher "$1"; }
# monitor NAME RULE: dbus-monitor logging the session bus's messages that match RULE in $OUT/NAME.log.
monitor() { spawn "$1" dbus-monitor --session "$2" && wait_until 10 "dbus-monitor did not start" grep -q NameAcquired "$OUT/$1.log"; }
start_xvfb() { # WIDTHxHEIGHT: a private X server on a free display number, its background dark
    spawn xvfb Xvfb -displayfd 3 -screen 0 "${1}x24" -nolisten tcp -noreset +extension RANDR 3>"$SCRATCH/xvfb-display" &&
        wait_until 15 "Xvfb did not start" test -s "$SCRATCH/xvfb-display" && export DISPLAY=":$(head -n1 "$SCRATCH/xvfb-display")"
    wait_until 10 "Xvfb does not answer" xdpyinfo && xsetroot -solid "#2e3440"
}
# xfwm4 (preventing focus stealing), the XFCE panel along the top, its notification area (and watcher) at the right end.
xfconf() { mkdir -p "$XFCONF" && echo "<?xml version='1.0'?><channel name='$1' version='1.0'>$2</channel>" >"$XFCONF/$1.xml"; }
property() { echo "<property name='$1' type='$2' value='$3'/>"; }
start_xfce_panel() {
    XFCONF="$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml" && xfconf xfwm4 "<property name='general' type='empty'>$(property prevent_focus_stealing bool true)</property>"
    xfconf xfce4-panel "$(property configver int 2)<property name='panels' type='array'><value type='int' value='1'/><property name='panel-1' type='empty'>
      $(property position string 'p=6;x=0;y=0') $(property length uint 100) $(property position-locked bool true) $(property size uint 32) $(property icon-size uint 24)
      <property name='plugin-ids' type='array'><value type='int' value='1'/><value type='int' value='2'/></property></property></property>
      <property name='plugins' type='empty'><property name='plugin-1' type='string' value='separator'>$(property expand bool true)$(property style uint 0)</property>
      <property name='plugin-2' type='string' value='systray'>$(property square-icons bool true)</property></property>" && export XDG_CURRENT_DESKTOP=XFCE XDG_SESSION_TYPE=x11
    spawn xfwm4 xfwm4 --compositor=off && up 20 "xfwm4 did not take the window manager selection" wm_running
    spawn panel xfce4-panel --disable-wm-check && up 30 "the panel did not start a StatusNotifierWatcher" bus_has org.kde.StatusNotifierWatcher
    panel_geometry xfce4-panel
}
shown_window() { # CLASS TYPE: the id of a shown window of that class and type (DOCK, TOOLTIP, ...)
    for id in $(xdotool search --onlyvisible --class "$1"); do xprop -id "$id" _NET_WM_WINDOW_TYPE | grep -q "TYPE_$2" && echo "$id" && return; done; false
}
geometry() { eval "$(xdotool getwindowgeometry --shell "$1")"; } # WINDOW: sets X, Y, WIDTH, HEIGHT
panel_geometry() { # CLASS: waits for a dock window of that class; PANEL is then its "x y width height"
    wait_until 40 "no $1 panel is shown" shown_window "$1" DOCK && geometry "$(shown_window "$1" DOCK)" && PANEL=("$X" "$Y" "$WIDTH" "$HEIGHT")
}
below_panel() { echo 0 $((PANEL[1] + PANEL[3])) 1280 $((800 - PANEL[1] - PANEL[3])); }
# grab FILE: the whole screen as PNG: grim under Wayland, the X root window otherwise.
grab() { if [ -n "${WAYLAND_DISPLAY:-}" ]; then grim "$1"; else xwd -root -silent | xwdtopnm 2>/dev/null | pnmtopng >"$1"; fi; }
screenshot() { grab "$OUT/$1.png" || fail "could not take the screenshot $1"; log "screenshot: $OUT/$1.png"; }
# differs FILE REFERENCE.png LEFT TOP WIDTH HEIGHT: the screen grabbed into FILE differs there; CHANGED: "x y width height" of that.
differs() {
    grab "$1" && CHANGED=$(pamarith -difference <(pngtopnm "$2" | pamcut "${@:3}") <(pngtopnm "$1" | pamcut "${@:3}") |
        pnmtoplainpnm | awk -v left="$3" -v top="$4" 'NR == 2 { w = $1 } NR <= 3 { next }
        { for (i = 1; i <= NF; i++) { p = int(n / 3); n++; if ($i > 24) { x = p % w; y = int(p / w)
            if (!f || x < x0) x0 = x; if (!f || x > x1) x1 = x; if (!f || y < y0) y0 = y; if (!f || y > y1) y1 = y; f = 1 } } }
        END { if (f) print x0 + left, y0 + top, x1 - x0 + 1, y1 - y0 + 1 }') && [ -n "$CHANGED" ]
}
# screenshot_changed NAME REFERENCE.png LEFT TOP WIDTH HEIGHT: a screenshot once the window in the region has drawn.
screenshot_changed() { wait_until 10 "$1: nothing was drawn in the region ${*:3}" differs "$OUT/$1.png" "${@:2}" && log "screenshot: $OUT/$1.png"; }
# Lumora's windows, "id x y width height" (sway's case redefines it): the break screen 1280x800, the popover 300 to 400 wide.
lumora_windows() { for id in $(xdotool search --onlyvisible --classname '^lumora$' 2>/dev/null); do geometry "$id" && echo "$id $X $Y $WIDTH $HEIGHT"; done; }
full_screen() { lumora_windows | awk '$2 == 0 && $3 == 0 && $4 == 1280 && $5 == 800 { f = 1 } END { exit !f }'; }
popover_shown() { lumora_windows | awk -v near="${1:-}" -v cx="${CX:-}" -v cy="${CY:-}" '$4 >= 300 && $4 <= 400 && $5 < 800 &&
    (!near || $2 <= cx + 40 && $2 + $4 >= cx - 40 && $3 <= cy + 400 && $3 + $5 >= cy - 400) { f = 1 } END { exit !f }'; }
expect_break() { # WHAT REFERENCE.png [NAME]: WHAT covered the screen with the break screen, which drew
    wait_until 15 "$1 did not cover the screen with the break screen" full_screen
    screenshot_changed "${3:-break-screen}" "$2" 590 350 100 100 && ok "$1 covered the screen with the break screen"
}
has_focus() { lumora_windows | awk -v a="$(xdotool "${1:-getwindowfocus}")" '$1 == a { f = 1 } END { exit !f }'; }
end_break() { # Escape, once the keyboard's focus is on the break screen, ends the break
    wait_until 10 "the break screen does not have the keyboard's focus" has_focus
    xdotool key Escape && wait_until 10 "Escape did not end the break" not full_screen && ok "Escape ended the break"
}
click() { xdotool mousemove "$1" "$2" click "$3" || fail "could not click at $1,$2"; } # X Y BUTTON (sway's case redefines it)
# show_icon: Lumora's icon, what appears in PANEL the same in two screenshots in a row (panels let it grow in); CX, CY its middle.
settled() { local last=${CHANGED:-}; differs "$@" && [ "$CHANGED" = "$last" ]; }
show_icon() { # [PREFIX...]: Lumora started under it
    connect_fake_tools 30 42 && screenshot before-lumora && start_lumora "$@" && CHANGED=""
    wait_until 15 "nothing appeared in the panel for Lumora's item" settled "$OUT/panel-with-item.png" "$OUT/before-lumora.png" "${PANEL[@]}"
    log "screenshot: $OUT/panel-with-item.png" && read -r ix iy iw ih <<<"$CHANGED" && CX=$((ix + iw / 2)) CY=$((iy + ih / 2))
    ((iw <= 48 && ih <= 48)) || fail "the change in the panel is ${iw}x${ih}, larger than an icon"
    ok "the panel shows Lumora's icon (${iw}x${ih} at $ix,$iy)" && monitor item-calls "type='method_call',interface='org.kde.StatusNotifierItem'"
}
# click_item BUTTON METHOD: a click on the icon makes the panel call METHOD on the item.
item_called() { [ "$(grep -c "member=$1\$" "$OUT/item-calls.log")" -ge "$2" ]; }
click_item() {
    local count=$(grep -c "member=$2\$" "$OUT/item-calls.log" || true) && click "$CX" "$CY" "$1"
    wait_until 10 "a click with button $1 on the icon did not reach the item (no $2)" item_called "$2" $((count + 1))
    ok "a click with button $1 on the icon made the panel call $2 on the item"
}
popover_by_click() { # BUTTON METHOD [near]: that click opens the popover (next to the icon, with near)
    click_item "$1" "$2" && wait_until 15 "the click did not open the popover ${3:+next to the icon}" popover_shown "${3:-}"
    screenshot_changed popover "$OUT/panel-with-item.png" $(below_panel) && ok "a click with button $1 on the icon opened the popover ${3:+next to it}"
}
feed_claude_hook() { # USED: the real hook script `lumora connect claude` installs, fed Claude Code's JSON
    local resets=$(($(date +%s) + 7200))
    printf '{"model":{"display_name":"Opus"},"rate_limits":{"five_hour":{"used_percentage":%s,"resets_at":%s},"seven_day":{"used_percentage":10,"resets_at":%s}}}' \
        "$1" "$resets" "$((resets + 86400))" | sh "$XDG_DATA_HOME/Lumora/claude-statusline.sh" >/dev/null || fail "the hook script failed"
}
# connect_fake_tools CODEX-USED CLAUDE-USED: fake-codex.sh and a fake claude, connected by the command line (under WRAP NAME).
connect_fake_tools() {
    cp "$HERE/fake-codex.sh" "$SCRATCH/bin/codex" && echo "$1" >"$SCRATCH/bin/codex.used" && echo $(($(date +%s) + 3600)) >"$SCRATCH/bin/codex.resets"
    printf '#!/bin/sh\necho "2.0.0 (Claude Code)"\n' >"$SCRATCH/bin/claude" && chmod +x "$SCRATCH/bin/claude"
    export LUMORA_CODEX_PATH="$SCRATCH/bin/codex" LUMORA_CLAUDE_PATH="$SCRATCH/bin/claude" && for tool in codex claude; do
        ${WRAP:+$WRAP connect-$tool} "$LUMORA" connect $tool >"$OUT/connect-$tool.log" 2>&1 || fail "lumora connect $tool: $(cat "$OUT/connect-$tool.log")"
    done && feed_claude_hook "$2"
}
# Whether the watcher lists an item of Lumora's (ITEM: its name and path), written "NAME/PATH", "NAME" or "NAME@PATH" (GNOME).
lumora_item_registered() {
    for item in $(watcher RegisteredStatusNotifierItems | grep -o "'[^']*'" | tr -d "'"); do
        name=${item%%[/@]*} path=${item#"${item%%[/@]*}"} && path=${path#@}
        [ "$(bus_owner_pid "$name")" = "$LUMORA_PID" ] && ITEM=("$name" "${path:-/StatusNotifierItem}") && return
    done; false
}
start_lumora() { # [PREFIX...]: the tray (under a wrapper such as strace); waits for its name and its item, if a watcher runs
    spawn lumora "$@" "$LUMORA" && SPAWNED_LUMORA=$SPAWNED && wait_until 20 "lumora did not take io.github.lumora.Lumora (log: $OUT/lumora.log)" bus_has io.github.lumora.Lumora
    LUMORA_PID="$(bus_owner_pid io.github.lumora.Lumora)" && ok "lumora runs (pid $LUMORA_PID) and owns its bus name"
    ! bus_has org.kde.StatusNotifierWatcher || { wait_until 15 "the watcher did not list Lumora's item" lumora_item_registered && ok "the watcher lists Lumora's item"; }
}
lumora_call() { bus_call io.github.lumora.Lumora /io/github/lumora/Lumora "io.github.lumora.Lumora.$1"; }
quit_lumora() { lumora_call Quit >/dev/null || true; wait_until 15 "lumora did not quit" not alive "$SPAWNED_LUMORA"; }
sni_property() { bus_call "${ITEM[@]}" org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierItem "$1"; }
label_is() { [[ "$(sni_property XAyatanaLabel | sed -n "s/^(<'\(.*\)'>,)\$/\1/p")" == $1 ]]; } # PATTERN: the item's label
show_status() { STATUS="$("$LUMORA" status)" && wait_until 20 "the item's label is not \"$STATUS\" as lumora status prints" label_is "$STATUS"; }
app_server_runs() { grep -c '^app-server' "$SCRATCH/bin/codex.runs" 2>/dev/null || true; }
ran_since() { [ "$(app_server_runs)" -gt "$1" ]; } # codex app-server ran more often than that since
# refresh_to LABEL-PART: refreshes until codex ran again (one asked for during another is dropped); the label shows LABEL-PART.
refresh_to() {
    local runs=$(app_server_runs) && for _ in {1..7}; do lumora_call Refresh >/dev/null && poll 3 ran_since "$runs" && break; done
    ran_since "$runs" || fail "the tray did not refresh (no new codex run) within 21 s"
    wait_until 20 "a refresh did not show \"$1\"" label_is "*$1*"
}
