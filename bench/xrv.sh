#!/usr/bin/env bash
# XRV against JPEG 2000 on one 12000 x 12000 RGB image, in one run:
#  - compression: xrvtool compress (XRV, at a PSNR) against opj_compress (9/7, the same 512 px
#    tiling, RPCL, at the PSNR the XRV file reached) and gdal_translate to JP2 (same ratio);
#  - sizes at the same PSNR;
#  - decoding through our own engine (xrvtool render): a full-resolution window, the whole
#    image at 1/16, ten panned windows; and opj_decompress on the same window of the JP2.
# Prints wall and CPU seconds and peak memory of every step.
#   bench/xrv.sh [BUILD_DIR] [PSNR]     (defaults: build, 40 dB)
# The source image is made once with mksample into bench/data/ (a PPM of 432 MB).
set -euo pipefail
source "$(dirname "$0")/common.sh"
target_psnr="${2:-40}"
src="$data/bench-12000.ppm"
if [ ! -f "$src" ]; then
  echo "Making $src ..."
  "$mksample" "$work/src.jp2" --size 12000x12000 --tile 1024 --levels 6 --layers 1 --rate 1.2 >/dev/null
  gdal_translate -q -of PNM "$work/src.jp2" "$src"
  rm -f "$work/src.jp2" "$src.aux.xml"
fi

# Runs a command; prints "<wall s> <cpu s> <peak MB>".
measure() {
  /usr/bin/time -f "%e %U %S %M" -o "$work/time" "$@" >"$work/out" 2>&1 || { echo "FAILED: $*" >&2; cat "$work/out" >&2; exit 1; }
  awk '{printf "%.2f %.2f %.0f\n", $1, $2 + $3, $4/1024}' "$work/time"
}
c++ -O2 -o "$work/psnr" "$root/bench/xrv_psnr.cpp"
psnr() {  # PSNR in dB of $2 against the source
  "$work/psnr" "$src" "$2"
}
# The engine's own time for the views of the last render (decode and compose, no start-up,
# no PNG writing): the sum of the final-picture times xrvtool prints.
engine_ms() { awk '/final picture/ {for (i = 1; i <= NF; ++i) if ($i == "final") s += $(i+2)} END {printf "%.0f", s}' "$work/out"; }
row() { printf "%-46s %8s %8s %8s %10s\n" "$@"; }

row "step" "wall s" "cpu s" "peak MB" ""
read -r w c m < <(measure "$xrvtool" compress "$src" "$work/x.xrv" --block 512 --quality "$target_psnr")
xrv_psnr=$(awk '/PSNR/ {for (i = 1; i <= NF; ++i) if ($i == "PSNR") print $(i+1)}' "$work/out")
row "compress XRV (xrvtool, PSNR $xrv_psnr)" "$w" "$c" "$m"
read -r w c m < <(measure opj_compress -i "$src" -o "$work/o.jp2" -t 512,512 -I -p RPCL -n 7 -q "$xrv_psnr")
row "compress JP2 (opj_compress -q $xrv_psnr)" "$w" "$c" "$m"
xrv_bytes=$(stat -c %s "$work/x.xrv")
jp2_bytes=$(stat -c %s "$work/o.jp2")
ratio=$(( 432000000 / jp2_bytes ))
read -r w c m < <(measure gdal_translate -q -of JP2OpenJPEG -co QUALITY=$(( 100 / ratio )) -co REVERSIBLE=NO \
  -co BLOCKXSIZE=512 -co BLOCKYSIZE=512 -co RESOLUTIONS=7 -co PROGRESSION=RPCL "$src" "$work/g.jp2")
row "compress JP2 (gdal_translate, ~${ratio}:1)" "$w" "$c" "$m"

opj_decompress -i "$work/o.jp2" -o "$work/o.ppm" >/dev/null
jp2_psnr=$(psnr "$src" "$work/o.ppm")
rm -f "$work/o.ppm"
echo
echo "sizes: XRV $xrv_bytes bytes (PSNR $xrv_psnr dB), JP2 $jp2_bytes bytes (PSNR $jp2_psnr dB);" \
  "XRV / JP2 = $(awk -v a="$xrv_bytes" -v b="$jp2_bytes" 'BEGIN {printf "%.3f", a / b}')"
echo

x0=5000; y0=5000; w=1024; h=768
win="$x0,$y0,$((x0 + w)),$((y0 + h))"
row "decode" "wall s" "cpu s" "peak MB" "engine ms"
for f in x.xrv o.jp2; do
  read -r a b c < <(measure "$xrvtool" render "$work/$f" "$work/a.png" --size ${w}x${h} --window "$win")
  row "$f full-resolution window ${w}x${h}" "$a" "$b" "$c" "$(engine_ms)"
  read -r a b c < <(measure "$xrvtool" render "$work/$f" "$work/b.png" --size 750x750)
  row "$f whole image at 1/16 (750x750)" "$a" "$b" "$c" "$(engine_ms)"
  read -r a b c < <(measure "$xrvtool" render "$work/$f" "$work/c.png" --size ${w}x${h} --window "$win" --pan 10,256,0)
  row "$f ten windows panned by 256" "$a" "$b" "$c" "$(engine_ms)"
done
read -r a b c < <(measure opj_decompress -i "$work/o.jp2" -o "$work/p.ppm" -d "$x0,$y0,$((x0 + w)),$((y0 + h))")
row "o.jp2 window, opj_decompress" "$a" "$b" "$c"
read -r a b c < <(measure opj_decompress -i "$work/o.jp2" -o "$work/p.ppm" -r 4)
row "o.jp2 whole at 1/16, opj_decompress -r 4" "$a" "$b" "$c"
echo
echo "machine load while running: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"
