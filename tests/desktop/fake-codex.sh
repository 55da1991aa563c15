#!/bin/sh
# A fake Codex CLI, signed in: its app-server answers the handshake and a rate-limit read with the used percentage in
# the file $0.used and the reset time in $0.resets; every run's arguments are added to $0.runs.
echo "$*" >>"$0.runs"
case "$1" in
login) echo 'Logged in using ChatGPT' ;; --version) echo 'codex-cli 0.169.0' ;;
app-server) read -r _; echo '{"id":1,"result":{}}'; read -r _; read -r _
    echo '{"id":2,"result":{"rateLimits":{"primary":{"usedPercent":'"$(cat "$0.used")"',"windowDurationMins":300,"resetsAt":'"$(cat "$0.resets")"'}}}}' && exec cat >/dev/null ;;
*) exit 2 ;; esac
