#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: the normal build, then the engine's
# tests again under AddressSanitizer with UndefinedBehaviorSanitizer and under
# ThreadSanitizer. Exits non-zero on any failure.
#   scripts/run-tests.sh            everything
#   SANITIZERS=0 scripts/run-tests.sh   the normal build only
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
jobs="$(nproc 2>/dev/null || echo 2)"
bash "$root/scripts/install-deps.sh"

bash "$root/scripts/build.sh" "$root/build"
(cd "$root/build" && ctest --output-on-failure -j"$jobs")

if [ "${SANITIZERS:-1}" = "1" ]; then
  # Sanitizer builds skip the sample (the normal build made it and the tests find it there).
  export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
  export LSAN_OPTIONS="suppressions=$root/tests/lsan.supp:print_suppressions=0"
  export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
  bash "$root/scripts/build.sh" "$root/build-asan" -DXRV_SANITIZE=address,undefined -DXRV_BUILD_SAMPLE=OFF \
    -DXRV_SAMPLE_DIR="$root/build/share/sample"
  (cd "$root/build-asan" && ctest --output-on-failure -j"$jobs" -L sanitize)

  export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:suppressions=$root/tests/tsan.supp"
  bash "$root/scripts/build.sh" "$root/build-tsan" -DXRV_SANITIZE=thread -DXRV_BUILD_SAMPLE=OFF \
    -DXRV_SAMPLE_DIR="$root/build/share/sample"
  (cd "$root/build-tsan" && ctest --output-on-failure -j"$jobs" -L threads)
fi
