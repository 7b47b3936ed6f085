#!/bin/bash
# All that has to pass before a change lands: installs what is missing, builds with both compilers
# and runs the tests plain and under sanitizers, and each fuzz harness for half a minute. The first
# failure ends it.
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=$(nproc)

say() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }

build() {
    say "Building $1"
    cmake --preset "$1"
    cmake --build --preset "$1" --parallel "$jobs"
}

run_tests() {
    say "Testing $1"
    ctest --preset "$1" --parallel "$jobs" --no-tests=error
}

scripts/setup.sh
build release
build fuzz
say "Fuzzing"
scripts/fuzz.sh 30
build tsan # clang, with its thread-safety analysis
run_tests tsan
build asan
run_tests asan
run_tests release
