# XFCE 4.18's panel, xfwm4 (no focus stealing) and dunst under Xvfb: a left click breaks (the break screen takes the focus from
# the program in use), a middle click opens the popover; crossing 80% sends one notification, whose action breaks. Under strace
# throughout, Lumora opens nothing under ~/.claude but settings.json, nothing under ~/.codex, and connects only to the buses and X.
source "$(dirname "$0")/lib.sh"
need xfce4-panel dunst strace && { strace -f -o /dev/null true 2>/dev/null || skip "strace cannot trace here (ptrace is not permitted)"; }
mkdir -p "$HOME/.claude/projects/secret-project" "$HOME/.codex/sessions/2026/11/23" "$XDG_CONFIG_HOME/Lumora"
while read -r file content; do echo "$content" >"$HOME/$file"; done <<'EOF2'
.claude/settings.json {"model":"opus","env":{"ANTHROPIC_API_KEY":"decoy"}}
.claude/.credentials.json {"claudeAiOauth":{"accessToken":"decoy"}}
.claude/projects/secret-project/chat.jsonl {"type":"user","message":"a private chat"}
.claude/history.jsonl {"display":"a private prompt"}
.codex/auth.json {"tokens":{"access_token":"decoy"}}
.codex/config.toml model = "gpt-5"
.codex/sessions/2026/11/23/rollout.jsonl {"type":"message","content":"a private chat"}
.config/Lumora/preferences.json {"alertsEnabled": true}
EOF2
# Bubbles below the panel (so that the pictures show both); a left click invokes the action.
printf '[global]\nmonitor=0\nfollow=none\nwidth=360\nheight=120\norigin=top-right\noffset=16x48
mouse_left_click=do_action, close_current\nshow_indicators=no\n[urgency_normal]\ntimeout=0\n' >"$SCRATCH/dunstrc"
start_bus system && start_bus session && start_xvfb 1280x800 && start_xfce_panel
spawn dunst dunst -config "$SCRATCH/dunstrc" && up 15 "dunst did not take org.freedesktop.Notifications" bus_has org.freedesktop.Notifications
monitor notify-calls "type='method_call',interface='org.freedesktop.Notifications',member='Notify'"
# sent TEST COUNT: the number of Notify calls whose application is Lumora compares so with COUNT.
sent() { [ "$(awk '/member=Notify$/ { getline; n += /string "Lumora"$/ } END { print n + 0 }' "$OUT/notify-calls.log")" "$1" "$2" ]; }
strace_options=(-f --seccomp-bpf -qq -y -s 512 -e trace=open,openat,openat2,creat,connect,execve,rename,renameat,renameat2)
trace() { strace "${strace_options[@]}" -o "$OUT/$1.strace" "${@:2}"; } # NAME COMMAND...: calls in NAME.strace
# Lumora's own calls: every process of the trace until it runs another program (codex, claude, the hook's sh).
own_calls() { awk '/ execve\(/ && $0 !~ /lumora"/ && $0 !~ /= -1 / { other[$1] = 1 } !($1 in other) { print }' "$@"; }
socket() { sed -n 's/^unix:path=\([^,]*\).*/\1/p' <<<"$1"; }
allowed=("$(socket "$DBUS_SESSION_BUS_ADDRESS")" "$(socket "$DBUS_SYSTEM_BUS_ADDRESS")" "/tmp/.X11-unix/X${DISPLAY#:}")
under() { grep -oE "\"$HOME/\\.$1(/[^\"]*)?\"|<$HOME/\\.$1[^>]*>" | tr -d '"<>' | sort -u; }
check_trace() { # NAME: NAME.strace keeps to those files and addresses, and it ran codex
    local file="$OUT/$1.strace" opened claude codex addresses
    opened=$(own_calls "$file" | grep -E ' (open|openat|openat2|creat)\(' | grep -v ' = -1 ' || true)
    claude=$(under claude <<<"$opened" | grep -vxE "$HOME/\.claude/settings\.json(\.tmp\.[A-Za-z0-9]{6})?" || true) codex=$(under codex <<<"$opened" || true)
    addresses=$(own_calls "$file" | grep -E ' connect\(' | grep -oE 'sun_path=[^}]*|sin6?_addr[^}]*' |
        sed -e 's/sun_path=@/sun_path=/' -e 's/sun_path="\(.*\)"/\1/' | sort -u | grep -vxF "${allowed[@]/#/-e}" || true)
    [ -z "$claude$codex$addresses" ] || fail "$1 opened under ~/.claude: ${claude:-nothing}; under ~/.codex: ${codex:-nothing}; connected to: ${addresses:-nothing}"
    log "$1: $(grep -cE ' (open|openat|openat2|creat)\(' "$file") opens and $(grep -c ' connect(' "$file") connects traced, none out of bounds"
    [ "$1" = connect-claude ] || grep -q "execve(\"$SCRATCH/bin/codex\"" "$file" || fail "the trace shows no run of codex: strace saw nothing"
}
WRAP=trace show_icon strace "${strace_options[@]}" -o "$OUT/tray.strace" && check_trace connect-codex && check_trace connect-claude
ok "lumora connect codex and lumora connect claude kept to their files under strace"
show_status && { sent -eq 0 || fail "Lumora sent a notification at 30% used"; } && ok "at 30% used Lumora shows \"$STATUS\" and sends no notification"
# The program in use: a Qt one, keeping its user time up to date, with one window (qmleasing's late second one took the focus).
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
echo 90 >"$SCRATCH/bin/codex.used" && feed_claude_hook 50 && refresh_to "Codex 10% · Claude Code 50%" && { sent -eq 1 || fail "a further rise above 80% sent another notification"; }
ok "a further rise to 90% sent no second notification; a refresh read both tools"
geometry "$(xdotool search --onlyvisible --class Dunst | head -n1)" && click $((X + WIDTH / 2)) $((Y + HEIGHT / 2)) 1
expect_break "the notification's \"Take a Break\" action" "$OUT/notification.png" notification-break && end_break && quit_lumora && check_trace tray
ok "the tray opened nothing under ~/.claude but settings.json, nothing under ~/.codex, and connected only to the buses and the display"
