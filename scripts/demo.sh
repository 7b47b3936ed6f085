#!/bin/bash
# Builds everything that is needed and shows it at work: nginx serves a stream in four qualities at
# a rate that collapses and recovers, and hastool plays it for half a minute in real time, going
# down and up again. Leaves the trace in build/demo/trace.csv.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
demo=$root/build/demo
seconds=32
fast=500000 # bytes per second
slow=45000

say() { printf '\n== %s\n' "$*"; }
fail() {
    echo "demo.sh: $*" >&2
    exit 1
}

build() {
    say "Packages and build"
    scripts/setup.sh build run
    cmake --preset release >"$demo/cmake.log" || fail "see build/demo/cmake.log"
    cmake --build --preset release --target hastool
}

make_ladder() {
    [ "$demo/ladder/done" -nt scripts/ladder.sh ] && return
    say "Making a stream in four qualities"
    rm -rf "$demo/ladder"
    scripts/ladder.sh "$demo/ladder"
    touch "$demo/ladder/done"
}

# write_config RATE: everything of the server lies in the demo's folder.
write_config() {
    local user=
    # As root the workers would change to a user that may not look into this folder.
    [ "$(id -u)" -ne 0 ] || user="user root root;"
    # Small pieces: a limited rate is then even, without a burst at the begin.
    cat >"$demo/server/nginx.conf" <<CONFIG
$user
daemon off;
worker_processes 1;
pid $demo/server/nginx.pid;
error_log $demo/server/error.log;
events { worker_connections 64; }
http {
    access_log off;
    client_body_temp_path $demo/server/body;
    proxy_temp_path $demo/server/proxy;
    fastcgi_temp_path $demo/server/fastcgi;
    uwsgi_temp_path $demo/server/uwsgi;
    scgi_temp_path $demo/server/scgi;
    types { application/vnd.apple.mpegurl m3u8; video/mp2t ts; }
    sendfile on;
    sendfile_max_chunk 8k;
    limit_rate $1;
    server { listen 127.0.0.1:$port; root $demo/ladder; }
}
CONFIG
}

answers() { (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; }

# A port may be taken in the moment before the server has it: then it is another one's turn.
start_server() {
    mkdir -p "$demo/server"
    local nginx
    nginx=$(PATH=$PATH:/usr/sbin command -v nginx) || fail "nginx is not installed"
    for _ in 1 2 3 4 5 6 7 8; do
        port=$((20000 + RANDOM % 30000))
        answers && continue
        write_config $fast
        "$nginx" -p "$demo/server" -c "$demo/server/nginx.conf" -e "$demo/server/error.log" &
        server=$!
        for _ in $(seq 100); do
            kill -0 $server 2>/dev/null || break
            answers && return
            sleep 0.05
        done
        kill $server 2>/dev/null || true
        wait $server 2>/dev/null || true
    done
    fail "nginx does not start: see build/demo/server/error.log"
}

set_rate() {
    write_config "$1"
    kill -HUP $server
}

change_rate() {
    sleep 6
    set_rate $slow
    sleep 8
    set_rate $fast
}

stop() {
    [ -z "${changer:-}" ] || kill "$changer" 2>/dev/null || true
    [ -z "${server:-}" ] || kill "$server" 2>/dev/null || true
    wait 2>/dev/null || true
}

switches() { awk -F, -v way="$1" '$12 == way { n++ } END { print n + 0 }' "$demo/trace.csv"; }

check() {
    local up down errors
    up=$(switches up)
    down=$(switches down)
    say "The stream went up $up times and down $down times"
    echo "trace: build/demo/trace.csv"
    echo "media: build/demo/demo.ts"
    [ "$up" -gt 0 ] || fail "it never went up"
    [ "$down" -gt 0 ] || fail "it never went down"
    errors=$(ffmpeg -nostdin -v error -i "$demo/demo.ts" -f null - 2>&1)
    [ -z "$errors" ] || fail "the media does not decode: $errors"
}

mkdir -p "$demo"
build
make_ladder
trap stop EXIT
start_server
say "Playing for $seconds seconds: $((fast * 8 / 1000)) kbit/s, then $((slow * 8 / 1000)), then $((fast * 8 / 1000)) again"
change_rate >/dev/null 2>&1 &
changer=$!
build/release/bin/hastool play --duration $seconds --buffer 10 --trace "$demo/trace.csv" \
    -o "$demo/demo.ts" "http://127.0.0.1:$port/master.m3u8"
check
