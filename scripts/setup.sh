#!/usr/bin/env bash
# Installs what building, testing and running Lumora needs on Debian 12, when it is missing.
# Idempotent and quick when everything is present: one dpkg query, no network.
# `setup.sh fuzz` also installs clang with libFuzzer, for make fuzz; `setup.sh desktop` the panels,
# compositors and tools that make test-desktop runs Lumora against; `setup.sh coverage` gcovr.
set -euo pipefail

packages=(
    # build
    build-essential cmake ninja-build pkg-config clang-format ccache
    # Qt 6
    qt6-base-dev qt6-base-dev-tools qt6-declarative-dev qt6-svg-dev qt6-qpa-plugins libgl-dev
    qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-dialogs
    qml6-module-qtquick-layouts qml6-module-qtquick-window qml6-module-qtquick-templates
    qml6-module-qtqml-workerscript
    # translations: lupdate and lrelease, and the CMake package qt_add_translations comes from
    qt6-l10n-tools qt6-tools-dev
    # the usage history: Qt SQL's SQLite driver
    libqt6sql6-sqlite
    # tests and benchmarks (unshare keeps the real Codex CLI and Claude Code off the network in
    # tests; tmux gives Claude Code a terminal whose screen a test can read)
    libgtest-dev libgmock-dev libbenchmark-dev xvfb xauth dbus openssl util-linux tmux
    # the real clients' tests: the stand-in of their services (Python) in a network namespace
    # of its own, whose loopback device ip brings up
    python3 iproute2
    # install, package and autostart-entry checks (CPack's Debian generator finds programs with file)
    desktop-file-utils appstream dpkg-dev file
    # the hook runs under these
    dash coreutils mawk
    # the break screen's typeface
    fonts-urw-base35
    # the accessibility and keyboard tests: the accessibility bus, AT-SPI from Python, typing;
    # the tests of the tray without a panel: finding windows and reading their properties
    at-spi2-core python3-pyatspi xdotool x11-utils
)

if [ "${1:-}" = fuzz ]; then
    packages+=(clang libclang-rt-14-dev)
fi

if [ "${1:-}" = coverage ]; then
    packages+=(gcovr)
fi

if [ "${1:-}" = desktop ]; then
    packages+=(
        # the desktops: GNOME Shell with the AppIndicator extension, KDE Plasma's shell with kded
        # (its StatusNotifierWatcher), the activity manager and KWin, XFCE's panel and window
        # manager, sway with waybar, dunst
        gnome-shell gnome-shell-extension-appindicator plasma-workspace plasma-desktop-data kded5
        kactivitymanagerd kwin-x11 xfce4-panel xfwm4 xfconf sway waybar dunst libnotify-bin
        # driving and watching them: input, screenshots, D-Bus, traces (libwayland-dev builds
        # the test's virtual pointer for sway)
        xdotool x11-apps x11-utils x11-xserver-utils netpbm grim jq strace dbus-bin
        libglib2.0-bin systemd libwayland-dev
        # Qt's Wayland platform, for Lumora under sway
        qt6-wayland
    )
fi

# npm installs the real Codex CLI and Claude Code below; Debian's Node.js is enough when none is
# on the machine.
if ! command -v npm >/dev/null 2>&1; then
    packages+=(nodejs npm)
fi

installed=" $(dpkg-query -W -f='${Package}=${db:Status-Status} ' "${packages[@]}" 2>/dev/null || true) "
missing=()
for name in "${packages[@]}"; do
    [[ "$installed" == *" $name=installed "* ]] || missing+=("$name")
done

if [ "${#missing[@]}" -gt 0 ]; then
    echo "setup: installing ${missing[*]}"
    if [ "$(id -u)" -eq 0 ]; then
        apt_get=(apt-get)
    else
        apt_get=(sudo apt-get)
    fi
    export DEBIAN_FRONTEND=noninteractive
    "${apt_get[@]}" update -qq
    "${apt_get[@]}" install -y -qq --no-install-recommends "${missing[@]}"
