#!/bin/sh
# A fake Codex CLI, signed in: its app-server answers with $0.used % used, resetting at $0.resets; runs are added to $0.runs.
echo "$*" >>"$0.runs"
case "$1" in
login) echo 'Logged in using ChatGPT' ;; --version) echo 'codex-cli 0.169.0' ;;
app-server) read -r _; echo '{"id":1,"result":{}}'; read -r _; read -r _
    echo '{"id":2,"result":{"rateLimits":{"primary":{"usedPercent":'"$(cat "$0.used")"',"windowDurationMins":300,"resetsAt":'"$(cat "$0.resets")"'}}}}' && exec cat >/dev/null ;;
*) exit 2 ;; esac
