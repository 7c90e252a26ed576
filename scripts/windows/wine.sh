#!/usr/bin/env bash
# Runs a Windows program under Wine, with the DLLs of its libraries in reach.
#
#   scripts/windows/wine.sh PREFIX [DLL_FOLDER...] -- PROGRAM [ARGUMENT...]
#   scripts/windows/wine.sh PREFIX --start          makes the next programs start faster
#   scripts/windows/wine.sh PREFIX --stop           ends what runs there
#
# PREFIX is a folder for Wine's own files, made when it is not there.
set -euo pipefail

wine=/usr/lib/wine/wine64
export WINEPREFIX=$1 WINEDEBUG=${WINEDEBUG:--all} WINESERVER=/usr/lib/wine/wineserver64
# No desktop integration, and none of the helpers that Wine offers to download.
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-winemenubuilder.exe,mscoree,mshtml=}
shift

case $1 in
--start)
    # A new folder is filled by processes that go on after this one: it is whole when all have ended,
    # and made anew when an earlier round was broken off before.
    if [ -e "$WINEPREFIX/filling" ]; then
        "$WINESERVER" --kill >/dev/null 2>&1 || true
        rm -rf "$WINEPREFIX"
    fi
    if [ ! -e "$WINEPREFIX/system.reg" ]; then
        mkdir -p "$WINEPREFIX"
        touch "$WINEPREFIX/filling"
        "$wine" wineboot --init >/dev/null 2>&1 </dev/null
        "$WINESERVER" --wait
        rm "$WINEPREFIX/filling"
    fi
    # It outlives this script, and must not keep its output open. One that an earlier round has left
    # will do.
    "$WINESERVER" --persistent >/dev/null 2>&1 </dev/null || true
    "$wine" wineboot --init >/dev/null 2>&1 </dev/null
    # Windows can be made where no screen is.
    "$wine" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1 </dev/null
    # The desktop: the first program that needs it would start it, and it would keep that program's
    # output open until the last one has ended.
    "$wine" explorer /desktop >/dev/null 2>&1 </dev/null &
    exit 0
    ;;
--stop)
    "$WINESERVER" --kill || true
    exit 0
    ;;
esac

# A Windows search path: the root of this system is drive Z.
WINEPATH=
while [ "$1" != -- ]; do
    WINEPATH+="Z:${1//\//\\};"
    shift
done
export WINEPATH
shift
exec "$wine" "$@"