fi

# The real Codex CLI and Claude Code, for the tests that check Lumora against them: npm packages,
# each installed into an ignored folder of this checkout (.deps/codex, .deps/claude; never
# globally). Skipped when the pinned version is there with its native binary; a half-finished
# earlier install (the wrapper without its native binary) is installed again. The checks only read
# files: running a tool, even for --version, would write into the user's home. npm prefers its own
# cache, so a second checkout on the same machine needs no network; a failed download is tried
# twice more. Without the registry the build still works; those tests then say they skipped.
# install_pinned NAME PACKAGE VERSION PREFIX CHECK
install_pinned() {
    local name=$1 package=$2 version=$3 prefix=$4 check=$5
    "$check" && return 0
    echo "setup: installing $name $version into $prefix"
    rm -rf "$prefix"
    mkdir -p "$prefix"
    for attempt in 1 2 3; do
        # Claude Code's postinstall script puts its native binary in place, so scripts must run.
        if npm install --prefix "$prefix" --no-audit --no-fund --no-save --loglevel=error \
            --ignore-scripts=false --prefer-offline --fetch-retries=2 --fetch-timeout=120000 \
            "$package@$version" && "$check"; then
            return 0
        fi
        if [ "$attempt" -lt 3 ]; then
            echo "setup: the $name install failed (attempt $attempt of 3); trying again" >&2
            sleep $((attempt * 10))
        fi
    done
    echo "setup: WARNING: could not install $package $version from the npm registry; the" \
        "tests against the real $name cannot run." >&2
}
deps="$(cd "$(dirname "$0")/.." && pwd)/.deps"

codex_version=0.169.0
codex_works() {
    local modules="$deps/codex/node_modules"
    [ -x "$modules/.bin/codex" ] &&
        grep -q "\"version\": \"$codex_version\"" "$modules/@openai/codex/package.json" 2>/dev/null &&
        compgen -G "$modules/@openai/codex-linux-*/vendor/*/bin/codex" >/dev/null
}
install_pinned "Codex CLI" @openai/codex "$codex_version" "$deps/codex" codex_works

# Claude Code: the package's bin/claude.exe is a small stub until its postinstall script copies
# the platform package's native binary over it. Keep this version in step with
# ClaudeUsageProvider::checkedClaudeCodeVersion.
claude_version=2.1.330
claude_works() {
    local modules="$deps/claude/node_modules"
    [ -x "$modules/.bin/claude" ] &&
        grep -q "\"version\": \"$claude_version\"" \
            "$modules/@anthropic-ai/claude-code/package.json" 2>/dev/null &&
        compgen -G "$modules/@anthropic-ai/claude-code-linux-*/claude" >/dev/null &&
        [ -n "$(find -L "$modules/.bin/claude" -size +1M 2>/dev/null)" ]
}
install_pinned "Claude Code" @anthropic-ai/claude-code "$claude_version" "$deps/claude" claude_works

# LUMORA_REAL_CLIENTS=latest: the newest published Codex CLI and Claude Code as well, in
# .deps/latest, for the real-client tests to run against (make test-latest-clients), so that a
# change in either client's way of reporting figures shows up as a failing test. Needs the npm
# registry every time, to learn which version is the newest.
if [ "${LUMORA_REAL_CLIENTS:-}" = latest ]; then
    for pair in codex:@openai/codex claude:@anthropic-ai/claude-code; do
        latest_folder=$deps/latest/${pair%%:*} latest_package=${pair#*:}
        newest=$(npm view "$latest_package" version 2>/dev/null) || {
            echo "setup: cannot ask the npm registry for the newest $latest_package" >&2
            exit 1
        }
        newest_works() {
            grep -q "\"version\": \"$newest\"" \
                "$latest_folder/node_modules/$latest_package/package.json" 2>/dev/null
        }
        install_pinned "$latest_package (newest)" "$latest_package" "$newest" "$latest_folder" \
            newest_works
    done
fi
