#!/usr/bin/env bash
# Builds and runs every check: unit and system tests, both sanitizers, a short fuzz run, the
# compile check for Windows, and the style of the sources. Can be run again at no cost.
#
#   ./test.sh [CHECK...]     with CHECK one of: release asan tsan windows wine style tidy
#
# Without a word, all but tidy; and wine only where its Qt for Windows is there, or where CI is set:
# to build one takes about twenty minutes, once.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"


# The tests whose subjects have threads of their own. What Qt does inside itself, where the thread
# sanitizer does not see it, looks like a race: those stay out that wait for a child process (but
# the message handler's, whose subject is the child), for a QWaitCondition (HID), or for a blocking
# call into another thread (the speakers' outputs).
threaded='tst_(renderloop|playeropening|playerfaults|microphone|speaker(gains|lifetime|recording|thread)'
threaded+='|systemsoundmonitor'
threaded+='|audiodevice|audioendpoint|logger|messagehandler|framering|queuedcallloop|dispatcher'
threaded+='|controller_(life|memory)'
threaded+='|audiosession|deviceaudiosession|sessionload|approut|link_commands'
threaded+='|memorycheck|tasiprepare|crashannouncer|signalstack|workingset'
threaded+='|endpointmodel|sessionmodel|streammoves|socketwatch|card|lines|serverloss|streams)'

# Compilations are shared between clones, wherever they stand.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1

step() { printf '\n==> %s\n' "$*"; }

build() { # PRESET [TARGET...]
    local preset=$1
    shift
    step "Building: $preset"
    cmake --preset "$preset"
    cmake --build --preset "$preset" --parallel "$(nproc)" ${1:+--target "$@"}
}

# The programs of the unit tests that a round runs: a unit test is called after its program.
unit_tests() { # PRESET REGEX
    cmake --preset "$1" >/dev/null
    ctest --test-dir "build/$1" --show-only --label-exclude system --tests-regex "$2" |
        sed -n 's/^ *Test *#[0-9]*: unit\.//p'
}

tests() { # PRESET [CTEST ARGUMENT...]
    local preset=$1 reports=$PWD/build/$1/reports output=build/$1/tests.log
    shift
    step "Testing: $preset"
    rm -rf "$reports"
    mkdir -p "$reports"
    # What sounds and when depends on a machine that others use too: a test that fails is tried
    # again, and CTest tells of it. A sanitizer's report is no matter of luck: one fails the round.
    local options=log_path=$reports/report code=0
    ASAN_OPTIONS=$options TSAN_OPTIONS=$options UBSAN_OPTIONS=$options:print_stacktrace=1 \
        ctest --test-dir "build/$preset" --output-on-failure --parallel 2 --repeat until-pass:3 \
        "$@" | tee "$output" || code=$?
    # GCC's undefined behaviour sanitizer beside another one keeps to the standard error output.
    grep ': runtime error: ' "$output" >"$reports/undefined" || rm "$reports/undefined"
    if compgen -G "$reports/*" >/dev/null; then
        cat "$reports"/*
        step "A sanitizer has reported something"
        code=1
    fi
    return "$code"
}

scripts/setup.sh build run test

checks=("$@")
if [ ${#checks[@]} -eq 0 ]; then
    checks=(release asan tsan windows style)
    if [ -n "${CI:-}" ] || [ -d "$(scripts/windows/build-qt.sh --folder)" ]; then
        checks+=(wine)
    else
        echo "test.sh: leaving out the tests under Wine; './test.sh wine' runs them"
    fi
fi

# What the first round under Wine has to build is built beside the checks before it: while they
# wait, as most tests do. Its processes have idle priority; and the kernel must be told the same of
# their session, or it may share the processors out by halves between that and this one.
windows_setup=
end_windows_setup() {
    # It becomes a group of its own only after a moment.
    [ -z "$windows_setup" ] || kill -- "-$windows_setup" || kill "$windows_setup" || true
} 2>/dev/null
if [[ "${checks[*]}" == *" wine" && ! -d $(scripts/windows/build-qt.sh --folder) ]]; then
    mkdir -p build
    step "Beginning with Qt for Windows beside what follows: build/windows-setup.log"
    setsid chrt --idle 0 bash -c '{ echo 19 >/proc/self/autogroup; } 2>/dev/null || true
        exec scripts/setup.sh windows' >build/windows-setup.log 2>&1 &
    windows_setup=$!
    trap end_windows_setup EXIT
fi

for check in "${checks[@]}"; do
    case $check in
    release)
        build release
        tests release
        ;;
    asan)
        build asan
        # The system tests measure sound, which the sanitizers are too slow for; the storm is made
        # for them.
        tests asan --label-exclude system
        ;;
    tsan)
        mapfile -t programs < <(unit_tests tsan "$threaded")
        build tsan "${programs[@]}" Quorvane
        tests tsan --label-exclude system --tests-regex "$threaded|^storm\$"
        ;;
    windows) build windows-check ;;
    wine)
        # The unit tests as Windows programs, and real sound from them. Builds a Qt for them, which
        # takes its time, once. What failed beside the other checks is tried again, and tells why.
        [ -z "$windows_setup" ] || wait "$windows_setup" || true
        windows_setup=
        scripts/setup.sh windows
        build windows-tests
        tests windows-tests
        ;;
    style)
        step "Checking the sources' style"
        scripts/check-style.sh
        ;;
    tidy)
        build release
        step "Linting the sources"
        scripts/check-style.sh --tidy
        ;;
    *)
        echo "test.sh: unknown check '$check'" >&2
        exit 2
        ;;
    esac
done
step "All checks passed: ${checks[*]}"
