#!/usr/bin/env bash
# Installs what is missing, builds both presets and runs the tests under Wine and Xvfb:
# always on 64 bits, on 32 bits when 32-bit Wine is installed. Exits non-zero on any failure.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
source scripts/common.sh
mkdir -p build

status=0
for preset in win64 win32; do
  echo "== build $preset"
  build_preset "$preset" || { echo "build of $preset failed"; exit 1; }
done

for preset in win64 win32; do
  if [ "$preset" = win32 ] && ! have_wine32; then
    echo "== SKIPPED: the 32-bit tests did not run, because 32-bit Wine (wine32:i386) is not installed."
    continue
  fi
  echo "== test $preset"
  prepare_prefix "$ROOT/build/$preset/wineprefix"
  if ! xvfb-run -a -s "-screen 0 1280x1024x24" \
      ctest --preset "$preset" --output-on-failure "$@"; then
    status=1
  fi
  echo "== installed package consumed through find_package ($preset)"
  check_consumer "$preset" || { echo "the installed package could not be consumed"; status=1; }
  wineserver -k 2>/dev/null || true
done
exit $status
