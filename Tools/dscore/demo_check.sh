#!/usr/bin/env bash
# Runs the demo script with a built tool and checks that the plot whose path
# it prints is an SVG document that libxml2 parses.
# Usage: demo_check.sh DSCORE DEMO_SCRIPT OUTPUT_DIR
set -euo pipefail
output=$(DSCORE="$1" "$2" "$3")
printf '%s\n' "$output"
svg=$(printf '%s\n' "$output" | sed -n 's/^Plot written to //p')
[ -s "$svg" ] || { echo "demo_check: no plot at '$svg'" >&2; exit 1; }
xmllint --noout "$svg"
grep -q '<svg xmlns="http://www.w3.org/2000/svg"' "$svg"
