#!/usr/bin/env bash
# Compares xrvtool with opj_decompress, grk_decompress and gdal_translate on the same windows of
# three 12000 x 12000 RGB images, every tool writing uncompressed PPM, and prints the figures,
# the ratios and the targets met or missed.
#   bench/run.sh [BUILD_DIR]        (default: build)
# The images are made once, by this script, into bench/data/:
#   mksample  our own sample maker: 1024 x 1024 tiles, 6 levels, RPCL, one tile-part per
#             resolution, 1 layer, 10:1 cap
#   gdal      gdal_translate -of JP2OpenJPEG with the driver's defaults (1024 x 1024 tiles, its
#             default precincts and levels, one tile-part per tile) and PROGRESSION=RPCL,
#             QUALITY=10 (10:1), from the mksample image
#   htj2k     ojph_compress (HTJ2K, 1024 x 1024 tiles, 5 decompositions, RPCL) from the same
#             pixels
# Whole-process figures are the best of three runs (wall seconds, CPU seconds of that run, peak
# resident memory); in-process figures are the ones xrvtool prints (open, first picture, final
# picture, best of the three runs).
set -euo pipefail
source "$(dirname "$0")/common.sh"
have() { command -v "$1" >/dev/null 2>&1; }

# ---- images ------------------------------------------------------------------------------
make_images() {
  if [ ! -f "$data/mksample-12000.jp2" ]; then
    echo "making mksample-12000.jp2 ..."
    "$mksample" "$data/mksample-12000.jp2" --size 12000x12000 --tile 1024 --levels 6 --layers 1 --rate 10 \
      --threads "$(nproc)" >/dev/null
  fi
  if [ ! -f "$data/gdal-12000.jp2" ] && have gdal_translate; then
    echo "making gdal-12000.jp2 ..."
    gdal_translate -q -of JP2OpenJPEG -co QUALITY=10 -co PROGRESSION=RPCL \
      "$data/mksample-12000.jp2" "$data/gdal-12000.jp2"
    rm -f "$data/gdal-12000.jp2.aux.xml"
  fi
  if [ ! -f "$data/htj2k-12000.j2c" ] && have ojph_compress && have gdal_translate; then
    echo "making htj2k-12000.j2c ..."
    gdal_translate -q -of PNM "$data/mksample-12000.jp2" "$work/source.ppm"
    # The quantisation step sets the rate (OpenJPH has no rate control): 0.005 gives about 12:1 here.
    ojph_compress -i "$work/source.ppm" -o "$data/htj2k-12000.j2c" -num_decomps 5 -tile_size '{1024,1024}' \
      -qstep 0.005 -prog_order RPCL >/dev/null
    rm -f "$work/source.ppm"
  fi
}
make_images

# ---- measuring -----------------------------------------------------------------------------
# best3 KEY command...: runs the command three times; keeps the best wall time, the CPU time and
# peak memory of that run and its standard output (in $work/KEY.out).
declare -A WALL CPU PEAK
best3() {
  local key="$1"; shift
  local best="" i
  for i in 1 2 3; do
    if ! /usr/bin/time -f "%e %U %S %M" -o "$work/time" "$@" >"$work/run.out" 2>"$work/run.err"; then
      echo "FAILED: $*" >&2; cat "$work/run.err" >&2; WALL[$key]=""; return
    fi
    read -r wall user sys kb <"$work/time"
    if [ -z "$best" ] || awk -v a="$wall" -v b="$best" 'BEGIN{exit !(a < b)}'; then
      best=$wall
      WALL[$key]=$wall
      CPU[$key]=$(awk -v u="$user" -v s="$sys" 'BEGIN{printf "%.2f", u + s}')
      PEAK[$key]=$((kb / 1024))
      cp "$work/run.out" "$work/$key.out"
    fi
  done
}
# once KEY command...: one run (the pan case of the peers: ten processes already).
once() {
  local key="$1"; shift
  if /usr/bin/time -f "%e %U %S %M" -o "$work/time" "$@" >"$work/$key.out" 2>"$work/run.err"; then
    cat "$work/time"
  else
    echo "FAILED: $*" >&2; cat "$work/run.err" >&2; echo "nan"
  fi
}
# In-process figures xrvtool printed: "open/first/final" in ms.
inproc() {
  awk '/^open:/ {o=$2} /^view 1:/ {f=$5; l=$9} /^mean per view:/ {f=$5; l=$8}
       END {printf "%s/%s/%s", o, f, l}' "$work/$1.out"
}
ratio() { awk -v a="$1" -v b="$2" 'BEGIN{ if (a == "" || b == "" || b + 0 == 0) print "-"; else printf "%.2f", a / b }'; }
verdict() { awk -v r="$1" -v t="$2" 'BEGIN{ if (r == "-") print "-"; else print (r + 0 <= t + 0) ? "pass" : "MISS" }'; }
faster() { awk -v a="$1" -v b="$2" 'BEGIN{ if (a == "") print b; else if (b == "") print a; else print (a < b) ? a : b }'; }
fmt() { [ -n "$1" ] && printf "%s s" "$1" || printf "-"; }
# Pixels equal: the last W*H*3 bytes of two PPM files (headers differ between writers).
same_pixels() {
  local n=$(($3 * $4 * 3))
  [ -f "$1" ] && [ -f "$2" ] && cmp -s <(tail -c "$n" "$1") <(tail -c "$n" "$2") && echo yes || echo no
}

