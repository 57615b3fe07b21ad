# What every benchmark starts with, sourced by its script (whose first argument is the build
# folder): where the tree, the tools and the images are, a scratch folder, and a clean-up at
# exit that also stops every server the script started (their process ids go in `pids`).
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${1:-$root/build}"
xrvtool="$build/bin/xrvtool"
mksample="$build/bin/mksample"
data="$root/bench/data"
work="$(mktemp -d)"
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT
mkdir -p "$data"
for tool in "$xrvtool" "$mksample"; do [ -x "$tool" ] || { echo "missing $tool: build first" >&2; exit 1; }; done
