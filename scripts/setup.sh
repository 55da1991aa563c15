#!/usr/bin/env bash
# Installs what building, testing and running Lumora needs on Debian 12, when it is missing.
# Idempotent and quick when everything is present: one dpkg query, no network.
set -euo pipefail

packages=(
    # build
    build-essential cmake ninja-build pkg-config clang-format
    # Qt 6
    qt6-base-dev qt6-base-dev-tools qt6-declarative-dev qt6-svg-dev qt6-qpa-plugins libgl-dev
    qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-dialogs
    qml6-module-qtquick-layouts qml6-module-qtquick-window qml6-module-qtquick-templates
    qml6-module-qtqml-workerscript
    # tests and benchmarks
    libgtest-dev libgmock-dev libbenchmark-dev xvfb xauth dbus openssl
    # the hook runs under these
    dash coreutils mawk
    # the break screen's typeface
    fonts-urw-base35
)

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