x0=5000; y0=5000; w=1024; h=768
x1=$((x0 + w)); y1=$((y0 + h))
declare -a SUMMARY
bench_profile() {  # name image
  local name="$1" image="$2"
  [ -f "$image" ] || { echo "($name: no image, skipped)"; return; }
  local levels r side
  levels=$("$xrvtool" info "$image" | awk '/^Resolution levels:/ {print $3}')
  r=$((levels - 1 < 4 ? levels - 1 : 4))  # 1/16, or the coarsest level the file has
  side=$((12000 / 16))
  local peerside=$(((12000 + (1 << r) - 1) >> r))

  # (a) 1024 x 768 window at full resolution
  best3 a_xrv "$xrvtool" render "$image" "$work/a_xrv.ppm" --size ${w}x${h} --window $x0,$y0,$x1,$y1
  have opj_decompress && best3 a_opj opj_decompress -i "$image" -o "$work/a_opj.ppm" -d $x0,$y0,$x1,$y1
  have grk_decompress && best3 a_grk grk_decompress -i "$image" -o "$work/a_grk.ppm" -d $x0,$y0,$x1,$y1
  have gdal_translate && best3 a_gdal gdal_translate -q -of PNM -srcwin $x0 $y0 $w $h "$image" "$work/a_gdal.ppm"
  local equal; equal=$(same_pixels "$work/a_xrv.ppm" "$work/a_opj.ppm" $w $h)

  # (b) the whole image at 1/16 (peers: -r 4, or the coarsest level the file has)
  best3 b_xrv "$xrvtool" render "$image" "$work/b_xrv.ppm" --size ${side}x${side}
  have opj_decompress && best3 b_opj opj_decompress -i "$image" -o "$work/b_opj.ppm" -r $r
  have grk_decompress && best3 b_grk grk_decompress -i "$image" -o "$work/b_grk.ppm" -r $r
  have gdal_translate && best3 b_gdal gdal_translate -q -of PNM -outsize $side $side "$image" "$work/b_gdal.ppm"

  # (c) ten windows panning 256 px: one xrvtool process; a process per window for the peers
  best3 c_xrv "$xrvtool" render "$image" "$work/c_xrv.ppm" --size ${w}x${h} --window $x0,$y0,$x1,$y1 --pan 10,256,0
  local tool total cpu k x
  for tool in opj grk gdal; do
    total=0; cpu=0
    for k in $(seq 0 9); do
      x=$((x0 + 256 * k))
      case $tool in
        opj) have opj_decompress || continue 2
             once c_opj opj_decompress -i "$image" -o "$work/c.ppm" -d $x,$y0,$((x + w)),$y1 >"$work/t" ;;
        grk) have grk_decompress || continue 2
             once c_grk grk_decompress -i "$image" -o "$work/c.ppm" -d $x,$y0,$((x + w)),$y1 >"$work/t" ;;
        gdal) have gdal_translate || continue 2
             once c_gdal gdal_translate -q -of PNM -srcwin $x $y0 $w $h "$image" "$work/c.ppm" >"$work/t" ;;
      esac
      total=$(awk -v a="$total" '{print a + $1}' "$work/t")
      cpu=$(awk -v a="$cpu" '{print a + $2 + $3}' "$work/t")
    done
    WALL[c_$tool]=$(awk -v a="$total" 'BEGIN{printf "%.3f", a / 10}')
    CPU[c_$tool]=$(awk -v a="$cpu" 'BEGIN{printf "%.3f", a / 10}')
  done
  WALL[c_xrv]=$(awk -v a="${WALL[c_xrv]}" 'BEGIN{printf "%.3f", a / 10}')
  CPU[c_xrv]=$(awk -v a="${CPU[c_xrv]}" 'BEGIN{printf "%.3f", a / 10}')

  # (d) progressive: first picture, final picture, peak memory
  best3 da_xrv "$xrvtool" render "$image" "$work/d.ppm" --size ${w}x${h} --window $x0,$y0,$x1,$y1 --progressive
  best3 db_xrv "$xrvtool" render "$image" "$work/d.ppm" --size ${side}x${side} --progressive

  echo
  echo "== $name: $(basename "$image"), $(du -m "$image" | cut -f1) MB, $levels resolution levels"
  printf "%-36s %-14s %-19s %-14s %-14s %-8s %-6s %-6s %-7s %s\n" "case" "xrvtool wall/cpu" "in-process o/f/f ms" \
    "opj wall/cpu" "grk wall/cpu" "gdal" "ratio" "cpu-r" "target" ""
  local key label target ref rt v refcpu rc
  for key in a b c; do
    case $key in
      a) label="(a) ${w}x${h} window, full res"; target=0.8 ;;
      b) label="(b) whole image at 1/16 (${side}x${side})"; target=0.8 ;;
      c) label="(c) per window, 10 windows, 256 px"; target=0.25 ;;
    esac
    ref=$(faster "${WALL[${key}_opj]:-}" "${WALL[${key}_grk]:-}")
    refcpu=$(faster "${CPU[${key}_opj]:-}" "${CPU[${key}_grk]:-}")
    rt=$(ratio "${WALL[${key}_xrv]}" "$ref")
    rc=$(ratio "${CPU[${key}_xrv]}" "$refcpu")
    v=$(verdict "$rt" $target)
    printf "%-36s %-14s %-19s %-14s %-14s %-8s %-6s %-6s %-7s %s\n" "$label" \
      "${WALL[${key}_xrv]}/${CPU[${key}_xrv]:-}" "$(inproc ${key}_xrv)" \
      "${WALL[${key}_opj]:-}/${CPU[${key}_opj]:-}" "${WALL[${key}_grk]:-}/${CPU[${key}_grk]:-}" \
      "${WALL[${key}_gdal]:-}" "$rt" "$rc" "<=$target" "$v"
    SUMMARY+=("$name $key wall ratio $rt (target <= $target): $v; CPU ratio $rc")
  done
  local fa fb pk
  fa=$(awk '/^view 1:/ {print $5}' "$work/da_xrv.out"); fb=$(awk '/^view 1:/ {print $5}' "$work/db_xrv.out")
  pk=$(printf "%s\n" "${PEAK[a_xrv]}" "${PEAK[b_xrv]}" "${PEAK[c_xrv]}" "${PEAK[da_xrv]}" "${PEAK[db_xrv]}" | sort -n | tail -1)
  echo "(d) progressive first picture: (a) $fa ms [<50: $(verdict "$fa" 50)], (b) $fb ms [<150: $(verdict "$fb" 150)];" \
       "final (a) $(awk '/^view 1:/ {print $9}' "$work/da_xrv.out") ms, (b) $(awk '/^view 1:/ {print $9}' "$work/db_xrv.out") ms;" \
       "xrvtool peak memory $pk MB [<300: $(verdict "$pk" 300)]"
  echo "    peers' peak memory (a): opj ${PEAK[a_opj]:-} MB, grk ${PEAK[a_grk]:-} MB, gdal ${PEAK[a_gdal]:-} MB;" \
       "CPU seconds (a): opj ${CPU[a_opj]:-}, grk ${CPU[a_grk]:-}, gdal ${CPU[a_gdal]:-}"
  echo "    (a) pixels equal to opj_decompress's: $equal; (b) peers decode at -r $r (${peerside}x${peerside})"
  SUMMARY+=("$name d first picture (a) $fa ms, (b) $fb ms, peak $pk MB")
}

