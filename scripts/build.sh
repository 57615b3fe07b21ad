#!/usr/bin/env bash
# Configures and builds the project into a build folder.
#   scripts/build.sh [BUILD_DIR] [extra cmake arguments...]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$root/build}"
shift || true
jobs="$(nproc 2>/dev/null || echo 2)"
launcher=()
# Rebuilds after small changes are much faster through ccache where the machine has it.
if command -v ccache >/dev/null 2>&1; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" "$@" >/dev/null
cmake --build "$build" -j"$jobs"
