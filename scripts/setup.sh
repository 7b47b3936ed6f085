#!/bin/bash
# Installs the Debian packages that the project needs, those that are missing, as root or with sudo.
#
#   scripts/setup.sh              everything
#   scripts/setup.sh build run    only these groups: build, run, test
set -euo pipefail

packages() {
    case "$1" in
    build)
        echo g++                  # the compiler
        echo cmake                # the build description
        echo ninja-build          # runs the build
        echo pkg-config           # finds libidn2 and libpsl
        echo libcurl4-openssl-dev # HTTP transfers and URLs
        echo libssl-dev           # AES
        echo libxml2-dev          # manifests
        echo libidn2-dev          # host names in other scripts
        echo libpsl-dev           # strict cookies: which domains are public suffixes
        echo libcli11-dev         # hastool: the command line
        echo nlohmann-json3-dev   # hastool: --json and JSON traces
        echo libboost-dev         # hastool and the tests: the requests to their servers
        echo libgtest-dev         # the tests
        echo libgmock-dev         # the tests
        echo zlib1g-dev           # the tests: compressed answers
        ;;
    run)
        echo ffmpeg            # makes the presentations, and judges what was played
        echo fonts-dejavu-core # writes the bitrates into their pictures
        echo openssl           # encrypts some of them; certificates, and the judge of decryption
        ;;
    test)
        echo clang              # the debug, tsan and fuzz builds
        echo libclang-rt-14-dev # its sanitizers and libFuzzer
        echo clang-format       # the source layout
        echo clang-tidy         # the source checks
        echo tinyproxy          # requests through a proxy
        echo chromium           # the pages that hastool makes
        echo doxygen            # the API pages
        echo nginx-light        # a real server
        command -v npm >/dev/null || printf 'nodejs\nnpm\n' # the players that judge the origin
        ;;
    *)
        echo "setup.sh: no such group: $1 (there are build, run and test)" >&2
        exit 2
        ;;
    esac
}

is_installed() {
    [ "$(dpkg-query --show --showformat='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# Servers are installed for their programs; their services are not to start.
install_without_services() {
    local policy=/usr/sbin/policy-rc.d
    if [ ! -e "$policy" ]; then
        printf '#!/bin/sh\nexit 101\n' | "${as_root[@]}" tee "$policy" >/dev/null
        "${as_root[@]}" chmod 755 "$policy"
        # shellcheck disable=SC2064
        trap "${as_root[*]} rm -f $policy" EXIT
    fi
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install --yes --no-install-recommends "$@"
}

[ $# -gt 0 ] || set -- build run test
wanted=()
for group in "$@"; do
    # A wrong name ends the script here.
    list=$(packages "$group")
    mapfile -t -O "${#wanted[@]}" wanted <<<"$list"
done
missing=()
for package in "${wanted[@]}"; do
    is_installed "$package" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=(env)
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
        echo "setup.sh: neither root nor sudo; please install: ${missing[*]}" >&2
        exit 1
    }
    as_root=(sudo)
fi
echo "Installing ${missing[*]}"
"${as_root[@]}" apt-get update
install_without_services "${missing[@]}"
