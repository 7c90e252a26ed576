#!/usr/bin/env bash
# Installs what the project needs on Debian 12, Breakpad among it, and costs nothing when it is all
# there.
#
#   scripts/setup.sh [build] [run] [test] [windows]
#
# Each word names a group of packages below; without a word, the first three. The last is for the
# tests under Wine, and builds their libraries.
set -eu

build_packages=(
    g++ cmake ninja-build ccache pkg-config
    qt6-base-dev qt6-base-dev-tools qt6-websockets-dev
    libswresample-dev libavutil-dev libpipewire-0.3-dev libpulse-dev
    libhidapi-dev libudev-dev
    ca-certificates curl openssl # for Breakpad, as is zlib1g-dev below
)
run_packages=(
    pipewire pipewire-bin pipewire-pulse wireplumber libspa-0.2-modules
    pulseaudio-utils dbus dbus-daemon python3
)
test_packages=(
    clang-14 clang-format-14 clang-tidy-14 libclang-rt-14-dev g++-mingw-w64-x86-64-posix
    git python3-websockets sox xvfb iproute2 procps libbenchmark-dev
    libumockdev-dev umockdev binutils zlib1g-dev
)
windows_packages=(
    g++-mingw-w64-x86-64-posix wine64 dpkg-dev make nasm
)

groups=("$@")
[ ${#groups[@]} -gt 0 ] || groups=(build run test)

cd "$(dirname "${BASH_SOURCE[0]}")"

wanted=()
breakpad=
windows=
for group in "${groups[@]}"; do
    case $group in
    build)
        wanted+=("${build_packages[@]}")
        breakpad=${breakpad:-client}
        ;;
    run) wanted+=("${run_packages[@]}") ;;
    test)
        wanted+=("${test_packages[@]}")
        breakpad=tools
        ;;
    windows)
        wanted+=("${build_packages[@]}" "${windows_packages[@]}")
        breakpad=${breakpad:-client}
        windows=1
        ;;
    *)
        echo "setup: unknown group '$group'" >&2
        exit 2
        ;;
    esac
done

missing=()
for package in "${wanted[@]}"; do
    state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$state" = installed ] || missing+=("$package")
done

install_missing() {
    echo "==> Installing Debian packages: ${missing[*]}"
    local as_root=()
    if [ "$(id -u)" != 0 ]; then
        command -v sudo >/dev/null || {
            echo "setup: these packages are missing, and there is neither root nor sudo" >&2
            exit 1
        }
        as_root=(sudo)
    fi
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq \
        --no-install-recommends "${missing[@]}"
}
[ ${#missing[@]} -eq 0 ] || install_missing
[ -z "$breakpad" ] || ./breakpad.sh "$breakpad"
if [ -n "$windows" ]; then
    windows/build-qt.sh
    windows/build-libraries.sh
fi
