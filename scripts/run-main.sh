#!/usr/bin/env bash
# The main job: installs what is missing, builds, and shows the bundled sample image.
# With a display the viewer opens it; without one it is rendered to a PNG whose path is
# printed.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
bash "$root/scripts/install-deps.sh"
bash "$root/scripts/build.sh" "$root/build" -DXRV_BUILD_TESTS=OFF
sample="$root/build/share/sample/sample.jp2"
mkdir -p "$root/out"
if [ -n "${DISPLAY:-}" ] && [ -x "$root/build/bin/qdviewer" ]; then
  exec "$root/build/bin/qdviewer" "$sample"
fi
"$root/build/bin/xrvtool" render "$sample" "$root/out/sample.png" --size 1024x1024 --progressive
echo "Rendered picture: $root/out/sample.png"
