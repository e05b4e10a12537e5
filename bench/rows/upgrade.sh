# shellcheck shell=bash disable=SC2154 # bench/run sets what it shares
# Unpacking, as an upgrade does it. Sourced by bench/run.

measure_unpacking() {
    (cd "$work/client" && bsdtar -cf "$work/client.tar" ./* && zip -qr "$work/client.zip" .)
    local format
    for format in tar zip; do
        title "Unpack $megabytes MiB, $files files, $format: count included"
        compare --before "rm -rf $work/out && mkdir $work/out" \
            bsdtar "bsdtar -xf $work/client.$format -C $work/out" \
            silent "$programs/unpack $work/client.$format $work/out silent" \
            "with progress" "$programs/unpack $work/client.$format $work/out"
        verdict "unpack $megabytes MiB, $files files, $format, beside \`bsdtar -xf\`, CPU" \
            "$(ratio silent bsdtar cpu)" "<=" 1.05 " ×" "$why_unpack"
        verdict "the same with progress beside the adapter silenced, CPU" \
            "$(ratio "with progress" silent cpu)" "<=" 1.02 " ×" "$why_progress"
    done
    measure_pictures
    rm -rf "$work/out" "$work/client.tar" "$work/client.zip"
}

why_unpack="The start of the toolkit, 20 ms, is in the figure of this program; bsdtar has none."
why_progress="Each of the entries is a queued call, as it has to be, and the bar is painted 30 times
a second; the rest is noise, see ±."

# A package of one entry repeated: how many pictures are painted while the value changes.
measure_pictures() {
    local painted milliseconds
    rm -rf "$work/out"
    read -r painted milliseconds < \
        <("$programs/unpack" "$work/client.tar" "$work/out" listening 5)
    remark "Five times with progress: $painted pictures of the bar in $milliseconds ms."
    verdict "pictures of the bar" "$(calculate "$painted * 1000 / $milliseconds" %.0f)" \
        "<=" 60 " in a second"
}

# Shared libraries of this machine, $1 MiB of them: what real clients are made of.
real_client() {
    local total=0 size name
    mkdir -p "$work/real/bin" "$work/real/package" "$work/real/lib"
    cp "$work/client/bin/"* "$work/real/bin"
    cp "$work/client/package/"* "$work/real/package"
    cp "$work/client/INFO" "$work/real"
    while read -r size name && [ "$total" -lt $(($1 * 1048576)) ]; do
        cp "$name" "$work/real/lib"
        total=$((total + size))
    done < <(find /usr/lib/*-linux-gnu -maxdepth 1 -type f -name '*.so*' -size -16M \
        -printf '%s %p\n' | sort -k 2)
}

# pack FORMAT: $work/packages/FORMAT
pack() {
    local file=$work/packages/$1
    case $1 in
    tar.zst-*) package_of "$work/real" "$file" --level "${1##*-}" ;;
    tar.gz) bsdtar -C "$work/real" -czf "$file" . ;;
    tar.xz) bsdtar -C "$work/real" -cJf "$file" . ;;
    tar.lz4) bsdtar -C "$work/real" --lz4 -cf "$file" . ;;
    7z) bsdtar -C "$work/real" --format 7zip -cf "$file" . ;;
    *) package_of "$work/real" "$file" --format "$1" ;;
    esac
}

# package_of CLIENT FILE [OPTION...]: by the builder of packages.
package_of() {
    local client=$1 file=$2
    shift 2
    mkdir -p "$work/root/bin" "$work/root/package"
    "$installation/bin/tessel-package" build "$@" "$client" "$work/root" >/dev/null
    mv "$work/root/package/skylark.tpx" "$file"
    rm -rf "$work/root"
}

formats=(tar tar.gz tar.xz tar.zst-3 tar.zst-9 tar.zst-19 tar.lz4 zip 7z)

measure_formats() {
    local usual=tar.zst-9 name command count=() unpack=()
    mkdir -p "$work/packages"
    real_client "$real_megabytes"
    for name in "${formats[@]}"; do
        printf 'packing %s\n' "$name"
        pack "$name"
        command="$programs/unpack $work/packages/$name $work/out"
        count+=("$name" "$command count")
        unpack+=("$name" "$command silent")
    done
    "$programs/compare" --rounds "$rounds" --values "$work/counted" "${count[@]}" >/dev/null
    title "Formats of a package: $real_megabytes MiB of shared libraries"
    compare --before "rm -rf $work/out && mkdir $work/out" "${unpack[@]}"
    formats_table "$usual"
    rm -rf "$work/packages" "$work/real" "$work/out"
}

# Bytes, count and unpacking, and which formats are both smaller and faster than the usual one.
formats_table() {
    local name table=$work/formats
    for name in "${formats[@]}"; do
        printf '%s\t%s\t%s\t%s\n' "$name" "$(stat -c %s "$work/packages/$name")" \
            "$(value "$name" cpu "$work/counted")" \
            "$(value "$name" cpu)"
    done >"$table"
    remark "Unpacking has the count in it. The builder makes \`$1\` unless it is told otherwise."
    printf '\n| format | MiB | CPU ms to count | CPU ms to unpack | beside %s |\n' "$1" | tell
    printf '|---|---|---|---|---|\n' | tell
    awk -F'\t' -v usual="$1" 'NR == FNR { if ($1 == usual) { bytes = $2; cpu = $4 } next } {
        word = ($2 < bytes ? "smaller" : "larger") ", " ($4 < cpu ? "faster" : "slower")
        printf "| %s | %.1f | %.0f | %.0f | %s |\n", $1, $2 / 1048576, $3, $4,
            $1 == usual ? "" : word }' "$table" "$table" | tell
    verdict "formats that are both smaller and faster than the builder's usual $1" \
        "$(awk '/smaller, faster/ { ++n } END { print n + 0 }' "$sections")" "<=" 0 ""
}
