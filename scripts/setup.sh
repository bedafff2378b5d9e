#!/usr/bin/env bash
# Installs every system package the project needs on a fresh Debian 12 machine (run as root).
# Safe to run again: it asks apt only for what is missing, and updates the package lists once.
set -euo pipefail

packages=(
    build-essential cmake pkg-config git
    googletest libgtest-dev libgmock-dev libbenchmark-dev
    libglvnd-dev libgl-dev libegl-dev libopengl-dev libglu1-mesa-dev
    libegl-mesa0 libgl1-mesa-dri libglx-mesa0
    libpng-dev libopenexr-dev zlib1g-dev
    libopencv-imgproc-dev
    time
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -gt 0 ]; then
    echo "setup: installing ${missing[*]}"
    if [ "$(id -u)" -ne 0 ]; then
        echo "setup: missing packages and not root; run as root" >&2
        exit 1
    fi
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -q
    apt-get install -y -q --no-install-recommends "${missing[@]}"
else
    echo "setup: all packages present"
fi
