#!/usr/bin/env bash
# Installs the Debian packages that building, testing and benchmarking need,
# only those that are missing. Sourced by the other scripts.
set -euo pipefail

plinth_packages=(cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev
  libbenchmark-dev libicu-dev libpcre2-dev libunwind-dev libdw-dev
  libsqlite3-dev libpq-dev postgresql gdb)

plinth_install_missing() {
  local missing=()
  local p
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "plinth: installing ${missing[*]}" >&2
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq || true
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
}
