#!/usr/bin/env bash
# Installs everything the project needs to build, test and benchmark on Debian 12.
# Debian packages only; safe to run again (apt-get skips what is already there).
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  qtbase5-dev qtbase5-dev-tools libqt5xml5 qt5-image-formats-plugins
  libopenjp2-7-dev libopenjp2-tools liblcms2-dev
  libopenjph-dev openjph-tools
  libgdal-dev gdal-bin libpng-dev
  libcurl4-openssl-dev
  nginx-light openssl python3
  xvfb xauth x11-utils
  time
  clang libclang-rt-14-dev
)
# Optional peers for the benchmark; absent from some mirrors, so never fatal.
optional=(grokj2k-tools)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
for p in "${optional[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    $SUDO apt-get install -y -qq --no-install-recommends "$p" >/dev/null 2>&1 || echo "note: optional package $p not available"
  fi
done
