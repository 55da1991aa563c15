#!/usr/bin/env bash
# tests/desktop/run.sh [-o OUTPUT-FOLDER] [LUMORA-BINARY] [CASE...]: each case (case-*.sh) with its own buses, display server
# and panel, under a time limit, in PID and user namespaces of its own (uid 1000: sway refuses root), so that nothing outlives it.
set -uo pipefail
here="$(cd "$(dirname "$0")" && pwd)" && out="$here/../../build/desktop-test" && [ "${1:-}" != -o ] || { out=$2 && shift 2; }
lumora="${1:-$here/../../build/bin/lumora}"; shift; cases=(${*:-gnome plasma xfce screens sway})
[ -x "$lumora" ] || { echo "no lumora at $lumora: build first (make build)" >&2 && exit 2; }
lumora="$(realpath "$lumora")" && mkdir -p "$out" && out="$(realpath "$out")"
map=(--map-current-user) && [ "$(id -u)" -ne 0 ] || map=(--map-user=1000 --map-group=1000)
isolate=(unshare --user "${map[@]}" --pid --fork --kill-child --mount-proc)
"${isolate[@]}" true 2>/dev/null || { echo "note: no user and PID namespaces here; each case ends its processes itself" && isolate=(); }
passed=0 failed=0 skipped=0 limit=${CASE_TIMEOUT:-150}
for name in "${cases[@]}"; do
    [ -f "$here/case-$name.sh" ] || { echo "no such case: $name" >&2 && exit 2; }
    rm -rf "${out:?}/$name" && mkdir -p "$out/$name" && echo "== $name"
    start=$SECONDS scratch="$(mktemp -d /tmp/lumora-desktop-"$name".XXXXXX)" log="$out/$name/case.log"
    CASE=$name OUT="$out/$name" LUMORA="$lumora" SCRATCH="$scratch" timeout --kill-after=10 "$limit" "${isolate[@]}" bash "$here/case-$name.sh" 2>&1 | tee "$log"
    status=${PIPESTATUS[0]} && rm -rf "$scratch"
    case $status in
    0) echo "PASS $name ($((SECONDS - start)) s)" && passed=$((passed + 1)) ;;
    77) skipped=$((skipped + 1)) ;;
    124 | 137) echo "FAIL $name: took longer than $limit s (log: $log)" && failed=$((failed + 1)) ;;
    *) grep -q "^FAIL $name" "$log" || echo "FAIL $name: exited with $status (log: $log)"; failed=$((failed + 1)) ;;
    esac
done
echo -e "\nScreenshots:" && find "$out" -name '*.png' | sort | sed 's/^/  /' && echo -e "\ndesktop: $passed passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ]
