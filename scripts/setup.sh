#!/usr/bin/env bash
# Installs what building, testing and the demo need on Debian 12 (run as root,
# or with sudo available). Does nothing when everything is already there.
set -euo pipefail

packages=(build-essential cmake ninja-build pkg-config qtbase5-dev libgtest-dev
          libbenchmark-dev clang libclang-rt-14-dev locales)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

as_root() { if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi; }

if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  as_root apt-get update -qq
  DEBIAN_FRONTEND=noninteractive as_root apt-get install -y -qq "${missing[@]}" >/dev/null
fi

# A locale with a decimal comma, so the tests can prove that numbers do not
# follow the process locale.
if ! locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$'; then
  as_root localedef -i de_DE -f UTF-8 de_DE.UTF-8 || echo "setup: could not make the de_DE.UTF-8 locale; its tests will be skipped"
fi
