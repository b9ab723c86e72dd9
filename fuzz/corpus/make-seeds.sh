#!/usr/bin/env bash
# Writes the seed corpora of the fuzz targets, one directory per target. The
# seeds are made here from the formats' own rules; rerun after a format change
# and commit what it writes.
set -euo pipefail
cd "$(dirname "$0")"

pad() { printf "%-${2}s" "$1"; }  # blank-filled to a width

# Tape location strings: DAS name (60), configuration name (120), then the
# label fields: volume name 16, volume date 10, volume time 8, file number 6,
# file date 10, file time 8, record size 6, partition 10, start block 10 and
# 10, end block 10 and 10, file length 16.
label="$(pad VOL0001 16)2026.11.2314.05.33000003"
label+="2026.11.2314.06.01065536"
label+="0000000000""0000000120""0000000000""0000000127""0000000000""0000000000412345"
dir=tape_location_fuzz
mkdir -p $dir
printf '%s' "$(pad DAS_MAIN 60)$(pad tape_config 120)$label" >$dir/complete
printf '%s' "$(pad DAS_MAIN 60)$(pad tape_config 120)${label:0:47}" >$dir/label-ends-in-a-field
printf '%s' "$(pad DAS_MAIN 60)$(pad tape_config 120)" >$dir/no-label
printf '%s' "$(pad DAS_MAIN 60)$(pad tape_config 119)" >$dir/one-short
printf 'DAS\0MAIN%s%s%s' "$(pad '' 52)" "$(pad tape_config 120)" "$label" >$dir/nul-in-name

# Count files: byte 0 is the limit (high 7 bits) and the operation (low bit:
# 0 counts a file in, 1 counts one out), byte 1 the other entries (low 3
# bits; top bit: no count file), then the text of the count file.
dir=dirfile_fuzz
mkdir -p $dir
seed() { printf "\\x$(printf %02x "$1")\\x$(printf %02x "$2")%s" "$3" >"$dir/$4"; }
seed $((20 << 1)) 3 'NumberOfFilesInDirectory=4;' count-in
seed $((20 << 1 | 1)) 3 'NumberOfFilesInDirectory=4;' count-out
seed $((10 << 1)) 7 'NumberOfFilesInDirectory=10;' full
seed $((5 << 1)) 7 'NumberOfFilesInDirectory=5;' full-below-least-limit
seed $((20 << 1 | 1)) 1 'NumberOfFilesInDirectory=2;' last-out
seed $((30 << 1)) 2 'NumberOfFilesInDirectory=9;9;' shorter-rewrite-tail
seed $((30 << 1)) 2 'NumberOfFilesInDirectory=12' no-semicolon
seed $((30 << 1)) 2 'header;NumberOfFilesInDirectory= +7 ;' key-later
seed $((30 << 1)) 2 'nothing here' no-key
seed $((30 << 1)) $((0x80 | 4)) '' no-count-file

# Document locations: one file, a file with its range, several files, tape.
dir=location_fuzz
mkdir -p $dir
printf 'disk@/root/07_15_2021_1/fnx_das_120000_1' >$dir/disk
printf 'disk@/root/07_15_2021_1/fnx_das_120000_1,10,20' >$dir/disk-range
printf 'disk@/a/b,0,5#disk@/a/c,5,7' >$dir/two-files
printf 'tape@%s%s%s' "$(pad DAS_MAIN 60)" "$(pad tape_config 120)" "$label" >$dir/tape

# Cartridge images: the reader's target writes a short backup run on the
# virtual drive itself (needs the fuzz build, see scripts/fuzz.sh).
if [ -x ../../build/fuzz/fuzz/tape_reader_fuzz ]; then
  rm -rf tape_reader_fuzz
  FNX_TAPE_SEEDS="$PWD/tape_reader_fuzz" ../../build/fuzz/fuzz/tape_reader_fuzz >/dev/null 2>&1
fi
