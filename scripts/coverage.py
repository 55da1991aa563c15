#!/usr/bin/env python3
"""Line and branch coverage of app/, core/ and tools/ per folder, from a build made with
--coverage after its tests ran (make coverage does both).

    scripts/coverage.py BUILD-FOLDER [--json OUT]

gcovr reads the counters; branches the compiler adds for exceptions and branches it proved
unreachable are left out, so that the branch figure counts decisions written in the code.
Generated files (moc, QML type registrations, resources) are not ours and are left out too.
"""
import json
import os
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
# Folders in the order of the table; a file counts in every row whose folder holds it.
ROWS = ["app/cli", "app/cubefield", "app/model", "app/platform", "app/tray", "app/views",
        "app", "core", "tools"]


def summary(build):
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        run = subprocess.run(
            ["gcovr", "--root", ROOT, "--object-directory", build,
             "--filter", r"(app|core|tools)/", "--exclude", r".*/build[^/]*/.*",
             "--exclude-throw-branches", "--exclude-unreachable-branches",
             "-j", str(os.cpu_count() or 1),
             "--json-summary", out.name],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        if run.returncode != 0:
            sys.exit(run.stderr)
        with open(out.name) as written:
            return json.load(written)["files"]


def table(files):
    rows = {name: [0, 0, 0, 0] for name in ROWS + ["all"]}
    for f in files:
        path = f["filename"]
        for name in ROWS:
            if path.startswith(name + "/"):
                row = rows[name]
                row[0] += f["line_covered"]
                row[1] += f["line_total"]
                row[2] += f["branch_covered"]
                row[3] += f["branch_total"]
        row = rows["all"]
        row[0] += f["line_covered"]
        row[1] += f["line_total"]
        row[2] += f["branch_covered"]
        row[3] += f["branch_total"]
    return rows


def percent(covered, total):
    return 100.0 * covered / total if total else 0.0


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    rows = table(summary(sys.argv[1]))
    print(f"{'folder':<16}{'lines':>18}{'line %':>9}{'branches':>18}{'branch %':>10}")
    for name, (lc, lt, bc, bt) in rows.items():
        print(f"{name + '/' if name != 'all' else 'all':<16}{f'{lc}/{lt}':>18}"
              f"{percent(lc, lt):>8.1f}%{f'{bc}/{bt}':>18}{percent(bc, bt):>9.1f}%")
    if "--json" in sys.argv:
        with open(sys.argv[sys.argv.index("--json") + 1], "w") as out:
            json.dump(rows, out, indent=1)


if __name__ == "__main__":
    main()
