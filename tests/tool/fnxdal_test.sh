#!/usr/bin/env bash
# fnxdal end to end, as an operator's scripts drive it: a backup across a
# tape change played on standard input, a restore of every document in a
# second invocation, scan against what the backup printed, fsck of a drifted
# count while writers run, and a one-line failure for each kind of bad input.
set -uo pipefail
fnxdal=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
passed=0 failed=0
check() {  # check NAME COMMAND...: the command must succeed
  if "${@:2}"; then passed=$((passed + 1)); else failed=$((failed + 1)); echo "FAILED: $1"; fi
}
refused() {  # refused NAME ARGS...: fnxdal must fail with exactly one line, writing nothing on stdout
  local out err status
  out=$("$fnxdal" "${@:2}" 2>err.txt </dev/null); status=$?
  err=$(cat err.txt)
  check "$1" test "$status" -ne 0 -a -z "$out" -a "$(printf '%s\n' "$err" | wc -l)" -eq 1
}

for i in 1 2 3 4 5 6; do head -c $((i * 61000 + 7)) /dev/urandom > "doc$i"; done
"$fnxdal" vtape create lib --block-size 1024 --capacity 700K --cartridges 3
"$fnxdal" vtape insert lib C001
printf 'insert C002\nRetry\ninsert C003\nRetry\n' |
  "$fnxdal" backup --drive vtape:lib --state run.state --volume WEEK --new-volume doc1 doc2 doc3 doc4 doc5 doc6 \
  > locations 2> console.txt
check "backup exits 0" test $? -eq 0
check "one location per document" test "$(wc -l < locations)" -eq 6
check "the console saw a tape change" grep -q "C002 is in the drive" console.txt

# A second invocation, every cartridge out: the restore asks for each.
"$fnxdal" vtape eject lib
i=0
while read -r location; do
  i=$((i + 1))
  printf 'insert C001\nRetry\ninsert C002\nRetry\ninsert C003\nRetry\n' |
    "$fnxdal" restore --drive vtape:lib --state run.state "$location" -o "back$i" 2>/dev/null
  "$fnxdal" vtape eject lib
  check "document $i restores byte-exact" cmp -s "doc$i" "back$i"
done < locations

: > scanned
for cartridge in C001 C002 C003; do
  "$fnxdal" vtape insert lib $cartridge
  "$fnxdal" scan --drive vtape:lib >> scanned 2>/dev/null
done
check "scan rebuilds exactly the printed locations" cmp -s locations scanned

# A writer killed between its count and its file leaves the count high.
first=$("$fnxdal" put --root root --max-files 50 doc1)
directory=$(dirname "${first#disk@}")
printf 'NumberOfFilesInDirectory=9;' > "$directory/dirfile.txt"
"$fnxdal" fsck --root root > report.txt
check "fsck reports the drift and fails" test $? -ne 0
check "the drift is named" grep -q "count drift" report.txt
for w in 1 2 3; do (for n in 1 2 3 4 5; do "$fnxdal" put --root root --max-files 50 doc2 >> put$w.txt; done) & done
"$fnxdal" fsck --root root --repair > repair.txt
wait
check "the repair mends it" grep -q "repaired" repair.txt
check "a second look is clean" "$fnxdal" fsck --root root
check "every document still reads" bash -c "cat put*.txt | while read -r l; do \"$fnxdal\" get \"\$l\" | cmp -s - doc2 || exit 1; done"
check "the first one too" bash -c "\"$fnxdal\" get '$first' | cmp -s - doc1"

refused "an unknown option" put --root root --bogus doc1
refused "a missing file" put --root root no-such-file
refused "a tape location to rm" rm "$(head -1 locations)"
refused "a drive that does not exist" drive --drive /dev/nst9
refused "a vtape that does not exist" list --drive vtape:nowhere
printf 'not a state\n' > bad.state
refused "a corrupt state file" backup --drive vtape:lib --state bad.state doc1
check "the corrupt state file is left as it was" test "$(cat bad.state)" = "not a state"
refused "get to a file that cannot be written" get "$first" -o /no/such/dir/out
check "no half-written output" test ! -e /no/such/dir/out.part

echo "$passed passed, $failed failed"
test "$failed" -eq 0
