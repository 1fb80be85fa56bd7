#!/usr/bin/env bash
# Installs the Debian 12 packages that building and testing c2info needs,
# for the host and for the product's 32-bit ARM ABI (armhf, run under
# qemu-arm). With --triage, only what building the host programs needs
# (c2info-triage and c2info-sim, no tests). Safe to run again: it installs
# only what is missing.
set -euo pipefail

# The host programs: the service they link, its generated interfaces,
# CLI11, which parses their command lines, Boost.Math, whose distributions
# the release view's statistics use, Chart.js, which c2info-triage builds
# into its page, ncurses, which draws its live view, SQLite, in which it
# keeps its store, and dpkg-shlibdeps, which declares their Debian
# package's dependencies. The tests run the live view in tmux.
packages=(
    g++ cmake ninja-build
    android-libutils-dev android-libcutils-dev android-liblog-dev android-libbase-dev
    hidl-gen libyuv-dev libpng-dev nlohmann-json3-dev libedit-dev libzip-dev libjs-chart.js
    libcli11-dev libboost-math-dev libncurses-dev libsqlite3-dev
    dpkg-dev
)
full=true
[ "${1:-}" = --triage ] && full=false
if $full; then
    packages+=(
        blueprint-tools libgtest-dev libgmock-dev libbenchmark-dev
        chromium-headless-shell python3 python3-selenium chromium-driver tmux
        clang libclang-rt-14-dev libc++-14-dev libc++abi-14-dev libc6-dev-armhf-cross
        g++-arm-linux-gnueabihf qemu-user
        android-libutils-dev:armhf android-libcutils-dev:armhf android-liblog-dev:armhf
        android-libbase-dev:armhf libgtest-dev:armhf libgmock-dev:armhf libyuv-dev:armhf
    )
fi
# armhf libbacktrace loads 7z.so from /usr/lib/p7zip, where the amd64
# p7zip-full already lives; the armhf package is unpacked beside, into the
# root that the armhf toolchain file hands to the linker and to qemu-arm.
armhf_overlay=/opt/c2info-armhf-root

sudo=""
[ "$(id -u)" -ne 0 ] && sudo=sudo

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$package")
    fi
done
if [ ${#missing[@]} -ne 0 ]; then
    if $full; then
        dpkg --print-foreign-architectures | grep -qx armhf || $sudo dpkg --add-architecture armhf
    fi
    # A mirror in the middle of a sync fails one index or another; what
    # is missing from the rest shows up as a failed install below.
    $sudo apt-get update || echo "setup: apt-get update failed in part; installing from what it fetched"
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends "${missing[@]}"
fi

if $full && [ ! -e "$armhf_overlay/usr/lib/p7zip/7z.so" ]; then
    download=$(mktemp -d)
    chmod 777 "$download"
    (cd "$download" && apt-get download p7zip-full:armhf)
    $sudo dpkg-deb -x "$download"/p7zip-full_*_armhf.deb "$armhf_overlay"
    rm -rf "$download"
fi
