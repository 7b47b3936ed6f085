#!/bin/bash
# Times "hastool get -j 6" against "curl -Z --parallel-max 6" on an nginx of its own on loopback, in
# turns, and prints the medians and the median of the pairs' ratios: for 400 files of 20 kB and for
# six of 64 MiB. Both write the files into a folder in memory where /dev/shm is there.
#
#   bench/get-against-curl.sh [HASTOOL [PAIRS]]
#
# HASTOOL is build/release/bin/hastool where none is given, PAIRS is 15.
set -euo pipefail
export LC_ALL=C no_proxy=127.0.0.1 HAS_LOG=off

root=$(cd "$(dirname "$0")/.." && pwd)
tool=${1:-$root/build/release/bin/hastool}
pairs=${2:-15}
base=/dev/shm
[ -d "$base" ] || base=${TMPDIR:-/tmp}
work=$(mktemp -d "$base/get-against-curl.XXXXXX")
nginx_pid=

cleanup() {
    [ -z "$nginx_pid" ] || kill "$nginx_pid" 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

make_files() {
    mkdir -p "$work/www" "$work/out"
    head -c 20000 /dev/urandom >"$work/www/small"
    head -c $((64 << 20)) /dev/urandom >"$work/www/big"
    for i in $(seq 400); do ln "$work/www/small" "$work/www/s$i"; done
    for i in $(seq 6); do ln "$work/www/big" "$work/www/b$i"; done
}

# Starts nginx on the first port that it can have.
start_server() {
    for port in $(seq 18100 18199); do
        cat >"$work/nginx.conf" <<END
daemon off; worker_processes 1; pid $work/pid; error_log $work/error.log;
events { worker_connections 256; }
http { access_log off; sendfile on; tcp_nopush on; keepalive_requests 100000;
  client_body_temp_path $work; proxy_temp_path $work; fastcgi_temp_path $work;
  uwsgi_temp_path $work; scgi_temp_path $work;
  server { listen 127.0.0.1:$port; root $work/www; } }
END
        nginx -c "$work/nginx.conf" -e "$work/error.log" &
        nginx_pid=$!
        for _ in $(seq 50); do
            kill -0 "$nginx_pid" 2>/dev/null || break
            if curl -sf -o /dev/null "http://127.0.0.1:$port/small"; then return; fi
            sleep 0.1
        done
        wait "$nginx_pid" || true
    done
    echo "no port for nginx" >&2
    exit 1
}

# What curl downloads, as a configuration file: URLs with the files they go to.
lists_of() {
    local kind=$1 count=$2
    for i in $(seq "$count"); do
        echo "url = \"http://127.0.0.1:$port/$kind$i\""
        echo "output = \"$work/out/$kind$i\""
    done >"$work/$kind.curl"
    for i in $(seq "$count"); do echo "http://127.0.0.1:$port/$kind$i"; done >"$work/$kind.urls"
}

with_hastool() { "$tool" get -q -j 6 -O "$work/out" -i "$work/$1.urls" >"$work/log" 2>&1; }
with_curl() { curl -s -Z --parallel-max 6 -K "$work/$1.curl" 2>"$work/log"; }

# Microseconds that a command takes.
timed() {
    local start=$EPOCHREALTIME
    "$@"
    local end=$EPOCHREALTIME
    echo $((${end/./} - ${start/./}))
}

median() { sort -n | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)]}'; }

compare() {
    local kind=$1 count=$2 name=$3
    lists_of "$kind" "$count"
    : >"$work/pairs"
    for pair in $(seq 0 "$pairs"); do
        local a b
        rm -f "$work"/out/*
        a=$(timed with_hastool "$kind")
        cmp "$work/out/${kind}1" "$work/www/${kind}1"
        rm -f "$work"/out/*
        b=$(timed with_curl "$kind")
        cmp "$work/out/$kind$count" "$work/www/$kind$count"
        [ "$pair" -eq 0 ] || echo "$a $b" >>"$work/pairs" # the first pair warms up
    done
    printf '%-20s hastool %7.1f ms  curl %7.1f ms  ratio %.2f\n' "$name" \
        "$(awk '{print $1 / 1000}' "$work/pairs" | median)" \
        "$(awk '{print $2 / 1000}' "$work/pairs" | median)" \
        "$(awk '{print $1 / $2}' "$work/pairs" | median)"
}

make_files
start_server
compare s 400 "400 files of 20 kB"
compare b 6 "6 files of 64 MiB"
