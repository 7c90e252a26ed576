#!/usr/bin/env bash
# Builds the C libraries that Quorvane links, for Windows, with MinGW: FFmpeg's libswresample and
# libavutil, and hidapi, static, from Debian's sources of the versions that are installed. They go
# into a cache outside the source tree; costs nothing when they are there.
#
#   scripts/windows/build-libraries.sh
#   scripts/windows/build-libraries.sh --folder     where they are or would be
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/source.sh"

ffmpeg=$(source_of libswresample-dev)
hidapi=$(source_of libhidapi-dev)
versions=${ffmpeg/=/-}-${hidapi/=/-}
folder=$cache/${versions//:/_}-$host-$compiler_version

build_ffmpeg() { # PREFIX
    fetch_source libswresample-dev "$1.ffmpeg"
    echo "==> Building FFmpeg's resampler for Windows (${ffmpeg#*=})"
    (
        cd "$1.ffmpeg"
        ./configure --enable-cross-compile --target-os=mingw32 --arch=x86_64 \
            --cross-prefix="$host-" --cc="ccache $host-gcc-posix" --prefix="$folder" \
            --pkg-config=false --disable-all --disable-autodetect --disable-doc --disable-debug \
            --enable-static --enable-swresample --enable-avutil
        make -j"$(nproc)"
        make install DESTDIR="$1.root"
    ) >"$1.log" 2>&1 || { tail -50 "$1.log" >&2; return 1; }
    rm -rf "$1.ffmpeg" "$1.log"
}

build_hidapi() { # PREFIX
    fetch_source libhidapi-dev "$1.hidapi"
    echo "==> Building hidapi for Windows (${hidapi#*=})"
    local root=$1.root$folder
    mkdir -p "$root/include/hidapi" "$root/lib"
    cp "$1.hidapi"/hidapi/*.h "$1.hidapi"/windows/*.h "$root/include/hidapi/"
    "$host-gcc-posix" -O2 -I"$1.hidapi/hidapi" -I"$1.hidapi/windows" \
        -c "$1.hidapi/windows/hid.c" -o "$1.hidapi/hid.o"
    "$host-ar" rcs "$root/lib/libhidapi.a" "$1.hidapi/hid.o"
    rm -rf "$1.hidapi"
}

build() { # FOLDER
    build_ffmpeg "$1"
    build_hidapi "$1"
    mv "$1.root$folder" "$1"
    rm -rf "$1.root"
}

case "${1:-}" in
"") once "$folder" build ;;
--folder) echo "$folder" ;;
*)
    sed -n '2,8s/^# \{0,1\}//p' "$0" >&2
    exit 2
    ;;
esac
