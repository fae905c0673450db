#!/usr/bin/env bash
# Installs the Debian packages a make target needs, when they are missing.
# As root it runs apt-get; otherwise it prints the command to run and fails.
#
# Usage: install-deps.sh [group...]
#   (always)  build and tests: CMake, g++, libxml2, utfcpp, GoogleTest
#             (the GoogleTest CMake package also expects gmock), xmllint
#             (one test checks a saved document with it), libcsv, nlohmann-json
#             and CLI11 for the CSV importer and the command-line tool
#   bench     Google Benchmark
#   clang     Clang and its sanitizer run-time, for a build with CXX=clang++
#   mingw     the MinGW-w64 cross compiler of the header check
set -euo pipefail

packages=(cmake make g++ libxml2-dev libutfcpp-dev libgtest-dev libgmock-dev libxml2-utils
          libcsv-dev nlohmann-json3-dev libcli11-dev)
for group in "$@"; do
  case "$group" in
    bench) packages+=(libbenchmark-dev) ;;
    clang) packages+=(clang libclang-rt-dev) ;;
    mingw) packages+=(g++-mingw-w64-x86-64) ;;
    *) echo "install-deps.sh: unknown group '$group'" >&2; exit 2 ;;
  esac
done

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "Missing packages: ${missing[*]}" >&2
  echo "Install them with: sudo apt-get update && sudo apt-get install -y ${missing[*]}" >&2
  exit 1
fi

echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}"
