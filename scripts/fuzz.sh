#!/bin/bash
# Runs the harnesses of the fuzz preset, three at a time, each on a copy of its corpus. BUILD=asan
# runs those of the asan preset: slower, for builds that are there anyway.
#
#   scripts/fuzz.sh [SECONDS] [HARNESS...]   30 seconds and all of them where none are given
#
# What fails is kept in failures, in the build's folder.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-30}
shift || true
build=build/${BUILD:-fuzz}
programs=$build/bin
export build failures=$PWD/$build/failures programs seconds HAS_LOG=off
export ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

if [ $# -eq 0 ]; then
    for program in "$programs"/fuzz_*; do
        [ -x "$program" ] || continue
        set -- "$@" "$(basename "$program")"
    done
fi
[ $# -gt 0 ] || {
    echo "fuzz.sh: no harness in $programs; build that preset first" >&2
    exit 1
}

fuzz_one() {
    local name=$1
    folder=$(mktemp -d) # not local: the trap comes after the function
    trap 'rm -rf "$folder"' EXIT
    mkdir -p "$folder/corpus" "$failures"
    [ ! -d "fuzz/corpus/$name" ] || cp -r "fuzz/corpus/$name/." "$folder/corpus"
    if timeout $((seconds + 120)) "$programs/$name" -max_total_time="$seconds" \
        -artifact_prefix="$failures/$name-" "$folder/corpus" >"$folder/log" 2>&1; then
        printf '%s: %s\n' "$name" "$(grep '^Done ' "$folder/log")"
    else
        tail -60 "$folder/log" >&2
        echo "fuzz.sh: $name failed; its input is in $build/failures" >&2
        return 255 # xargs starts no other then
    fi
}
export -f fuzz_one

printf '%s\n' "$@" | xargs -P 3 -I '{}' bash -c 'set -euo pipefail; fuzz_one {}'
