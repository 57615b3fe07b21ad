#!/usr/bin/env bash
# Configures and builds the project into a build folder.
#   scripts/build.sh [BUILD_DIR] [extra cmake arguments...]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$root/build}"
shift || true
jobs="$(nproc 2>/dev/null || echo 2)"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
cmake --build "$build" -j"$jobs"
