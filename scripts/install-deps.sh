#!/usr/bin/env bash
# Installs the Debian packages the build needs, when they are missing.
# As root it runs apt-get; otherwise it prints the command to run and fails.
set -euo pipefail

packages=(cmake make g++ pkg-config libgtest-dev libgmock-dev libbenchmark-dev
          libxml2-dev libxml2-utils libutfcpp-dev
          clang libclang-rt-14-dev)

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
