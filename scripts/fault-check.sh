#!/usr/bin/env bash
# scripts/fault-check.sh CHECKOUT LOG: puts each deliberate fault of scripts/faults.py into the
# checkout in turn, builds, runs the suites named for it, records whether they caught it, and
# reverts it (git checkout of core, app and tools: run it on a clean tree). FAULTS="1 5" picks some.
root=$1; log=$2; : > "$log"
declare -A tests=(
 [1]='UsageSnapshot|StatusTitle|CommandLineTest|MenuBarTitle'
 [2]='InstallerTest|InstallTest'
 [3]='UsageNotificationRules|NotificationBusTest|ModelNotifications'
 [4]='ClaudeRateLimitCacheParser|ClaudeProviderTest'
 [5]='PreferencesTest|PopoverViewModelTest'
 [6]='CodexRateLimitParser|CodexProviderTest'
 [7]='UpdateFeedOverHttps|AppUpdateService|UpdateCheckTest|AppUpdateChecker'
 [8]='ParsedVersion'
 [9]='HistoryStore'
 [10]='UsagePaceRules'
 [11]='StatusTitle|CommandLineTest|UsageSnapshotTexts|MenuBarTitle'
)
for n in ${FAULTS:-1 2 3 4 5 6 7 8 9 10 11}; do
  python3 "$root/scripts/faults.py" "$root" "$n" >>"$log" || continue
  if ! cmake --build "$root/build" -j2 --target lumora lumora_core_tests lumora_app_tests lumora_view_tests lumora_cli_tests >/tmp/fault-build.log 2>&1; then echo "fault $n: BUILD FAILED" >>"$log"; fi
  out=$(ctest --test-dir "$root/build" -j2 -R "${tests[$n]}" 2>&1)
  failed=$(echo "$out" | grep -E '\(Failed\)|\*\*\*Failed|Exception' | sed 's/.*Test *#[0-9]*: //; s/ \.\.\..*//' | tr '\n' ' ')
  summary=$(echo "$out" | grep 'tests passed')
  if [ -n "$failed" ]; then echo "fault $n: CAUGHT by $failed ($summary)" >>"$log"; else echo "fault $n: NOT CAUGHT ($summary)" >>"$log"; fi
  (cd "$root" && git checkout -q -- core app tools)
done
cmake --build "$root/build" -j2 >/tmp/fault-build.log 2>&1
echo finished >>"$log"
