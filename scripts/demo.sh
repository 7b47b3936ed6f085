#!/bin/bash
# Installs what is missing, builds, and shows all of it at work: the tool plays its six built-in
# presentations at once, in real time, each from a server of its own over a line that rises,
# collapses, recovers and once is cut. Leaves the report in build/demo/report.html.
set -euo pipefail
cd "$(dirname "$0")/.."

demo=build/demo

say() { printf '\n== %s\n' "$*"; }

mkdir -p "$demo"
say "Packages and build"
scripts/setup.sh build run
cmake --preset release >"$demo/cmake.log" || {
    echo "demo.sh: see $demo/cmake.log" >&2
    exit 1
}
cmake --build --preset release --target hastool presentations
say "Playing for 42 seconds"
build/release/bin/hastool demo --report "$demo/report.html"
