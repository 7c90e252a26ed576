#!/usr/bin/env bash
# Runs a command inside a private PipeWire server, and ends everything with it.
#
#   scripts/private-server.sh [--bare] [--own-network] COMMAND [ARGUMENT...]
#
# The server has two outputs, "Speakers" (the default) and "Headset", and one input,
# "Real microphone"; with --bare it has no endpoints at all. With --own-network the command has
# loopback addresses of its own, so that ports clash with nobody's; where the system does not allow
# that, it waits for its turn on the control port.
#
# All state stands in a private directory: XDG_RUNTIME_DIR, XDG_DATA_HOME, XDG_STATE_HOME,
# XDG_CONFIG_HOME, HOME and TMPDIR point there. The exit code is the command's own; 125 says that
# the server did not come up.
#
# For tests that kill and restart the server, PRIVATE_SERVER_DIR names the directory; the
# processes' IDs stand in its files pipewire.pid, wireplumber.pid and pipewire-pulse.pid, and
# "scripts/private-server.sh --start [bare]" and "--stop" run the daemons in that environment
# again. "--kill [DAEMON...]" kills all of them at once, or those that are named, without a word.
# PRIVATE_SERVER_KEEP=1 keeps the directory with the daemons' logs.
set -u

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
daemons=(pipewire-pulse wireplumber pipewire) # in the order of their end

start_daemon() { # NAME
    "$1" >>"$PRIVATE_SERVER_DIR/$1.log" 2>&1 </dev/null &
    echo $! >"$PRIVATE_SERVER_DIR/$1.pid"
    disown # one that a test kills is no news
}

is_gone() { # PID
    ! kill -0 "$1" 2>/dev/null
}

stop_daemon() { # NAME
    local file="$PRIVATE_SERVER_DIR/$1.pid" pid
    [ -f "$file" ] || return 0
    pid=$(cat "$file")
    rm -f "$file"
    kill "$pid" 2>/dev/null || return 0
    for _ in $(seq 50); do
        is_gone "$pid" && return 0
        sleep 0.1
    done
    kill -KILL "$pid" 2>/dev/null
}

kill_daemons() { # NAME...
    local name pid pids=()
    for name in "$@"; do
        pids+=("$(cat "$PRIVATE_SERVER_DIR/$name.pid")") || return 1
        rm -f "$PRIVATE_SERVER_DIR/$name.pid"
    done
    kill -KILL "${pids[@]}" || return 1
    for pid in "${pids[@]}"; do
        await is_gone "$pid" || return 1
    done
}

# await COMMAND...: tries it for at least thirty seconds.
await() {
    for _ in $(seq 600); do
        "$@" >/dev/null 2>&1 && return 0
        sleep 0.05
    done
    echo "private-server: gave up waiting for: $*" >&2
    return 1
}

has_endpoints() {
    pactl list short sinks | grep -q speakers && pactl list short sinks | grep -q headset &&
        pactl list short sources | grep -q real_microphone
}

start_server() { # bare|full
    start_daemon pipewire
    # Its socket stands before anybody answers there, and outlives a server that was killed; but
    # WirePlumber would end at once.
    await pw-cli info 0 || return 1
    start_daemon wireplumber
    start_daemon pipewire-pulse
    await pactl info || return 1
    [ "$1" = bare ] && return 0
    pactl load-module module-null-sink sink_name=speakers \
        sink_properties=device.description=Speakers >/dev/null || return 1
    pactl load-module module-null-sink sink_name=headset \
        sink_properties=device.description=Headset >/dev/null || return 1
    pactl load-module module-null-sink sink_name=real_microphone media.class=Audio/Source/Virtual \
        "sink_properties='device.description=\"Real microphone\"'" >/dev/null || return 1
    await has_endpoints || return 1
    await has_defaults
}

# Refused until WirePlumber is up, and forgotten if it has not read its own state by then: to be
# asked for until they stand.
has_defaults() {
    pactl set-default-sink speakers && pactl set-default-source real_microphone &&
        [ "$(pactl get-default-sink) $(pactl get-default-source)" = "speakers real_microphone" ]
}

