#!/usr/bin/env bash
# Extracts the windows' texts with Qt's lupdate into a throwaway template and checks that the
# extraction worked: lupdate succeeds, warns about nothing (a tr() outside a Q_OBJECT class, a
# context it cannot resolve), and finds at least MINIMUM messages, so texts that lost their
# tr() or that lupdate cannot parse show up here rather than in a translator's empty file.
#
# Usage: check_translations.sh LUPDATE MINIMUM SOURCE_DIR WORK_DIR
# Exit codes: 0 passed, 1 failed, 77 skipped because lupdate is missing (a failure when
# SCRIVLANE_REQUIRE_ALL_TESTS is set, as on CI).
set -uo pipefail

lupdate=$1
minimum=$2
sources=$3
work=$4

if [[ -z $lupdate || $lupdate == *NOTFOUND || ! -x $lupdate ]]; then
    reason="lupdate is not installed (Debian package qt6-l10n-tools)"
    if [[ ${SCRIVLANE_REQUIRE_ALL_TESTS:-0} =~ ^[1-9][0-9]*$ ]]; then
        echo "FAIL: $reason (SCRIVLANE_REQUIRE_ALL_TESTS is set: the test machine lacks it)" >&2
        exit 1
    fi
    echo "SKIP: $reason"
    exit 77
fi

mkdir -p "$work"
scratch=$(mktemp -d "$work/lupdate.XXXXXX") || exit 1
trap 'rm -rf "$scratch"' EXIT
template=$scratch/scrivlane.ts
log=$scratch/lupdate.log

# -I: the sources include each other from src/, and lupdate must see the class definitions to
# know a tr() call's context.
"$lupdate" -I "$sources" -no-obsolete -locations none "$sources/ui" "$sources/models" \
    -ts "$template" >"$log" 2>&1
status=$?
cat "$log"
if [[ $status -ne 0 ]]; then
    echo "FAIL: lupdate exited with $status" >&2
    exit 1
fi

# lupdate's warnings name the place: "file.cpp:42: Class 'X' lacks Q_OBJECT macro".
if warnings=$(grep -E '^.+:[0-9]+: ' "$log"); then
    echo "FAIL: lupdate warned:" >&2
    echo "$warnings" >&2
    exit 1
fi

messages=$(grep -c '<message' "$template")
contexts=$(grep -c '<context>' "$template")
echo "$messages messages in $contexts contexts"
if ((messages < minimum)); then
    echo "FAIL: expected at least $minimum messages" >&2
    exit 1
fi
