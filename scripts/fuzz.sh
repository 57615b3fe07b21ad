#!/usr/bin/env bash
# Builds the libFuzzer targets of tests/fuzz with clang (AddressSanitizer + UBSan) and runs
# each for a bounded time, seeded with the conformance files, files made by mksample and the
# regression files of tests/data. Prints the executions per target; exits non-zero when a
# fuzzer found a crash, a leak, a hang or an allocation beyond its memory limit (the input is
# kept in BUILD_DIR/findings).
#   scripts/fuzz.sh [BUILD_DIR]           30 s per target
#   FUZZ_SECONDS=600 scripts/fuzz.sh      the longer run
#   FUZZ_TARGETS="fuzz_render" scripts/fuzz.sh    some targets only
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$root/build-fuzz}"
seconds="${FUZZ_SECONDS:-30}"
jobs="$(nproc 2>/dev/null || echo 2)"
launcher=()
if command -v ccache >/dev/null 2>&1; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
CC=clang CXX=clang++ cmake -S "$root/tests/fuzz" -B "$build" "${launcher[@]}" >/dev/null
cmake --build "$build" -j"$jobs"

# Seeds: the conformance set (beside the checkout), small images made by mksample (from the
# normal build when it is there) and every regression file.
seeds="$build/seeds"
mkdir -p "$seeds/all" "$seeds/small"
conformance="$root/../shared/testdata/jpeg2000-conformance"
if [ -d "$conformance" ]; then
  find "$conformance" -maxdepth 1 -type f \( -name '*.j2k' -o -name '*.j2c' -o -name '*.jp2' \) \
    -exec cp -n {} "$seeds/all/" \;
  find "$conformance" -maxdepth 1 -type f -size -48k \( -name '*.j2k' -o -name '*.j2c' -o -name '*.jp2' \) \
    -exec cp -n {} "$seeds/small/" \;
fi
# Each also as XRV (the grey one two blocks wide), the only seeds the XRV reader gets far with.
mksample="${MKSAMPLE:-$root/build/bin/mksample}"
if [ -x "$mksample" ] && [ ! -f "$seeds/small/mk-rgb.xrv" ]; then
  "$mksample" "$seeds/small/mk-rgb.jp2" --size 96x80 --tile 32 --levels 3 --layers 2 --bands 3 \
    --xrv "$seeds/small/mk-rgb.xrv" >/dev/null
  "$mksample" "$seeds/small/mk-grey16.jp2" --size 520x24 --tile 64 --levels 2 --bands 1 --bits 16 \
    --progression LRCP --xrv "$seeds/small/mk-grey16.xrv" >/dev/null
  "$mksample" "$seeds/small/mk-rgba.jp2" --size 70x50 --tile 16 --levels 2 --bands 4 --no-georef \
    --xrv "$seeds/small/mk-rgba.xrv" >/dev/null
  cp "$seeds/small/"mk-*.jp2 "$seeds/small/"mk-*.xrv "$seeds/all/"
fi
if [ -d "$root/tests/data" ]; then
  find "$root/tests/data" -maxdepth 1 -type f -exec cp -n {} "$seeds/all/" \;
  find "$root/tests/data" -maxdepth 1 -type f -size -48k -exec cp -n {} "$seeds/small/" \;
fi
mkdir -p "$seeds/worldfile"
printf '10\n0\n0\n-10\n500000\n5300000\n\0EPSG:32633' >"$seeds/worldfile/utm"
printf '0.5\n0.1\n0.1\n-0.5\n-180\n90\n\0GEOGCS["WGS 84",DATUM["WGS_1984",SPHEROID["WGS 84",6378137,298.257223563]],PRIMEM["Greenwich",0],UNIT["degree",0.0174532925199433]]' \
  >"$seeds/worldfile/wgs84"

findings="$build/findings"
mkdir -p "$findings"
export ASAN_OPTIONS="detect_leaks=1:allocator_may_return_null=0"
export LSAN_OPTIONS="suppressions=$root/tests/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
failed=0
summary=""
for fuzzer in "$build"/fuzz_*; do
  [ -x "$fuzzer" ] || continue
  name="$(basename "$fuzzer")"
  if [ -n "${FUZZ_TARGETS:-}" ] && [[ " $FUZZ_TARGETS " != *" $name "* ]]; then continue; fi
  case "$name" in
    fuzz_worldfile) seed="$seeds/worldfile"; limits=(-max_len=4096) ;;
    fuzz_render) seed="$seeds/small"; limits=(-max_len=65536) ;;
    *) seed="$seeds/all"; limits=(-max_len=262144) ;;
  esac
  corpus="$build/corpus/$name"
  mkdir -p "$corpus"
  log="$build/$name.log"
  status=0
  # A hang (10 s for one input) or more than 1.5 GB of memory (AddressSanitizer's own share
  # included) counts as a finding, like a crash.
  "$fuzzer" "$corpus" "$seed" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=1536 \
    -malloc_limit_mb=1024 "${limits[@]}" -artifact_prefix="$findings/$name-" -print_final_stats=1 \
    >"$log" 2>&1 || status=$?
  runs="$(grep -E '^stat::number_of_executed_units' "$log" | awk '{print $2}' | tail -1)"
  line="$name: ${runs:-?} executions in ${seconds} s"
  if [ "$status" -ne 0 ]; then
    failed=1
    line="$line, FINDING (see $log and $findings)"
    grep -E 'ERROR: (AddressSanitizer|libFuzzer|LeakSanitizer)|runtime error' "$log" | head -3 || true
  fi
  echo "$line"
  summary="$summary$line"$'\n'
done
echo "== fuzzing:"
printf '%s' "$summary"
exit "$failed"
