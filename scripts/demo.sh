#!/usr/bin/env bash
# Installs what is missing, builds the product (win32; win64 where 32-bit Wine is missing), runs
# the demo host under Wine and Xvfb, and leaves its screenshots, report and trace log in out/demo/.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
source scripts/common.sh
mkdir -p build

preset=win32
have_wine32 || { preset=win64; echo "demo: 32-bit Wine is missing; running the 64-bit build"; }
build_preset "$preset"
prepare_prefix "$ROOT/build/$preset/wineprefix"

out="$ROOT/out/demo"
rm -rf "$out"
mkdir -p "$out"
# Wine maps Z: to /. (winepath would start a wineserver without the display, and the demo would
# then join that server and fail to create its windows.)
winout="Z:${out//\//\\}"
wineserver -k 2>/dev/null || true
set +e
(cd "$ROOT/build/$preset/bin" && xvfb-run -a -s "-screen 0 1280x1024x24" wine ./VeskonDemo.exe --out "$winout" "$@")
code=$?
set -e
wineserver -k 2>/dev/null || true
echo
echo "demo output in $out:"
ls -1 "$out" | sed "s|^|  $out/|"
exit $code
