#!/usr/bin/env bash
# Builds Quorvane, starts it, and shows its main job. Ends with Ctrl-C, leaving nothing running.
#
#   ./run.sh [--demo]
#
# Where a PipeWire desktop runs, Quorvane joins it, and a tone is played only with --demo.
# Elsewhere a private server with two outputs and a microphone is started for the occasion.
# Where QUORVANE_BUILD names a folder with built programs, those run, and nothing is installed.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

demo=no
case "${1:-}" in
'') ;;
--demo) demo=yes ;;
*)
    sed -n '2,8s/^# \{0,1\}//p' "$0" >&2
    exit 2
    ;;
esac

step() { printf '\n==> %s\n' "$*"; }

build() {
    scripts/setup.sh build run
    step "Building Quorvane"
    export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
    # The tests need packages of their own, which are not for somebody who only wants to hear it.
    cmake --preset release -DBUILD_TESTING=OFF >/dev/null
    cmake --build --preset release --parallel "$(nproc)" --target Quorvane quorvanectl
}

# PulseAudio answers there too, which cannot carry the virtual speakers.
has_pipewire() {
    [[ $(LC_ALL=C pactl info 2>/dev/null) == *"Server Name: "*"(on PipeWire "* ]]
}

[ -n "${QUORVANE_BUILD:-}" ] || build
export QUORVANE_BUILD=${QUORVANE_BUILD:-$PWD/build/release}

if has_pipewire; then
    step "Using the PipeWire server of this desktop"
    exec scripts/show-main-job.sh "$demo"
fi
step "No PipeWire server runs here: starting a private one"
exec scripts/private-server.sh scripts/show-main-job.sh yes
