#!/usr/bin/env bash
# Streaming benchmark: xrvtool over xrvp:// against GDAL's /vsicurl/ on the same views of two
# 20000 x 20000 RGB JPEG 2000 images served by nginx on 127.0.0.1, straight and through
# tests/stream/faultserver.py acting as a proxy that waits 50 ms before every request.
#   bench/stream.sh [BUILD_DIR]      (default: build)
#   IMAGES=mksample bench/stream.sh  (one image only)
# Images (made once into bench/data/):
#   mksample  our sample maker: 1024 x 1024 tiles, 6 levels, RPCL, one tile-part per resolution,
#             TLM markers (an image made before mksample wrote them is made again)
#   gdal      gdal_translate -of JP2OpenJPEG (QUALITY=10, PROGRESSION=RPCL) of the same pixels:
#             one tile-part per tile
# Views: the whole image at 1024 x 1024 ("overview") and a 1024 x 768 window at full resolution
# in the middle ("window"). Requests and bytes come from nginx's access log; times are what
# xrvtool prints (open; first and final picture of the progressive view) and the wall time of
# the whole gdal_translate run. The "xrvtool" rows use no disk cache, so every run reads from
# the server; the "cached" rows are a second run of the same view with the disk cache on (the
# first run, with an empty cache folder, is not counted): only the validating request should
# reach the server.
set -euo pipefail
source "$(dirname "$0")/common.sh"
mkdir -p "$work/www" "$work/logs"
command -v gdal_translate >/dev/null || { echo "gdal_translate is missing (scripts/install-deps.sh)" >&2; exit 1; }
[ -x /usr/sbin/nginx ] || { echo "nginx is missing (scripts/install-deps.sh)" >&2; exit 1; }

size=20000
GDAL_LIMIT="${GDAL_LIMIT:-60}"
# The main header's markers, up to the first tile-part: an image made before mksample wrote TLM
# markers is made again.
has_tlm() {
  python3 - "$1" <<'PY'
import struct, sys
d = open(sys.argv[1], "rb").read(1 << 20)
p = d.find(b"\xff\x4f\xff\x51") + 2
while p > 1 and p + 4 <= len(d):
    marker, length = struct.unpack(">HH", d[p:p + 4])
    if marker == 0xFF55:
        sys.exit(0)
    if marker == 0xFF90:
        break
    p += 2 + length
sys.exit(1)
PY
}
if [ -f "$data/stream-mksample-$size.jp2" ] && ! has_tlm "$data/stream-mksample-$size.jp2"; then
  rm -f "$data/stream-mksample-$size.jp2"
fi
if [ ! -f "$data/stream-mksample-$size.jp2" ]; then
  echo "making stream-mksample-$size.jp2 ..."
  "$mksample" "$data/stream-mksample-$size.jp2" --size ${size}x${size} --tile 1024 --levels 6 --layers 1 --rate 10 \
    --threads "$(nproc)" >/dev/null
fi
images="${IMAGES:-mksample gdal}"
if [ ! -f "$data/stream-gdal-$size.jp2" ] && [[ " $images " == *" gdal "* ]]; then
  echo "making stream-gdal-$size.jp2 ..."
  GDAL_NUM_THREADS=ALL_CPUS gdal_translate -q -of JP2OpenJPEG -co QUALITY=10 -co PROGRESSION=RPCL \
    "$data/stream-mksample-$size.jp2" "$data/stream-gdal-$size.jp2"
  rm -f "$data/stream-gdal-$size.jp2.aux.xml"
fi
ln -s "$data/stream-mksample-$size.jp2" "$work/www/mksample.jp2"
[ -f "$data/stream-gdal-$size.jp2" ] && ln -s "$data/stream-gdal-$size.jp2" "$work/www/gdal.jp2"

freeport() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])'; }
port="$(freeport)"
cat > "$work/nginx.conf" <<EOF
daemon off;
master_process off;
worker_processes 1;
error_log $work/logs/error.log;
pid $work/nginx.pid;
events { worker_connections 512; }
http {
  log_format bench '\$status \$body_bytes_sent';
  access_log $work/logs/access.log bench;
  client_body_temp_path $work; proxy_temp_path $work; fastcgi_temp_path $work;
  uwsgi_temp_path $work; scgi_temp_path $work;
  keepalive_requests 100000;
  server { listen 127.0.0.1:$port; root $work/www; }
}
EOF
/usr/sbin/nginx -e "$work/logs/error.log" -p "$work" -c "$work/nginx.conf" &
pids+=($!)
python3 "$root/tests/stream/faultserver.py" --upstream "http://127.0.0.1:$port" --delay-ms 50 --lifetime 3600 \
  --max-requests 200000 > "$work/proxy.port" &
pids+=($!)
for _ in $(seq 50); do [ -s "$work/proxy.port" ] && break; sleep 0.1; done
slow="$(awk '{print $2}' "$work/proxy.port")"
sleep 0.5

log="$work/logs/access.log"
requests() { wc -l < "$log"; }
bytes() { awk '{s += $2} END {printf "%.0f", s}' "$log"; }
mid0=$((size / 2 - 512)); mid1=$((size / 2 - 384))
window="$mid0,$mid1,$((mid0 + 1024)),$((mid1 + 768))"

