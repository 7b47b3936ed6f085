#!/bin/bash
# All that has to pass before a change lands: installs what is missing, builds with both compilers
# and runs the tests plain and under sanitizers, and each fuzz harness for a while. The first failure
# ends it.
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=$(nproc)

say() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }

build() {
    say "Building $1"
    cmake --preset "$1"
    cmake --build --preset "$1" --parallel "$jobs"
}

# One more than there are processors: many tests wait for servers and clocks.
run_tests() {
    say "Testing $1"
    ctest --preset "$1" --parallel "$((jobs + 1))" --no-tests=error
}

scripts/setup.sh
build release
build asan # with the fuzz harnesses, so that the library is built for them only once
say "Fuzzing"
BUILD=asan scripts/fuzz.sh 8
run_tests asan
build tsan # clang, with its thread-safety analysis
run_tests tsan
run_tests release
