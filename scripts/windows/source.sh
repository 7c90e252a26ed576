# Sourced by the scripts beside it: where what is built for Windows stands, and Debian's sources of
# the very versions that this machine has installed.
cache=${XDG_CACHE_HOME:-$HOME/.cache}/quorvane
host=x86_64-w64-mingw32
compiler_version=$("$host-gcc-posix" -dumpfullversion 2>/dev/null || echo unknown)

# source_of PACKAGE: the source package of an installed one, as NAME=VERSION.
source_of() {
    dpkg-query -W -f '${source:Package}=${source:Version}' "$1"
}

# fetch_source PACKAGE FOLDER: unpacks its source there, with Debian's patches. apt is given lists of
# its own: the machine's stay as they are.
fetch_source() {
    local work=$2.apt source
    source=$(source_of "$1")
    echo "==> Fetching the source package ${source/=/ }"
    rm -rf "$work" "$2"
    mkdir -p "$work/lists/partial" "$work/cache/archives/partial" "$work/tree"
    # From where the package itself comes.
    apt-cache policy "$1" |
        sed -n 's|^ *[0-9-]* \(https\{0,1\}://[^ ]*\) \([^ ]*\)/\([^ /]*\) .* Packages$|deb-src \1 \2 \3|p' |
        sort -u >"$work/sources.list"
    local apt=(apt-get -qq
        -o "Dir::Etc::SourceList=$work/sources.list" -o Dir::Etc::SourceParts=/dev/null
        -o "Dir::State::Lists=$work/lists" -o "Dir::Cache=$work/cache"
        -o "APT::Sandbox::User=$(id -un)")
    "${apt[@]}" update
    (cd "$work/tree" && "${apt[@]}" source "$source" >"$work/log" 2>&1) || {
        cat "$work/log" >&2
        return 1
    }
    mv "$work/tree"/*/ "$2"
    rm -rf "$work"
}

# once FOLDER MAKE: has the function MAKE fill FOLDER.making, and moves that to FOLDER when it is
# whole; nothing if FOLDER is there. Two builds at the same time take turns.
once() {
    [ ! -d "$1" ] || return 0
    mkdir -p "$(dirname "$1")"
    exec 9>"$1.lock"
    flock 9
    [ ! -d "$1" ] || return 0
    rm -rf "$1.making"
    "$2" "$1.making"
    mv "$1.making" "$1"
}
