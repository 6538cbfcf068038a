#!/usr/bin/env bash
# Shared by test.sh, demo.sh and the benchmarks: configure and build a preset, and prepare the
# Wine prefix that belongs to its build folder.
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEDEBUG=-all

build_preset() {
  local preset=$1
  cmake --preset "$preset" >"$ROOT/build/$preset.configure.log" 2>&1 \
    || { cat "$ROOT/build/$preset.configure.log"; return 1; }
  cmake --build --preset "$preset" -j "$(nproc)"
}

# 32-bit programs need 32-bit Wine.
have_wine32() {
  dpkg-query -W -f='${Status}' wine32:i386 2>/dev/null | grep -q "install ok installed"
}

# Creates (once) the prefix of a build folder, with the fonts GDI+ asks for mapped to DejaVu and
# Wine's crash dialog switched off so that a crashing test ends instead of waiting for a click.
prepare_prefix() {
  local prefix=$1
  export WINEPREFIX=$prefix
  if [ -f "$prefix/.veskon-ready" ]; then
    # A prefix made before 32-bit Wine was installed no longer starts: make it anew.
    if wine cmd /c exit 0 2>&1 | grep -q "c0000135"; then rm -rf "$prefix"; else return 0; fi
  fi
  rm -rf "$prefix"
  mkdir -p "$prefix"
  wineboot -i >/dev/null 2>&1
  local fonts='HKCU\Software\Wine\Fonts\Replacements'
  for f in Verdana "Trebuchet MS" Arial Tahoma "Segoe UI" "Microsoft Sans Serif" "MS Shell Dlg" "MS Shell Dlg 2"; do
    wine reg add "$fonts" /v "$f" /t REG_SZ /d "DejaVu Sans" /f >/dev/null 2>&1
  done
  wine reg add "$fonts" /v "Courier New" /t REG_SZ /d "DejaVu Sans Mono" /f >/dev/null 2>&1
  wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f >/dev/null 2>&1
  # Xvfb has no window manager: let Wine draw captions and frames itself (so screenshots show them)
  # and stop it waiting 2 s for a window manager to confirm each hidden window.
  wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /t REG_SZ /d N /f >/dev/null 2>&1
  wine reg delete 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Debugger /f >/dev/null 2>&1
  wineserver -w
  touch "$prefix/.veskon-ready"
}

# Installs a built preset and builds and runs tests/consumer against the installed package
# (find_package + the imported target), as an application would consume the library.
check_consumer() {
  local preset=$1
  local build="$ROOT/build/$preset"
  local toolchain
  toolchain=$(grep -o 'toolchain-[a-z0-9_-]*\.cmake' "$build/CMakeCache.txt" | head -1)
  rm -rf "$build/install" "$build/consumer"
  cmake --install "$build" --prefix "$build/install" >/dev/null || return 1
  cmake -S "$ROOT/tests/consumer" -B "$build/consumer" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/$toolchain" -DCMAKE_PREFIX_PATH="$build/install" >/dev/null || return 1
  cmake --build "$build/consumer" >/dev/null || return 1
  (cd "$build/consumer" && wine ./VeskonConsumer.exe)
}
