#!/usr/bin/env bash
# Runs every fuzz target of a build folder (default build-fuzz): first over
# its past findings, fuzz/regressions/<target>/ (each file must pass), then
# for FUZZ_SECONDS seconds (default 60) from the committed seeds,
# fuzz/corpus/<target>/. New inputs go to <build>/fuzz-corpus/<target>/,
# failing ones to <build>/fuzz-artifacts/<target>/. Fails if any target does.
# Each run's full output goes to <build>/fuzz-logs/<target>*.log; only its
# closing lines are printed (more of them when it fails).
set -uo pipefail
cd "$(dirname "$0")/.."
# Absolute paths: a target may change its working folder (dscore_cli does).
root=$PWD
build=$(cd "${1:-build-fuzz}" && pwd)
seconds=${FUZZ_SECONDS:-60}
status=0
logs="$build/fuzz-logs"
mkdir -p "$logs"
# run LOG COMMAND...: runs the command with its output in LOG; prints the tail.
run() {
  local log=$1
  shift
  if "$@" >"$log" 2>&1; then
    tail -n 4 "$log"
    return 0
  fi
  tail -n 80 "$log"
  return 1
}
for target in binary_deserializer snapshot_records time_text data_source_list csv_importer dscore_cli; do
  bin="$build/fuzz/fuzz_$target"
  opts=(-rss_limit_mb=2048 -timeout=10)
  [ "$target" = data_source_list ] && opts+=(-dict="$root/fuzz/xml.dict")
  [ "$target" = dscore_cli ] && opts+=(-dict="$root/fuzz/dscore_cli.dict")
  if compgen -G "$root/fuzz/regressions/$target/*" >/dev/null; then
    echo "== $target: past findings"
    run "$logs/$target-regressions.log" "$bin" "${opts[@]}" "$root"/fuzz/regressions/"$target"/* || { echo "== $target: a past finding fails"; status=1; }
  fi
  work="$build/fuzz-corpus/$target"
  artifacts="$build/fuzz-artifacts/$target"
  mkdir -p "$work" "$artifacts"
  echo "== $target: ${seconds} s"
  run "$logs/$target.log" "$bin" "${opts[@]}" -max_total_time="$seconds" -artifact_prefix="$artifacts/" \
    -print_final_stats=1 "$work" "$root/fuzz/corpus/$target" || { echo "== $target: failed, input in $artifacts"; status=1; }
done
exit $status
