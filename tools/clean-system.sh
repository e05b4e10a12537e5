# shellcheck shell=bash
# A minimal Debian in a folder, for the scripts that prove what a fresh machine needs. Sourced after
# lib.sh, never run; needs root.

# make_clean_system FOLDER: takes the packages from where this machine takes its own.
make_clean_system() {
    local folder=$1 mirror
    [ "$(id -u)" -eq 0 ] || die "needs root"
    need_packages debootstrap git
    say "== A minimal Debian in $folder"
    rm -rf "$folder"
    mkdir -p "$folder"
    # shellcheck disable=SC2016 # apt-get's own variable
    mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Origin: Debian' 'Codename: bookworm' |
        head -n 1)
    debootstrap --variant=minbase bookworm "$folder" "$mirror" >"$folder.log"
    apt-config dump | grep -i '^Acquire::.*proxy' >"$folder/etc/apt/apt.conf.d/proxy" || true
}

# inside FOLDER COMMAND...: a root, mounts and processes of its own: what is mounted or started in
# there ends with it. A bare chroot would not do, since tests that mount something need a root that is
# a mount itself.
inside() {
    # shellcheck disable=SC2016 # its own arguments
    unshare --mount --pid --fork --kill-child sh -ec '
        mount --bind "$0" "$0"
        cd "$0"
        mount -t proc proc proc
        mount -t tmpfs tmpfs dev/shm
        mkdir -p dev/pts && mount -t devpts devpts dev/pts
        pivot_root . mnt
        exec chroot . sh -ec "umount -l /mnt; exec \"\$@\"" sh \
            env -i PATH="$PATH" HOME=/root DEBIAN_FRONTEND=noninteractive "$@"' "$@" </dev/null
}
