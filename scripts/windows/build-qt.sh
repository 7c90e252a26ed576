#!/usr/bin/env bash
# Builds Qt's base module for Windows with MinGW, from Debian's source of the version that is
# installed, into a cache outside the source tree; costs nothing when it is there.
#
#   scripts/windows/build-qt.sh              build it
#   scripts/windows/build-qt.sh --folder     where it is or would be
#
# The program itself needs a Qt with WebSockets: the preset "windows" takes an installed one.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/source.sh"

# What the program does not use is what the build's time would go to.
off=(
    sql dbus printsupport opengl dynamicgl vulkan tabletevent
    icu glib zstd brotli gssapi libproxy ssl openssl schannel valgrind
    system_zlib system_pcre2 system_doubleconversion system_libb2
    pkg_config separate_debug_info
)
# Once for every version of Qt, compiler and this list.
options="-O1 ${off[*]}"
version=$(source_of qt6-base-dev)
folder=$cache/${version/=/-}-$host-$compiler_version-$(sha256sum <<<"$options" | cut -c1-8)

build() { # FOLDER
    local work=$1.work
    fetch_source qt6-base-dev "$work"
    echo "==> Building Qt for Windows (${version#*=})"
    local features=()
    for feature in "${off[@]}"; do features+=("-DFEATURE_$feature=OFF"); done
    # ccache is to bear precompiled headers.
    export CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_ctime,include_file_mtime
    cmake -S "$work" -B "$work/build" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/mingw-toolchain.cmake" \
        -DQT_HOST_PATH=/usr -DQT_HOST_PATH_CMAKE_DIR="/usr/lib/$(uname -m)-linux-gnu/cmake" \
        -DCMAKE_INSTALL_PREFIX="$folder" \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-O1 -DCMAKE_C_FLAGS_RELEASE=-O1 \
        -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache \
        -DQT_BUILD_EXAMPLES=OFF -DQT_BUILD_TESTS=OFF \
        "${features[@]}" >"$1.log" 2>&1 || { tail -50 "$1.log" >&2; return 1; }
    cmake --build "$work/build" --parallel "$(nproc)" >>"$1.log" 2>&1 ||
        { tail -50 "$1.log" >&2; return 1; }
    DESTDIR=$1.root cmake --install "$work/build" --strip >>"$1.log"
    mv "$1.root$folder" "$1"
    rm -rf "$work" "$1.root" "$1.log"
}

cd "$(dirname "${BASH_SOURCE[0]}")/../.."
case "${1:-}" in
"") once "$folder" build ;;
--folder) echo "$folder" ;;
*)
    sed -n '2,9s/^# \{0,1\}//p' "$0" >&2
    exit 2
    ;;
esac
