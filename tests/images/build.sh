#!/usr/bin/env bash
# Rebuilds the sample images of this folder, as the linker makes them: unsigned, the relocations in a discardable
# section. Needs Debian's g++-mingw-w64-x86-64-win32 and g++-mingw-w64-i686-win32; the same versions give the same bytes.
# usage: build.sh [FOLDER]; without one the samples are replaced.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
target=$(cd "${1:-$here}" && pwd)
cd "$here"

build() { # WIDTH COMPILER DRIVER_ENTRY LIBRARY_ENTRY
  local common=(-Os -nostdlib -s -fno-ident -fno-asynchronous-unwind-tables -Wall -Wextra
    -Wl,--section-alignment,0x1000 -Wl,--file-alignment,0x200 -Wl,--dynamicbase -Wl,--no-insert-timestamp)
  "$2" "${common[@]}" -isystem /usr/share/mingw-w64/include/ddk -Wl,--subsystem,native -Wl,--entry,"$3" \
    -Wl,--image-base,0x10000 -o "$target/driver$1.sys" driver.c -lntoskrnl -lhal
  "$2" "${common[@]}" -shared -Wl,--entry,"$4" -Wl,--image-base,0x10000000 \
    -o "$target/library$1.dll" library.c -lkernel32 -luser32
  chmod -x "$target/driver$1.sys" "$target/library$1.dll"
}

build 64 x86_64-w64-mingw32-gcc-win32 DriverEntry DllMainCRTStartup
build 32 i686-w64-mingw32-gcc-win32 _DriverEntry@8 _DllMainCRTStartup@12