# Process start-up alone: CPU milliseconds of a run that only loads the program and its
# libraries (best of 3), so the fixed cost is seen apart from decoding.
startup_ms() {
  local best="" i t TIMEFORMAT='%3U %3S'
  for i in 1 2 3; do
    { time "$@" >/dev/null 2>&1; } 2>"$work/time" || true
    t=$(awk '{printf "%d", ($1 + $2) * 1000 + 0.5}' "$work/time")
    if [ -z "$best" ] || [ "$t" -lt "$best" ]; then best=$t; fi
  done
  echo "$best"
}
versions=$(dpkg-query -W -f '${Package} ${Version}, ' libopenjp2-tools grokj2k-tools gdal-bin openjph-tools 2>/dev/null || true)
echo "Machine: $(nproc) cores, load average $(cut -d' ' -f1-3 /proc/loadavg) at the start"
echo "Peers: ${versions%, }"
echo "Start-up CPU (no work): xrvtool $(startup_ms "$xrvtool") ms ($(ldd "$xrvtool" | wc -l) libraries)," \
     "opj_decompress $(startup_ms opj_decompress -h) ms, grk_decompress $(startup_ms grk_decompress -h) ms," \
     "gdal_translate $(startup_ms gdal_translate --version) ms"
echo "Seconds, whole processes (open, decode, PPM write), best of 3 by wall time, with the CPU (user + system) of that run."
echo "ratio = xrvtool wall / the faster peer's (opj, grk); cpu-r = the same with CPU seconds."
bench_profile mksample "$data/mksample-12000.jp2"
bench_profile gdal "$data/gdal-12000.jp2"
bench_profile htj2k "$data/htj2k-12000.j2c"
echo
echo "Summary (targets hold for the two JP2 profiles; htj2k is shown for comparison):"
printf "  %s\n" "${SUMMARY[@]}"
