#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: every suite in the normal build, then
# the engine, layer, page, panel, plug-in and host suites again under AddressSanitizer with
# UndefinedBehaviorSanitizer, a short run of each fuzzer, and the threaded suites under
# ThreadSanitizer. Exits non-zero on any failure, and when a build holds no tests at all.
#   scripts/run-tests.sh                  everything
#   SANITIZERS=0 scripts/run-tests.sh     the normal build only
#   FUZZ_SECONDS=N scripts/run-tests.sh   seconds per fuzzer (default 30; 0 skips fuzzing)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
jobs="$(nproc 2>/dev/null || echo 2)"
bash "$root/scripts/install-deps.sh"

# Runs ctest in a build folder and prints how many tests it ran. ctest exits 0 when it finds
# no tests at all (a build configured without them), so that is an error here.
run_ctest() {
  local dir="$1" what="$2"
  shift 2
  local log
  log="$(mktemp)"
  local status=0
  (cd "$dir" && ctest --output-on-failure --no-tests=error -j"$jobs" "$@") 2>&1 | tee "$log" || status=$?
  local summary
  summary="$(grep -E 'tests passed, [0-9]+ tests failed out of [0-9]+' "$log" | tail -1 || true)"
  rm -f "$log"
  echo "== $what: ${summary:-no test summary}"
  return "$status"
}

# The normal build always with tests: run-main.sh configures build/ without them, and a cached
# XRV_BUILD_TESTS=OFF would otherwise leave nothing to run.
bash "$root/scripts/build.sh" "$root/build" -DXRV_BUILD_TESTS=ON
run_ctest "$root/build" "normal build"

if [ "${SANITIZERS:-1}" = "1" ]; then
  # Sanitizer builds skip the sample (the normal build made it and the tests find it there).
  export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
  export LSAN_OPTIONS="suppressions=$root/tests/lsan.supp:print_suppressions=0"
  export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
  bash "$root/scripts/build.sh" "$root/build-asan" -DXRV_BUILD_TESTS=ON -DXRV_SANITIZE=address,undefined \
    -DXRV_BUILD_SAMPLE=OFF -DXRV_SAMPLE_DIR="$root/build/share/sample"
  run_ctest "$root/build-asan" "AddressSanitizer + UBSan" -L 'sanitize|host'

  # A short bounded run of every fuzzer (clang, libFuzzer, AddressSanitizer + UBSan); the
  # longer run is scripts/fuzz.sh.
  if [ "${FUZZ_SECONDS:-30}" != "0" ]; then
    FUZZ_SECONDS="${FUZZ_SECONDS:-30}" bash "$root/scripts/fuzz.sh" "$root/build-fuzz"
  fi

  export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:suppressions=$root/tests/tsan.supp"
  bash "$root/scripts/build.sh" "$root/build-tsan" -DXRV_BUILD_TESTS=ON -DXRV_SANITIZE=thread \
    -DXRV_BUILD_SAMPLE=OFF -DXRV_SAMPLE_DIR="$root/build/share/sample"
  run_ctest "$root/build-tsan" "ThreadSanitizer" -L threads
fi
