#!/bin/sh
# The example program writes its pictures and exits 0; when it cannot create its output folder
# or write one of its files it says so and exits non-zero.
set -u
demo="$1"
work="$(mktemp -d)"; trap 'rm -rf "$work"' EXIT
fail() { echo "$1"; cat "$work/err" 2>/dev/null; exit 1; }

"$demo" "$work/out" > "$work/log" 2> "$work/err" || fail "zel_demo failed on a writable folder"
test -s "$work/out/pattern.png" || fail "zel_demo wrote no pattern.png"

for bad in /nonexistent/a/b "$work/out/pattern.png/sub"; do
    "$demo" "$bad" > "$work/log" 2> "$work/err" && fail "zel_demo exited 0 for the folder $bad"
    grep -q "cannot create the output directory $bad" "$work/err" || fail "no message for $bad"
done

# A folder that exists but where one picture cannot be written (a directory takes its name).
mkdir -p "$work/partial/swapped.png"
"$demo" "$work/partial" > "$work/log" 2> "$work/err" && fail "zel_demo exited 0 with a file it could not write"
grep -q "could not write $work/partial/swapped.png" "$work/err" || fail "no message for swapped.png"
grep -q "could not be written" "$work/log" || fail "the table does not show the missing file"
exit 0
