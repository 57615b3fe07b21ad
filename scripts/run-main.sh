#!/usr/bin/env bash
# The main job: installs what is missing, builds, and shows the bundled sample image in the
# viewer through the XRV / JPEG 2000 plug-in. Without a display the viewer renders it
# headless to a PNG whose path is printed.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
bash "$root/scripts/install-deps.sh"
bash "$root/scripts/build.sh" "$root/build" -DXRV_BUILD_TESTS=OFF
sample="$root/build/share/sample/sample.jp2"
viewer="$root/build/bin/qdviewer"
if [ -n "${DISPLAY:-}" ] && xdpyinfo >/dev/null 2>&1; then
  exec "$viewer" "$sample"
fi
mkdir -p "$root/out"
QT_QPA_PLATFORM=offscreen "$viewer" --render "$root/out/sample.png" --size 1024x1024 "$sample"
echo "Rendered picture: $root/out/sample.png"
