#!/usr/bin/env bash
# Runs Lumora against the real panels of a Debian desktop, headless: each case in
# tests/desktop/case-*.sh starts its own buses, display server and panel, and ends them.
#
#   tests/desktop/run.sh [-o OUTPUT-FOLDER] [LUMORA-BINARY] [CASE...]
#
# Each case runs in a PID namespace of its own when the system allows one (root, or user
# namespaces), so that nothing a panel starts can outlive it, and under a time limit.
# Output: one line per case, the screenshots' paths, and "N passed, N failed, N skipped".
set -uo pipefail

here="$(cd "$(dirname "$0")" && pwd)"
out="$here/../../build/desktop-test"
if [ "${1:-}" = -o ]; then
    out=$2
    shift 2
fi
lumora="${1:-$here/../../build/bin/lumora}"
shift || true
cases=("$@")
if [ "${#cases[@]}" -eq 0 ]; then
    cases=(gnome xfce screens sway dunst privacy)
fi
[ -x "$lumora" ] || {
    echo "no lumora at $lumora: build first (make build)" >&2
    exit 2
}
lumora="$(cd "$(dirname "$lumora")" && pwd)/$(basename "$lumora")"
mkdir -p "$out"
out="$(cd "$out" && pwd)"

# Each case runs in a PID namespace of its own, as an ordinary user of a user namespace (uid
# 1000 inside; outside, the caller): sway refuses to run as root, GNOME Shell warns about it,
# and a desktop session is a user's.
if [ "$(id -u)" -eq 0 ]; then
    isolate=(unshare --user --map-user=1000 --map-group=1000 --pid --fork --kill-child --mount-proc)
else
    isolate=(unshare --user --map-current-user --pid --fork --kill-child --mount-proc)
fi
"${isolate[@]}" true 2>/dev/null || {
    echo "note: no user and PID namespaces here; each case ends its processes itself"
    isolate=()
}

passed=0 failed=0 skipped=0
for name in "${cases[@]}"; do
    script="$here/case-$name.sh"
    [ -f "$script" ] || {
        echo "no such case: $name" >&2
        exit 2
    }
    rm -rf "${out:?}/$name"
    mkdir -p "$out/$name"
    echo "== $name"
    start=$SECONDS
    scratch="$(mktemp -d /tmp/lumora-desktop-"$name".XXXXXX)"
    CASE=$name OUT="$out/$name" LUMORA="$lumora" SCRATCH="$scratch" \
        timeout --kill-after=10 "${CASE_TIMEOUT:-150}" "${isolate[@]}" bash "$script" \
        2>&1 | tee "$out/$name/case.log"
    status=${PIPESTATUS[0]}
    rm -rf "$scratch"
    took=$((SECONDS - start))
    case $status in
    0)
        echo "PASS $name (${took} s)"
        passed=$((passed + 1))
        ;;
    77)
        skipped=$((skipped + 1))
        ;;
    124 | 137)
        echo "FAIL $name: took longer than ${CASE_TIMEOUT:-150} s (log: $out/$name/case.log)"
        failed=$((failed + 1))
        ;;
    *)
        grep -q "^FAIL $name" "$out/$name/case.log" ||
            echo "FAIL $name: exited with $status (log: $out/$name/case.log)"
        failed=$((failed + 1))
        ;;
    esac
done

echo
echo "Screenshots:"
find "$out" -name '*.png' | sort | sed 's/^/  /'
echo
echo "desktop: $passed passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ]
