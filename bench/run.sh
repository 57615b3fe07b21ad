#!/usr/bin/env bash
# Benchmarks xrvtool against opj_decompress, grk_decompress and gdal_translate on the same
# windows of one 12000 x 12000 RGB JPEG 2000 image (1024 x 1024 tiles, 6 levels, 10:1), in one
# run, and prints times, peak memory and ratios.
#   bench/run.sh [BUILD_DIR]        (default: build)
# The image is made once with the project's own mksample into bench/data/.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$root/build}"
xrvtool="$build/bin/xrvtool"
mksample="$build/bin/mksample"
data="$root/bench/data"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
mkdir -p "$data"
image="$data/bench-12000.jp2"
if [ ! -f "$image" ]; then
  echo "Making $image ..."
  "$mksample" "$image" --size 12000x12000 --tile 1024 --levels 6 --layers 1 --rate 10 >/dev/null
fi

# Runs a command, prints "<seconds> <peak MB>" of the whole process.
measure() {
  /usr/bin/time -f "%e %M" -o "$work/time" "$@" >"$work/out" 2>&1 || { echo "FAILED: $*" >&2; cat "$work/out" >&2; echo "nan nan"; return; }
  awk '{printf "%.3f %.0f\n", $1, $2/1024}' "$work/time"
}
have() { command -v "$1" >/dev/null 2>&1; }

# (a) window at full resolution; (c) ten windows panning by 256 px from the same start.
x0=5000; y0=5000; w=1024; h=768
declare -A T M
run_case() {  # name tool command...
  local key="$1"; shift
  read -r T[$key] M[$key] < <(measure "$@")
}

# --- ours ---
run_case a_xrv "$xrvtool" render "$image" "$work/a.png" --size ${w}x${h} --window $x0,$y0,$((x0+w)),$((y0+h))
run_case b_xrv "$xrvtool" render "$image" "$work/b.png" --size 1024x1024 --resample bilinear
run_case c_xrv "$xrvtool" render "$image" "$work/c.png" --size ${w}x${h} --window $x0,$y0,$((x0+w)),$((y0+h)) --pan 10,256,0
first_a=$("$xrvtool" render "$image" "$work/d.png" --size ${w}x${h} --window $x0,$y0,$((x0+w)),$((y0+h)) --progressive | awk '/first picture/ {print $5}')
first_b=$("$xrvtool" render "$image" "$work/d.png" --size 1024x1024 --progressive | awk '/first picture/ {print $5}')
run_case d_a_xrv "$xrvtool" render "$image" "$work/d.png" --size ${w}x${h} --window $x0,$y0,$((x0+w)),$((y0+h)) --progressive
run_case d_b_xrv "$xrvtool" render "$image" "$work/d.png" --size 1024x1024 --progressive

# --- peers ---
peer_windows() {  # name then a command template with XX as the window's x0
  local key="$1"; shift
  local total=0 peak=0
  for i in $(seq 0 9); do
    local x=$((x0 + 256 * i))
    local cmd=("${@//XX/$x}")
    cmd=("${cmd[@]//XE/$((x + w))}")
    read -r t m < <(measure "${cmd[@]}")
    total=$(awk -v a="$total" -v b="$t" 'BEGIN{print a+b}')
    peak=$(awk -v a="$peak" -v b="$m" 'BEGIN{print (b>a)?b:a}')
  done
  T[$key]=$total; M[$key]=$peak
}
if have opj_decompress; then
  run_case a_opj opj_decompress -i "$image" -o "$work/a_opj.png" -d $x0,$y0,$((x0+w)),$((y0+h))
  run_case b_opj opj_decompress -i "$image" -o "$work/b_opj.png" -r 3
  peer_windows c_opj opj_decompress -i "$image" -o "$work/c_opj.png" -d XX,$y0,XE,$((y0+h))
fi
if have grk_decompress; then
  run_case a_grk grk_decompress -i "$image" -o "$work/a_grk.png" -d $x0,$y0,$((x0+w)),$((y0+h))
  run_case b_grk grk_decompress -i "$image" -o "$work/b_grk.png" -r 3
  peer_windows c_grk grk_decompress -i "$image" -o "$work/c_grk.png" -d XX,$y0,XE,$((y0+h))
fi
if have gdal_translate; then
  run_case a_gdal gdal_translate -q -of PNG -srcwin $x0 $y0 $w $h "$image" "$work/a_gdal.png"
  run_case b_gdal gdal_translate -q -of PNG -outsize 1024 1024 "$image" "$work/b_gdal.png"
  peer_windows c_gdal gdal_translate -q -of PNG -srcwin XX $y0 $w $h "$image" "$work/c_gdal.png"
fi

ratio() { awk -v a="$1" -v b="$2" 'BEGIN{ if (a == "" || b == "" || a+0 == 0) print "-"; else printf "%.2f", b/a }'; }
echo
echo "Image: $(basename "$image"), $(du -m "$image" | cut -f1) MB; machine: $(nproc) cores"
echo "Times are whole-process wall seconds (open, decode, PNG write); peak = max RSS."
echo
printf "%-44s %9s %8s %10s %10s %10s\n" "case" "xrvtool" "peak MB" "opj/xrv" "grk/xrv" "gdal/xrv"
row() {  # label key [divisor]
  local d="${3:-1}"
  local ours; ours=$(awk -v a="${T[$2_xrv]}" -v d="$d" 'BEGIN{printf "%.3f", a/d}')
  local o g l
  o=$(awk -v a="${T[$2_opj]:-}" -v d="$d" 'BEGIN{ if (a=="") print ""; else printf "%.3f", a/d}')
  g=$(awk -v a="${T[$2_grk]:-}" -v d="$d" 'BEGIN{ if (a=="") print ""; else printf "%.3f", a/d}')
  l=$(awk -v a="${T[$2_gdal]:-}" -v d="$d" 'BEGIN{ if (a=="") print ""; else printf "%.3f", a/d}')
  printf "%-44s %9s %8s %10s %10s %10s\n" "$1" "$ours" "${M[$2_xrv]}" "$(ratio "$ours" "$o")" "$(ratio "$ours" "$g")" "$(ratio "$ours" "$l")"
}
row "(a) 1024x768 window, full resolution" a
row "(b) whole image at 1024x1024" b
row "(c) per window, 10 windows panning 256 px" c 10
echo
echo "(d) first progressive picture: (a) ${first_a} ms, (b) ${first_b} ms (inside the process, from SetView)"
echo "    whole process with progressive passes: (a) ${T[d_a_xrv]} s, peak ${M[d_a_xrv]} MB; (b) ${T[d_b_xrv]} s, peak ${M[d_b_xrv]} MB"
echo
echo "Peak memory of the peers (MB): (a) opj ${M[a_opj]:-} grk ${M[a_grk]:-} gdal ${M[a_gdal]:-};" \
     "(b) opj ${M[b_opj]:-} grk ${M[b_grk]:-} gdal ${M[b_gdal]:-}"
echo "Ratios above 1 mean xrvtool is faster."
