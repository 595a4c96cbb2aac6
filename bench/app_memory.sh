#!/bin/sh
# Resident memory of the running app with libraries of 0, 1,000, 10,000 and 100,000 snippets
# (the same libraries bench_memory builds), each on a private Xvfb. The figures are the
# application process's, the child of the small parent that restarts it after a display loss,
# read 5 s after it reports watching the keyboard.
#
# Run: bench/app_memory.sh [BUILD_DIR] [SIZES...]   (needs Xvfb; BUILD_DIR defaults to build)
set -eu

build=${1:-build}
[ $# -gt 0 ] && shift
sizes=${*:-0 1000 10000 100000}

printf 'snippets\tVmRSS MB\tAnonymous MB\n'
for size in $sizes; do
    home=$(mktemp -d)
    mkdir -p "$home/data"
    "$build/bench/bench_memory" --create "$home/data/ScrivLane.sqlite" "$size"

    # A display number nobody uses: the server picks it and writes it to fd 3.
    Xvfb -displayfd 3 -nolisten tcp -noreset 3>"$home/display" >/dev/null 2>&1 &
    xvfb=$!
    until [ -s "$home/display" ]; do sleep 0.1; done
    display=:$(cat "$home/display")
    DISPLAY=$display SCRIVLANE_HOME=$home QT_QPA_PLATFORM=xcb \
        "$build/src/app/scrivlane" 2>"$home/log" &
    parent=$!
    tries=0
    until grep -q "watching the keyboard" "$home/log" 2>/dev/null; do
        tries=$((tries + 1))
        if [ $tries -gt 600 ]; then
            echo "scrivlane did not start:" >&2
            cat "$home/log" >&2
            exit 1
        fi
        sleep 0.1
    done
    sleep 5
    child=$(cat /proc/"$parent"/task/*/children | awk '{print $1}')
    rss=$(awk '/^VmRSS:/ {print $2}' /proc/"$child"/status)
    anon=$(awk '/^Anonymous:/ {print $2}' /proc/"$child"/smaps_rollup)
    printf '%s\t%s\t%s\n' "$size" "$(echo "$rss" | awk '{printf "%.1f", $1 / 1024}')" \
        "$(echo "$anon" | awk '{printf "%.1f", $1 / 1024}')"

    kill "$parent" 2>/dev/null || true
    wait "$parent" 2>/dev/null || true
    kill "$child" 2>/dev/null || true
    kill "$xvfb"
    wait "$xvfb" 2>/dev/null || true
    rm -rf "$home"
done
