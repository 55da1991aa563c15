# Privacy, shown rather than promised: strace follows `lumora connect` for both tools, then the
# tray through its start, a refresh of both providers and its end. Lumora's own processes open
# nothing under ~/.claude but settings.json (and the temporary file it is replaced through) and
# nothing under ~/.codex (only the codex processes Lumora starts do), and connect to no address
# but the session bus, the system bus (logind's sleep signal) and the X display.
# The homes hold decoys that a careless reader would open: chats, credentials, histories.
source "$(dirname "$0")/lib.sh"
need strace
strace -f -o /dev/null true 2>/dev/null || skip "strace cannot trace here (ptrace is not permitted)"

mkdir -p "$HOME/.claude/projects/secret-project" "$HOME/.codex/sessions/2026/11/23"
echo '{"model":"opus","env":{"ANTHROPIC_API_KEY":"decoy"}}' >"$HOME/.claude/settings.json"
echo '{"claudeAiOauth":{"accessToken":"decoy"}}' >"$HOME/.claude/.credentials.json"
echo '{"type":"user","message":"a private chat"}' >"$HOME/.claude/projects/secret-project/chat.jsonl"
echo '{"display":"a private prompt"}' >"$HOME/.claude/history.jsonl"
echo '{"tokens":{"access_token":"decoy"}}' >"$HOME/.codex/auth.json"
echo 'model = "gpt-5"' >"$HOME/.codex/config.toml"
echo '{"type":"message","content":"a private chat"}' >"$HOME/.codex/sessions/2026/11/23/rollout.jsonl"

start_bus system
start_bus session
start_xvfb 1280x800
start_xfce_panel
ok "a private X display, session and system bus, and XFCE's panel are up"

strace_options=(-f -qq -y -s 512 -e trace=open,openat,openat2,creat,connect,execve,rename,renameat,renameat2)
trace() { # trace NAME COMMAND...: runs COMMAND under strace, its calls in $OUT/NAME.strace
    local name=$1
    shift
    strace "${strace_options[@]}" -o "$OUT/$name.strace" "$@"
}
# Lumora's own calls: every process of the trace until it runs another program (the codex and
# claude processes, the hook's sh); those are the tools' own business.
own_calls() {
    awk '/ execve\(/ && $0 !~ /lumora"/ && $0 !~ /= -1 / { other[$1] = 1 } !($1 in other) { print }' "$@"
}
session_path=$(sed -n 's/^unix:path=\([^,]*\).*/\1/p' <<<"$DBUS_SESSION_BUS_ADDRESS")
system_path=$(sed -n 's/^unix:path=\([^,]*\).*/\1/p' <<<"$DBUS_SYSTEM_BUS_ADDRESS")
display_path="/tmp/.X11-unix/X${DISPLAY#:}"
# check_trace NAME: fails the case when the trace $OUT/NAME.strace shows Lumora opening a file
# under ~/.claude other than settings.json (or the temporary file it is replaced through), any
# file under ~/.codex, or connecting to another address than the buses and the display.
check_trace() {
    local name=$1 file="$OUT/$1.strace" opened claude codex addresses problems=""
    opened=$(own_calls "$file" | grep -E ' (open|openat|openat2|creat)\(' | grep -v ' = -1 ' || true)
    claude=$(grep -oE "\"$HOME/\.claude(/[^\"]*)?\"|<$HOME/\.claude[^>]*>" <<<"$opened" | tr -d '"<>' |
        sort -u | grep -vxE "$HOME/\.claude/settings\.json(\.tmp\.[A-Za-z0-9]{6})?" || true)
    codex=$(grep -oE "\"$HOME/\.codex(/[^\"]*)?\"|<$HOME/\.codex[^>]*>" <<<"$opened" | tr -d '"<>' |
        sort -u || true)
    addresses=$(own_calls "$file" | grep -E ' connect\(' | grep -oE 'sun_path=[^}]*|sin6?_addr[^}]*' |
        sed -e 's/sun_path=@/sun_path=/' -e 's/sun_path="\(.*\)"/\1/' | sort -u |
        grep -vxF -e "$session_path" -e "$system_path" -e "$display_path" || true)
    [ -z "$claude" ] || problems+="$name opened under ~/.claude: $claude; "
    [ -z "$codex" ] || problems+="$name opened under ~/.codex: $codex; "
    [ -z "$addresses" ] || problems+="$name connected to: $addresses; "
    [ -z "$problems" ] || fail "$problems"
    log "$name: $(grep -cE ' (open|openat|openat2|creat)\(' "$file") opens and $(grep -c ' connect(' "$file") connects traced, none out of bounds ($file)"
}

WRAP=trace connect_fake_tools 30 42
check_trace connect-codex
check_trace connect-claude
grep -q "execve(\"$SCRATCH/bin/codex\"" "$OUT/connect-codex.strace" ||
    fail "the trace does not show lumora connect codex starting codex: strace saw nothing"
ok "lumora connect codex and lumora connect claude kept to their files under strace"

expected_label="$("$LUMORA" status)" # the status line the tray should show too
before=$(app_server_runs)
start_lumora strace "${strace_options[@]}" -o "$OUT/tray.strace"
wait_until 20 "the tray did not read Codex" ran_since "$before"
wait_until 20 "the tray does not show \"$expected_label\" as lumora status does" label_is "$expected_label"
feed_claude_hook 50
refresh_lumora
wait_until 20 "a refresh did not read Claude Code's new figures" label_has "Claude Code 50%"
ok "the tray started, showed both tools and refreshed both under strace"
quit_lumora

check_trace tray
grep -q "execve(\"$SCRATCH/bin/codex\"" "$OUT/tray.strace" || fail "the trace does not show the tray starting codex"
ok "the tray opened nothing under ~/.claude but settings.json, nothing under ~/.codex, and connected only to the buses and the display"
