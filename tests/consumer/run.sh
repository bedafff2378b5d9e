#!/usr/bin/env bash
# Installs the built library into a scratch prefix, then builds and runs a small outside program
# against it twice: once through find_package, once through pkg-config; and runs the installed
# command-line tool from the prefix as a user would, with no library path set.
set -euo pipefail
build=$1
work=$2
here=$(cd "$(dirname "$0")" && pwd)
cmake_bin=${CMAKE:-cmake}
rm -rf "$work"
mkdir -p "$work"
prefix="$work/prefix"
"$cmake_bin" --install "$build" --prefix "$prefix" >"$work/install.log"
libdir=$(dirname "$(find "$prefix" -name 'libogl_zep6_ae.so' | head -n 1)")
export LD_LIBRARY_PATH="$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"

# Sanitized builds need the runtime in every program that loads the library.
extra=()
# (grep reads all of nm's output: an early exit would fail the pipeline under pipefail.)
if nm -D "$libdir/libogl_zep6_ae.so" | grep __asan_init >/dev/null; then
    extra=(-fsanitize=address,undefined)
fi

echo "== find_package"
"$cmake_bin" -S "$here" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_FLAGS="${extra[*]:-}" -DCMAKE_EXE_LINKER_FLAGS="${extra[*]:-}" >"$work/configure.log"
"$cmake_bin" --build "$work/cmake-build" >"$work/build.log"
"$work/cmake-build/consumer"

echo "== pkg-config"
export PKG_CONFIG_PATH="$libdir/pkgconfig"
c++ -std=c++17 ${extra[@]+"${extra[@]}"} "$here/consumer.cpp" -o "$work/consumer-pc" \
    $(pkg-config --cflags --libs ogl_zep6_ae)
"$work/consumer-pc"

# The installed tool must start from the prefix on its own run path, not through LD_LIBRARY_PATH.
tool="$prefix/bin/zep6gl"
if [ -x "$tool" ]; then
    echo "== installed zep6gl"
    env -u LD_LIBRARY_PATH "$tool" --help >"$work/tool-help.log"
    grep -q "zep6gl convert" "$work/tool-help.log"
    env -u LD_LIBRARY_PATH "$tool" formats >"$work/tool-formats.log"
    grep -q "RGBA float" "$work/tool-formats.log"
else
    echo "== installed zep6gl: not built (ZEP6_BUILD_TOOLS=OFF), not checked"
fi
