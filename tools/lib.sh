# shellcheck shell=bash disable=SC2034 # the variables are for those who source this
# What the scripts beside this file share: packages, presets, displays. Sourced, never run.
# Each of them runs on a fresh Debian with nothing but a shell and the package manager.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

build_packages=(
    g++ cmake ninja-build
    qtbase5-dev qttools5-dev qttools5-dev-tools qtwayland5
    libicu-dev libarchive-dev
)
# A display, someone who presses keys on it, and other people's archive tools and locales.
test_packages=(
    xvfb xdotool imagemagick openbox
    libarchive-tools zip zstd lz4 xz-utils cpio p7zip-full
    locales procps
)

say() { printf '%s\n' "$*"; }

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
    local launcher=()
    if command -v ccache >/dev/null; then
        launcher=(-D CMAKE_CXX_COMPILER_LAUNCHER=ccache)
    fi
    (cd "$root" && cmake --preset "$1" "${launcher[@]}")
}

# build PRESET [cmake --build arguments]
build() {
    (cd "$root" && cmake --build --preset "$@")
}