rows=()
declare -A BYTES REQS FINAL
measure() {  # IMAGE VIEW LATENCY TOOL
  local image="$1" view="$2" latency="$3" tool="$4" p="$port" open="-" first="-" final="-" t0 t1
  [ "$latency" = "50" ] && p="$slow"
  : > "$log"
  if [ "$tool" = "xrvtool" ] || [ "$tool" = "cached" ]; then
    local args=(--size 1024x1024)
    [ "$view" = "window" ] && args=(--size 1024x768 --window "$window")
    if [ "$tool" = "cached" ]; then
      rm -rf "$work/cache"
      args+=(--stream-cache "$work/cache,2048")
      "$xrvtool" render "xrvp://127.0.0.1:$p/$image.jp2" "$work/out.png" "${args[@]}" --progressive --quiet || true
      sleep 0.2
      : > "$log"
    fi
    "$xrvtool" render "xrvp://127.0.0.1:$p/$image.jp2" "$work/out.png" "${args[@]}" --progressive > "$work/run.out" || true
    open="$(awk '/^open:/ {print $2}' "$work/run.out")"
    first="$(sed -n 's/.*first picture \([0-9.]*\) ms.*/\1/p' "$work/run.out" | head -1)"
    final="$(sed -n 's/.*final picture \([0-9.]*\) ms.*/\1/p' "$work/run.out" | head -1)"
  else
    local args=(-outsize 1024 1024)
    [ "$view" = "window" ] && args=(-srcwin "$mid0" "$mid1" 1024 768)
    # GDAL reads some views byte by byte many times over: a run is stopped after $GDAL_LIMIT s
    # and its figures (then marked ">") are what it read until then.
    t0="$(date +%s.%N)"
    local stopped=""
    GDAL_DISABLE_READDIR_ON_OPEN=EMPTY_DIR CPL_VSIL_CURL_USE_HEAD=NO timeout "$GDAL_LIMIT" gdal_translate -q \
      -of GTiff "${args[@]}" "/vsicurl/http://127.0.0.1:$p/$image.jp2" "$work/out.tif" || stopped=">"
    t1="$(date +%s.%N)"
    final="$stopped$(echo "($t1 - $t0) * 1000" | bc -l | xargs printf '%.1f')"
  fi
  sleep 0.2  # nginx writes its log line once the answer is sent
  local n b filesize pct
  n="$(requests)"; b="$(bytes)"
  filesize="$(stat -L -c %s "$work/www/$image.jp2")"
  pct="$(echo "100 * $b / $filesize" | bc -l | xargs printf '%.2f')"
  local mark=""
  [ "${final:0:1}" = ">" ] && mark=">"
  rows+=("$(printf '%-8s %-8s %4s ms  %-8s %9s %9s %9s %8s %11s %8s' "$image" "$view" "$latency" "$tool" "$open" \
    "$first" "$final" "$mark$n" "$mark$b" "$mark$pct")")
  echo "${rows[-1]}"
  BYTES["$image $view $latency $tool"]="$b"; REQS["$image $view $latency $tool"]="$n"
  FINAL["$image $view $latency $tool"]="$final"
}

printf '%-8s %-8s %7s  %-8s %9s %9s %9s %8s %11s %8s\n' image view latency tool "open ms" "first ms" "final ms" \
  requests bytes "% file"
for image in $images; do
  for latency in 0 50; do
    for view in overview window; do
      for tool in xrvtool cached gdal; do measure "$image" "$view" "$latency" "$tool"; done
    done
  done
done

echo
echo "Targets (ours): overview under 10 % of the file and its final picture under 2 s with 50 ms per request;"
echo "a full-resolution window under 2 % of the file; a second open with the disk cache on reads nothing but"
echo "the validating request."
for r in "${rows[@]}"; do
  read -r image view latency _ tool open first final n b pct <<< "$r"
  key="$image $view $latency"
  if [ "$tool" = "cached" ]; then
    echo "  $image $view ${latency} ms, second open with the disk cache: $n request(s), $b bytes" \
      "($([ "$n" -le 1 ] && echo "validation only: met" || echo "more than validation: missed"))"
    continue
  fi
  [ "$tool" = "xrvtool" ] || continue
  verdict=""
  if [ "$view" = "overview" ]; then
    verdict="bytes $(awk -v p="$pct" 'BEGIN {print (p < 10) ? "met" : "missed"}') ($pct % / 10 %)"
    if [ "$latency" = "50" ]; then
      total="$(echo "$open + $final" | bc -l)"
      verdict="$verdict, open + final $(printf '%.0f' "$total") ms $(awk -v t="$total" 'BEGIN {print (t < 2000) ? "met" : "missed"}') (/ 2000 ms)"
    fi
  else
    verdict="bytes $(awk -v p="$pct" 'BEGIN {print (p < 2) ? "met" : "missed"}') ($pct % / 2 %)"
  fi
  vs="$(awk -v a="${BYTES[$key xrvtool]}" -v b="${BYTES[$key gdal]}" -v c="${REQS[$key xrvtool]}" \
    -v d="${REQS[$key gdal]}" -v e="${FINAL[$key xrvtool]}" -v f="${FINAL[$key gdal]#>}" \
    'BEGIN {printf "bytes x%.3f, requests x%.2f, final time x%.2f of GDAL", a / b, c / d, e / f}')"
  echo "  $image $view ${latency} ms: $verdict; $vs"
done
