#!/usr/bin/env bash
# Compiles every header under include/ on its own, once per compiler, so that
# each public header includes what it uses and the Windows branch of the
# platform stand-ins keeps compiling while the library grows.
#
# Usage: check-headers.sh [compiler...]
#   default compilers: the host's ${CXX:-g++} and x86_64-w64-mingw32-g++
#   JOBS sets how many compile at once (default: the number of cores).
set -euo pipefail
cd "$(dirname "$0")/.."

compilers=("$@")
[ ${#compilers[@]} -eq 0 ] && compilers=("${CXX:-g++}" x86_64-w64-mingw32-g++)

mapfile -t headers < <(find include -name '*.h' | LC_ALL=C sort)
[ ${#headers[@]} -gt 0 ] || { echo "check-headers.sh: no headers under include/" >&2; exit 1; }

# check_one <compiler> <header>: the header included twice, so that a header
# without an include guard fails too.
check_one() {
  local name=${2#include/} out
  if ! out=$(printf '#include "%s"\n#include "%s"\n' "$name" "$name" |
             "$1" -std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Werror -Iinclude -x c++ - 2>&1); then
    printf 'FAILED with %s: %s\n%s\n' "$1" "$2" "$(head -20 <<< "$out")"
    return 1
  fi
}
export -f check_one

failed=0
for cxx in "${compilers[@]}"; do
  command -v "$cxx" > /dev/null || { echo "check-headers.sh: $cxx not found" >&2; exit 1; }
  if printf '%s\0' "${headers[@]}" |
     xargs -0 -n 1 -P "${JOBS:-$(nproc)}" bash -c 'check_one "$0" "$1"' "$cxx"; then
    echo "$cxx: ${#headers[@]} headers compile on their own"
  else
    failed=1
  fi
done
exit $failed
