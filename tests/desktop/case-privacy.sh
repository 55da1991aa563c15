# Privacy, shown rather than promised: strace follows `lumora connect` for both tools, then the tray through its start,
# a refresh of both providers and its end. Lumora's own processes open nothing under ~/.claude but settings.json (and
# the temporary file it is replaced through), nothing under ~/.codex (only the codex processes it starts do), and
# connect to no address but the session and system buses and the X display; decoys in the homes: chats, credentials.
source "$(dirname "$0")/lib.sh"
need strace && { strace -f -o /dev/null true 2>/dev/null || skip "strace cannot trace here (ptrace is not permitted)"; }
mkdir -p "$HOME/.claude/projects/secret-project" "$HOME/.codex/sessions/2026/11/23"
while read -r file content; do echo "$content" >"$HOME/$file"; done <<'EOF2'
.claude/settings.json {"model":"opus","env":{"ANTHROPIC_API_KEY":"decoy"}}
.claude/.credentials.json {"claudeAiOauth":{"accessToken":"decoy"}}
.claude/projects/secret-project/chat.jsonl {"type":"user","message":"a private chat"}
.claude/history.jsonl {"display":"a private prompt"}
.codex/auth.json {"tokens":{"access_token":"decoy"}}
.codex/config.toml model = "gpt-5"
.codex/sessions/2026/11/23/rollout.jsonl {"type":"message","content":"a private chat"}
EOF2
start_bus system && start_bus session && start_xvfb 1280x800 && start_xfce_panel
strace_options=(-f -qq -y -s 512 -e trace=open,openat,openat2,creat,connect,execve,rename,renameat,renameat2)
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
WRAP=trace connect_fake_tools 30 42 && check_trace connect-codex && check_trace connect-claude
ok "lumora connect codex and lumora connect claude kept to their files under strace"
before=$(app_server_runs) && start_lumora strace "${strace_options[@]}" -o "$OUT/tray.strace"
wait_until 20 "the tray did not read Codex" ran_since "$before" && show_status
feed_claude_hook 50 && refresh_to "Claude Code 50%" && ok "the tray started, showed both tools and refreshed both under strace"
quit_lumora && check_trace tray
ok "the tray opened nothing under ~/.claude but settings.json, nothing under ~/.codex, and connected only to the buses and the display"
