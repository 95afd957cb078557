#!/usr/bin/env bash
# SANE's own scanimage scans with the built back end, and its pictures are nvqscan's byte for byte.
# Usage: scanimage_test.sh NVQSCAN BACK-END-FOLDER [ASAN-RUNTIME]
#   ASAN-RUNTIME  what the back end needs when it was built with the address sanitizer
set -euo pipefail

nvqscan=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work XDG_CONFIG_HOME=$work XDG_DATA_HOME=$work XDG_STATE_HOME=$work TMPDIR=$work
export XDG_RUNTIME_DIR=$work NVQ_SIM_DIR=$work/sim SANE_CONFIG_DIR=$work/sane.d LD_LIBRARY_PATH=$2
unset NVQ_REGISTRY
mkdir "$work/sane.d"
echo nvq >"$work/sane.d/dll.conf"
echo 'simulated on' >"$work/sane.d/nvq.conf"
scanner=$work/sim/SIM300A
cd "$work"

# What a sanitizer finds goes to files: some of these programs are meant to fail.
export ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}log_path=$work/finding UBSAN_OPTIONS=log_path=$work/finding
preload=${3:-}
with_backend() { env LD_PRELOAD="$preload" "$@"; }
scanimage() { with_backend scanimage "$@"; }

fail() {
    echo "$*: failed"
    cat "$work"/finding* 2>/dev/null || true
    exit 1
}
# The one line that says who wrote a file.
unsigned() { LC_ALL=C sed '2{/^# SANE/d}' "$1"; }
compare() { cmp <(unsigned "$1") "$2" || fail "$3"; }

scanimage -L >devices
grep -q "nvq:0000' is a Norvane Simulated scanner" devices || fail scanimage -L
scanimage -A >options
for option in source mode depth resolution x-resolution preview pages brightness threshold saturation \
    sharpness copy; do
    grep -qE -- "^    --$option[ =[]" options || fail "scanimage -A: $option"
done
scanimage -T >tests 2>&1 || fail scanimage -T
grep -q PASS tests && ! grep -q FAIL tests || fail scanimage -T

while IFS='|' read -r ours theirs; do
    scanimage $ours --format=pnm >ours 2>/dev/null || fail "scanimage $ours"
    "$nvqscan" scan -q $theirs -o theirs.pnm
    compare ours theirs.pnm "scanimage $ours"
done <<'END'
|
--mode Gray --resolution 300|--mode gray --resolution 300
--mode Lineart --threshold 70 --sharpness 5|--mode lineart --threshold 70 --sharpen 4
--mode Halftone --brightness 30 --sharpness 0|--mode dither --brightness 300 --sharpen 5
--resolution 300 -l 20.7 -t 30.3 -x 101.3 -y 53.1|--resolution 300 --area 20.7,30.3,101.3,53.1mm
--brightness 15 --contrast -20.5 --saturation 120|--brightness 150 --contrast -205 --set Saturation=1200
--tone Levels --highlight 20 --midtone -10 --shadow 5|--set 71686=1 --set 71689=20 --set 71691=-10 --set 71690=5
--tone Automatic --auto-color=yes|--auto tone,color
--source Slide --resolution 600|--source slide --resolution 600
--mode Gray --source Negative --tone Automatic|--mode gray --source negative --auto tone
END

for source in 'ADF|feeder' 'ADF Duplex|duplex'; do
    touch "$scanner/panel/load-3"
    scanimage --source "${source%|*}" --mode Gray --batch=ours-%d --format=pnm 2>/dev/null ||
        fail "scanimage --batch from ${source%|*}"
    touch "$scanner/panel/load-3"
    "$nvqscan" scan -q --source "${source#*|}" --mode gray -o theirs-%d.pnm
    for page in theirs-*.pnm; do
        number=${page//[^0-9]/}
        compare "ours-$number" "$page" "page $number of scanimage --batch"
        rm "ours-$number" "$page"
    done
    ! ls ours-* 2>/dev/null || fail "scanimage --batch from ${source%|*}: more pages"
done

# A cancel ends it soon, whenever it comes, and the next scan is whole. The whole page takes 35 seconds.
printf '[behaviour]\nlinesPerSecond=50\n' >"$scanner/device.ini"
for moment in 0.05 0.3 1 2; do
    begun=$SECONDS
    with_backend timeout -s INT $moment scanimage --format=pnm >cancelled 2>/dev/null && fail "cancel after $moment"
    [ $((SECONDS - begun)) -lt 15 ] || fail "cancel after $moment: in time"
done
: >"$scanner/device.ini"
scanimage --format=pnm >ours 2>/dev/null
"$nvqscan" scan -q -o theirs.pnm
compare ours theirs.pnm 'the scan behind cancelled ones'
grep -q '^violations=0' "$scanner/state" || fail "wrong calls: $(grep -i violation "$scanner/state")"
! cat "$work"/finding* 2>/dev/null || fail sanitizers
