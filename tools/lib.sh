# shellcheck shell=bash disable=SC2034 # the variables are for those who source this
# What the scripts beside this file share: packages, presets, displays. Sourced, never run.
# Each of them runs on a fresh Debian with nothing but a shell and the package manager.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

build_packages=(
    g++ cmake ninja-build
    qtbase5-dev qttools5-dev-tools qtwayland5
    libicu-dev libarchive-dev libzstd-dev
)
# A display, someone who presses keys on it, and other people's archive tools and locales.
test_packages=(
    xvfb libx11-dev xdotool imagemagick openbox
    libarchive-tools zip zstd lz4 xz-utils cpio p7zip-full
    locales procps
    desktop-file-utils appstream man-db
)
# The fuzzer is a part of clang.
fuzz_packages=(clang libclang-rt-14-dev)

# say LINE...
say() { printf '%s\n' "$@"; }

die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

# need_packages NAME...: installs those that are missing; does not touch the system where none is.
need_packages() {
    if ! command -v apt-get >/dev/null; then
        say "No apt-get here; taking for granted what these Debian packages hold: $*"
        return
    fi
    local missing=() name
    for name in "$@"; do
        # "ok installed": a package that was removed but not purged is still known to dpkg.
        dpkg-query --show --showformat '${Status}' "$name" 2>/dev/null | grep -q 'ok installed$' ||
            missing+=("$name")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    [ "$(id -u)" -eq 0 ] || command -v sudo >/dev/null ||
        die "not root and no sudo; please install: ${missing[*]}"
    say "Installing: ${missing[*]}"
    as_root apt-get -q update </dev/null
    as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get -q -y --no-install-recommends install "${missing[@]}" </dev/null
}

# configure PRESET: a build folder that is already there keeps its settings.
configure() {
    local cache=()
    if command -v ccache >/dev/null; then
        cache=(-D CMAKE_CXX_COMPILER_LAUNCHER=ccache)
        # Without these it keeps nothing that was compiled with the tests' precompiled header.
        export CCACHE_SLOPPINESS=pch_defines,time_macros
    fi
    (cd "$root" && cmake --preset "$1" "${cache[@]}")
}

# build PRESET [cmake --build arguments]
build() {
    (cd "$root" && cmake --build --preset "$@")
}

# display_answers: whether windows can be shown where the caller's environment says.
display_answers() {
    [ -n "${WAYLAND_DISPLAY:-}" ] && [ -S "${XDG_RUNTIME_DIR:-}/$WAYLAND_DISPLAY" ] && return 0
    [ -n "${DISPLAY:-}" ] || return 1
    # The socket of a local display; a remote one (host:0) is taken on trust.
    case $DISPLAY in
    :*)
        local number=${DISPLAY#:}
        [ -S "/tmp/.X11-unix/X${number%%.*}" ]
        ;;
    esac
}

# start_virtual_display FOLDER: sets DISPLAY to a new screen that nobody sees, on a free number, and
# virtual_display to the processes that the caller has to end.
start_virtual_display() {
    local pipe=$1/display number
    rm -f "$pipe"
    mkfifo "$pipe"
    # Without -noreset it starts afresh when its last client leaves, and drops who is just coming.
    Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp -noreset 3<>"$pipe" >/dev/null 2>&1 &
    virtual_display=$!
    read -r -t 30 number <>"$pipe" || die "no virtual display: Xvfb does not start"
    rm -f "$pipe"
    unset WAYLAND_DISPLAY
    export DISPLAY=:$number XDG_SESSION_TYPE=x11
}
