#!/usr/bin/env bash
# Installs what building, testing and running Lumora needs on Debian 12, when it is missing.
# Idempotent and quick when everything is present: one dpkg query, no network.
# `setup.sh fuzz` also installs clang with libFuzzer, for make fuzz; `setup.sh desktop` the panels,
# compositors and tools that make test-desktop runs Lumora against.
set -euo pipefail

packages=(
    # build
    build-essential cmake ninja-build pkg-config clang-format ccache
    # Qt 6
    qt6-base-dev qt6-base-dev-tools qt6-declarative-dev qt6-svg-dev qt6-qpa-plugins libgl-dev
    qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-dialogs
    qml6-module-qtquick-layouts qml6-module-qtquick-window qml6-module-qtquick-templates
    qml6-module-qtqml-workerscript
    # tests and benchmarks (unshare keeps the real Codex CLI off the network in tests)
    libgtest-dev libgmock-dev libbenchmark-dev xvfb xauth dbus openssl util-linux
    # the hook runs under these
    dash coreutils mawk
    # the break screen's typeface
    fonts-urw-base35
)

if [ "${1:-}" = fuzz ]; then
    packages+=(clang libclang-rt-14-dev)
fi

if [ "${1:-}" = desktop ]; then
    packages+=(
        # the desktops: GNOME Shell with the AppIndicator extension, XFCE's panel and window
        # manager, sway with waybar, dunst
        gnome-shell gnome-shell-extension-appindicator xfce4-panel xfwm4 xfconf sway waybar
        dunst libnotify-bin
        # driving and watching them: input, screenshots, D-Bus, traces (libwayland-dev builds
        # the test's virtual pointer for sway)
        xdotool x11-apps x11-utils x11-xserver-utils netpbm grim jq strace dbus-bin
        libglib2.0-bin systemd libwayland-dev
        # Qt's Wayland platform, for Lumora under sway
        qt6-wayland
    )
fi

# npm installs the real Codex CLI below; Debian's Node.js is enough when none is on the machine.
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

# The real Codex CLI, for the tests that check Lumora against it: the npm package, installed
# into the ignored folder .deps/codex of this checkout (never globally). Skipped when the pinned
# version is there with its platform package; a half-finished earlier install (the wrapper
# without its native binary) is installed again. The check only reads files: running codex, even
# for --version, would write into the user's ~/.codex. npm prefers its own cache, so a second
# checkout on the same machine needs no network; a failed download is tried twice more.
# Without the registry the build still works; those tests then say they skipped.
codex_version=0.169.0
codex_prefix="$(cd "$(dirname "$0")/.." && pwd)/.deps/codex"
codex_works() {
    local modules="$codex_prefix/node_modules"
    [ -x "$modules/.bin/codex" ] &&
        grep -q "\"version\": \"$codex_version\"" "$modules/@openai/codex/package.json" 2>/dev/null &&
        compgen -G "$modules/@openai/codex-linux-*/vendor/*/bin/codex" >/dev/null
}
if ! codex_works; then
    echo "setup: installing the Codex CLI $codex_version into $codex_prefix"
    rm -rf "$codex_prefix"
    mkdir -p "$codex_prefix"
    for attempt in 1 2 3; do
        if npm install --prefix "$codex_prefix" --no-audit --no-fund --no-save --loglevel=error \
            --prefer-offline --fetch-retries=2 --fetch-timeout=120000 \
            "@openai/codex@$codex_version" && codex_works; then
            break
        fi
        if [ "$attempt" -lt 3 ]; then
            echo "setup: the Codex CLI install failed (attempt $attempt of 3); trying again" >&2
            sleep $((attempt * 10))
        fi
    done
    if ! codex_works; then
        echo "setup: WARNING: could not install @openai/codex $codex_version from the npm" \
            "registry; the tests against the real Codex CLI cannot run." >&2
    fi
fi
