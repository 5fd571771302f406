# shellcheck shell=bash disable=SC2034
# SPDX-License-Identifier: MIT
# Sourced by the other scripts. need_packages NAME... installs the Debian packages that are missing: as root,
# or through sudo where that asks for no password. Where neither can be done it says what to run, and fails.

missing_packages() {
    local name
    for name in "$@"; do
        dpkg-query -W -f '${Status}' "$name" 2>/dev/null | grep -q 'install ok installed' || echo "$name"
    done
}

apt_get() {
    if [ "$(id -u)" -eq 0 ]; then
        DEBIAN_FRONTEND=noninteractive apt-get -qq "$@" </dev/null
    else
        sudo -n env DEBIAN_FRONTEND=noninteractive apt-get -qq "$@" </dev/null
    fi
}

need_packages() {
    command -v dpkg-query >/dev/null || return 0 # not a Debian; the build will name what it lacks
    local missing
    missing=$(missing_packages "$@" | tr '\n' ' ')
    [ -n "$missing" ] || return 0
    if [ "$(id -u)" -ne 0 ] && ! sudo -n true 2>/dev/null; then
        echo "These packages are missing; please run:" >&2
        echo "    sudo apt-get install $missing" >&2
        return 1
    fi
    echo "installing $missing"
    apt_get update || echo "the lists of packages could not be renewed; trying with those that are there" >&2
    # shellcheck disable=SC2086  # the names are words of their own
    apt_get install -y --no-install-recommends $missing >/dev/null
}

build_packages="g++ cmake ninja-build libcli11-dev nlohmann-json3-dev libcsv-dev"
test_packages="$build_packages libgtest-dev libgmock-dev pkg-config"
fuzz_packages="clang cmake ninja-build"
check_packages="$test_packages clang clang-format clang-tidy g++-multilib libbenchmark-dev libsqlite3-dev"
