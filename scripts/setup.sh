#!/usr/bin/env bash
# Installs what the build, the tests and the demo need on a Debian 12 machine. Safe to run again:
# it installs only what is missing. 32-bit Wine is attempted; when it cannot be installed the
# script says so and carries on (the tests then run on 64 bits only).
set -u

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive

have_pkg() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; }

apt_updated=0
apt_update() {
  if [ "$apt_updated" -eq 0 ]; then
    $SUDO apt-get update -qq || true
    apt_updated=1
  fi
}

# Both Wine architectures must come from the same archive at the same version; the security
# archive's i386 index is not always in step with its amd64 one, so prefer the main archive.
pin=/etc/apt/preferences.d/veskon-wine-pin
if [ ! -f "$pin" ]; then
  printf 'Package: *\nPin: release l=Debian-Security\nPin-Priority: 100\n' | $SUDO tee "$pin" >/dev/null
  apt_updated=0
fi

base_pkgs=(cmake ninja-build g++-mingw-w64-i686 g++-mingw-w64-x86-64 binutils-mingw-w64-i686
           binutils-mingw-w64-x86-64 googletest wine wine64 xvfb xauth fonts-dejavu-core)
missing=()
for p in "${base_pkgs[@]}"; do have_pkg "$p" || missing+=("$p"); done
if [ "${#missing[@]}" -gt 0 ]; then
  apt_update
  echo "setup: installing ${missing[*]}"
  if ! $SUDO apt-get install -y -qq "${missing[@]}"; then
    echo "setup: failed to install ${missing[*]}" >&2
    exit 1
  fi
fi

# 32-bit Wine: optional.
if ! have_pkg wine32:i386; then
  if ! dpkg --print-foreign-architectures | grep -qx i386; then
    $SUDO dpkg --add-architecture i386
    apt_updated=0
  fi
  apt_update
  echo "setup: installing 32-bit Wine (wine32:i386)"
  if ! $SUDO apt-get install -y -qq wine wine64 wine32:i386; then
    # A package already taken from the security archive must be moved back to the main
    # archive's version so that the i386 twin can match it.
    for p in libwine wine64 wine; do
      v=$(apt-cache policy "$p" 2>/dev/null | awk '/^ +[0-9]/{v=$1} /deb.debian.org\/debian bookworm\/main/{print v; exit}' )
      [ -n "$v" ] && $SUDO apt-get install -y -qq --allow-downgrades "$p=$v" >/dev/null 2>&1 || true
    done
    $SUDO apt-get install -y -qq wine wine64 wine32:i386 \
      || echo "setup: 32-bit Wine could not be installed; the 32-bit tests will be skipped."
  fi
fi

for tool in i686-w64-mingw32-g++-posix x86_64-w64-mingw32-g++-posix wine xvfb-run cmake; do
  command -v "$tool" >/dev/null || { echo "setup: $tool is still missing" >&2; exit 1; }
done
echo "setup: done"
