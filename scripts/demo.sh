#!/usr/bin/env bash
# The dscore tool's main job on the bundled examples: what the data sources
# hold, a few values, statistics, a CSV export and a plot written to a file.
#
# Usage: demo.sh [OUTPUT_DIR]   (default build/demo)
# The tool is $DSCORE when set, else build/Tools/dscore/dscore.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
out=${1:-$root/build/demo}
dscore=${DSCORE:-$root/build/Tools/dscore/dscore}
list=$root/examples/datasource_list.xml
mkdir -p "$out"
out=$(cd "$out" && pwd)

step() {
  printf '\n$ dscore'
  printf ' %q' "$@"
  printf '\n'
  "$dscore" "$@"
}

step info "$list"
# Recorded streams hold each sample; the imported heart rate is interpolated.
step value "$list" Vehicle Speed --at 0 --at 5.25 --at 0:18.5
step value "$list" "Heart rate" BPM --at 1 --at 1.25 --time-format MilliSeconds
step stats "$list" "Heart rate" BPM
step stats "$list" Vehicle Speed --from 5 --to 15
step export "$list" Vehicle --csv "$out/vehicle.csv"
head -n 4 "$out/vehicle.csv"
step plot "$list" "Heart rate" BPM --svg "$out/heart_rate.svg"
echo
echo "Plot written to $out/heart_rate.svg"
