#!/usr/bin/env bash
# Starts the built Quorvane on the present sound server and shows its main job: a tone played
# into the Gaming speaker is heard where it is routed to. Stays until Ctrl-C.
#
#   scripts/show-main-job.sh yes|no       with "no", nothing is played or routed
#
# QUORVANE_BUILD names the build folder, which is build/release otherwise.
set -u
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=${QUORVANE_BUILD:-build/release}
gaming="tavori - Gaming"
channel="$gaming (tavori Virtual Audio Device)"
quorvane= tone= folder=$(mktemp -d "${TMPDIR:-/tmp}/quorvane-run-XXXXXX")

step() { printf '\n==> %s\n' "$*"; }
ctl() { "$build/quorvanectl" "$@"; }

end_tone() {
    kill "$tone" 2>/dev/null
    wait "$tone" 2>/dev/null
    tone=
}

finish() {
    trap - EXIT HUP INT TERM
    [ -z "$tone" ] || end_tone
    if [ -n "$quorvane" ] && kill -0 "$quorvane" 2>/dev/null; then
        ctl quit >/dev/null 2>&1 || kill "$quorvane"
        wait "$quorvane"
    fi
    rm -rf "$folder"
}
trap finish EXIT
trap 'echo; step "Ending"; finish; exit 0' HUP INT TERM

fail() {
    echo "run: $*" >&2
    exit 1
}

# node_of DESCRIPTION: the sink's name at the server.
node_of() {
    pactl -f json list sinks | python3 -c '
import json, sys
print(next((s["name"] for s in json.load(sys.stdin) if s["description"] == sys.argv[1]), ""))' "$1"
}

listen_to() { # OUTPUT
    printf '%-24s ' "$1"
    scripts/measure-level.py "$(node_of "$1")"
}

# A stream takes a moment to start.
await_sound() { # OUTPUT
    for _ in $(seq 20); do
        [ "$(scripts/measure-level.py "$(node_of "$1")")" = silence ] || return 0
    done
}

await_listening() {
    for _ in $(seq 300); do
        ctl outputs >/dev/null 2>&1 && return 0
        kill -0 "$quorvane" 2>/dev/null || return 1
        sleep 0.1
    done
    return 1
}

# Quorvane would take another port then, and the commands below would reach somebody else.
! ctl outputs >/dev/null 2>&1 || fail "port 24925 is taken: end the Quorvane that runs already"

step "Starting Quorvane"
"$build/Quorvane" &
quorvane=$!
await_listening || fail "Quorvane did not come up"
echo "It listens on port 24925; its log is the newest file in"
echo "${XDG_DATA_HOME:-$HOME/.local/share}/tavori/Quorvane/logs"

step "quorvanectl outputs"
ctl outputs

if [ "$1" = yes ]; then
    mapfile -t outputs < <(ctl --json outputs | python3 -c '
import json, sys
for device in json.load(sys.stdin)["outputDevice"]:
    if "(tavori Virtual Audio Device)" not in device["deviceName"]:
        print(device["deviceName"])')
    [ ${#outputs[@]} -gt 0 ] || fail "there is no output to route to"
    # With the private server: first Headset, then Speakers.
    readarray -t outputs < <(printf '%s\n' "${outputs[@]}" | sort | head -n 2)

    step "Playing a tone of 440 Hz into $gaming"
    sink=$(node_of "$channel")
    [ -n "$sink" ] || fail "the Gaming speaker is not there"
    scripts/make-tone.py 440 600 "$folder/tone.wav"
    paplay --device="$sink" "$folder/tone.wav" &
    tone=$!

    for target in "${outputs[@]}"; do
        step "quorvanectl route Gaming \"$target\""
        ctl route Gaming "$target" || fail "the route was refused"
        await_sound "$target"
        for output in "${outputs[@]}"; do
            listen_to "$output"
        done
    done
    end_tone
fi

step "Quorvane runs. Drive it with $build/quorvanectl; Ctrl-C ends it."
if [ -n "${PRIVATE_SERVER_DIR:-}" ]; then
    echo "To play into it from another terminal: export XDG_RUNTIME_DIR=$XDG_RUNTIME_DIR"
fi
wait "$quorvane"
