#!/usr/bin/env bash
# Sets everything up, builds, and runs the command-line tool's main job on its built-in data: every
# apply mode over built-in pictures, the whole-image operations on them and a 3-D scene through the
# multipass render, written as PNG files and three labelled contact sheets (contact-sheet.png,
# operations.png, scene.png) in out/demo.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
bash scripts/build.sh build -DZEP6_BUILD_TESTS=OFF -DZEP6_BUILD_TOOLS=ON -DZEP6_BUILD_BENCH=OFF -DZEP6_SANITIZE=OFF
./build/tools/zep6gl/zep6gl formats
echo
./build/tools/zep6gl/zep6gl info
echo
./build/tools/zep6gl/zep6gl modes
echo
./build/tools/zep6gl/zep6gl demo out/demo