# The machine's own devices, Bluetooth's among them, are not for a private server; and where no
# systemd-logind runs, WirePlumber would end for want of it.
configure_session_manager() {
    local folder=$XDG_CONFIG_HOME/wireplumber
    mkdir -p "$folder/main.lua.d" "$folder/bluetooth.lua.d"
    printf '%s_monitor.enabled = false\n' alsa v4l2 libcamera >"$folder/main.lua.d/51-no-devices.lua"
    printf '%s_monitor.enabled = false\n' bluez >"$folder/bluetooth.lua.d/51-no-devices.lua"
}

stop_server() {
    local name
    for name in "${daemons[@]}"; do
        stop_daemon "$name"
    done
}

inside() { # bare|full COMMAND...
    local kind=$1 code
    shift
    trap stop_server EXIT
    trap 'exit 129' HUP
    trap 'exit 130' INT
    trap 'exit 143' TERM
    if ! start_server "$kind"; then
        tail -v -n 20 "$PRIVATE_SERVER_DIR"/*.log >&2
        exit 125
    fi
    TMPDIR=$PRIVATE_SERVER_DIR/tmp "$@"
    code=$?
    exit $code
}

kind=full
case "${1:-}" in
--start)
    start_server "${2:-full}"
    exit
    ;;
--stop)
    stop_server
    exit
    ;;
--kill)
    shift
    [ $# -gt 0 ] || set -- "${daemons[@]}"
    kill_daemons "$@"
    exit
    ;;
--inside)
    shift
    inside "$@"
    ;;
esac
network=shared
while true; do
    case "${1:-}" in
    --bare) kind=bare ;;
    --own-network) network=own ;;
    *) break ;;
    esac
    shift
done
if [ $# -eq 0 ]; then
    sed -n '2,19s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" >&2
    exit 2
fi

isolate=()
if [ $network = own ]; then
    for options in --net "--map-root-user --net"; do
        # shellcheck disable=SC2086
        if unshare $options ip link set lo up 2>/dev/null; then
            isolate=(unshare $options sh -c 'ip link set lo up && exec "$@"' sh)
            break
        fi
    done
    if [ ${#isolate[@]} -eq 0 ]; then
        # The same lock as the tests take that use the machine's own loopback addresses; held until
        # the last process in here has ended.
        exec {turn}>/tmp/quorvane-port24925.lock
        flock "$turn"
    fi
fi

PRIVATE_SERVER_DIR=$(mktemp -d "${TMPDIR:-/tmp}/private-server-XXXXXX") || exit 125
export PRIVATE_SERVER_DIR
for folder in run data state config home tmp; do
    mkdir -m 700 "$PRIVATE_SERVER_DIR/$folder"
done
export XDG_RUNTIME_DIR=$PRIVATE_SERVER_DIR/run
export XDG_DATA_HOME=$PRIVATE_SERVER_DIR/data
export XDG_STATE_HOME=$PRIVATE_SERVER_DIR/state
export XDG_CONFIG_HOME=$PRIVATE_SERVER_DIR/config
export HOME=$PRIVATE_SERVER_DIR/home
unset DBUS_SESSION_BUS_ADDRESS PIPEWIRE_REMOTE PIPEWIRE_RUNTIME_DIR PULSE_SERVER PULSE_RUNTIME_PATH
configure_session_manager
# Ctrl-C reaches everybody here at once. What stands between this shell and the inner one does not
# end by it, so that the folder stays until the inner shell has ended the server.
trap '' HUP INT TERM
"${isolate[@]}" dbus-run-session -- env --default-signal=HUP,INT,TERM \
    "$here/private-server.sh" --inside "$kind" "$@"
code=$?
if [ "${PRIVATE_SERVER_KEEP:-0}" = 1 ]; then
    echo "private-server: kept $PRIVATE_SERVER_DIR" >&2
else
    rm -rf "$PRIVATE_SERVER_DIR"
fi
exit $code
