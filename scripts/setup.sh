#!/usr/bin/env bash
# Installs the Debian 12 packages that building and testing c2info needs.
# Safe to run again: it installs only what is missing.
set -euo pipefail

packages=(
    g++ cmake ninja-build
    android-libutils-dev android-libcutils-dev android-liblog-dev android-libbase-dev
    hidl-gen
    libgtest-dev libgmock-dev libbenchmark-dev
    libyuv-dev libpng-dev nlohmann-json3-dev libedit-dev
    clang libclang-rt-14-dev libc++-14-dev libc++abi-14-dev libc6-dev-armhf-cross
)

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$package")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -ne 0 ] && sudo=sudo
$sudo apt-get update
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends "${missing[@]}"
