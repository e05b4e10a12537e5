# shellcheck shell=bash disable=SC2154 # bench/run sets what it shares
# How cost grows with the number of entries and with their bytes. Sourced by bench/run.

# grown_client ENTRIES BYTES: a client with so many files of so many bytes, half of which compress.
grown_client() {
    local grown=$work/grown
    rm -rf "$grown"
    mkdir -p "$grown/lib"
    cp -r "$work/client/bin" "$work/client/package" "$work/client/INFO" "$grown"
    head -c "$(($1 * $2 / 2))" /dev/urandom | (cd "$grown/lib" && split -a 5 -b "$(($2 / 2))" -)
    # 500 in a folder, as programs lay out many files.
    # shellcheck disable=SC2016 # the inner shell's words
    (cd "$grown/lib" && find . -type f -printf '%P\0' | sort -z |
        xargs -0 -n 500 sh -c 'mkdir "from-$1" && mv -t "from-$1" "$@"' sh)
    find "$grown/lib" -type f -exec truncate -s "$2" {} +
}

# grow LABEL ENTRIES BYTES TIMES: a line of the table and of $work/growth-LABEL; the unpacking is
# repeated within one run where it is short, and a run's start is taken off.
grow() {
    local archive=$work/grown.tar
    grown_client "$2" "$3"
    if [ "$1" = bytes ]; then
        package_of "$work/grown" "$archive"
    else
        bsdtar -C "$work/grown" -cf "$archive" .
    fi
    rm -rf "$work/grown"
    "$programs/compare" --rounds "$rounds" --values "$work/values" \
        --before "rm -rf $work/out && mkdir $work/out" \
        unpack "$programs/unpack $archive $work/out silent $4" >/dev/null
    rm -rf "$work/out" "$archive"
    local cost units=$2
    [ "$1" = entries ] || units=$((($2 * $3 + 524288) / 1048576))
    cost=$(calculate "($(value unpack cpu) - $empty) / $4")
    printf '%s\t%s\t%s\n' "$units" "$cost" "$(value unpack peak)" >>"$work/growth-$1"
    printf '| %s | %s | %s |\n' "$units" "$cost" "$(value unpack peak)" | tell
}

# The slope of the least squares' line through the logarithms.
exponent() {
    awk '{ x = log($1); y = log($2); ++n; sx += x; sy += y; sxx += x * x; sxy += x * y }
        END { printf "%.2f", (n * sxy - sx * sy) / (n * sxx - sx * sx) }' "$1"
}

# What a run costs before its first entry.
measure_empty() {
    mkdir -p "$work/nothing"
    bsdtar -C "$work/nothing" -cf "$work/nothing.tar" .
    "$programs/compare" --rounds $((3 * rounds)) --values "$work/values" \
        --before "rm -rf $work/out && mkdir $work/out" \
        empty "$programs/unpack $work/nothing.tar $work/out silent" >/dev/null
    empty=$(value empty cpu)
}

measure_growth() {
    local empty entries megabytes
    rm -f "$work"/growth-*
    measure_empty
    title "Growth: CPU of unpacking a tar by number of entries (1 KiB each)"
    printf '| entries | CPU ms | peak MiB |\n|---|---|---|\n' | tell
    for ((entries = 100; entries <= many; entries *= 10)); do
        grow entries "$entries" 1024 $((entries < 10000 ? 10000 / entries : 1))
    done
    verdict "growth by entries, 100 to $many" "$(exponent "$work/growth-entries")" "<=" 1.05 \
        " as exponent"
    title "Growth: CPU of unpacking the builder's usual package by size (100 files)"
    printf '| MiB | CPU ms | peak MiB |\n|---|---|---|\n' | tell
    for megabytes in "${sizes[@]}"; do
        grow bytes 100 $((megabytes * 1048576 / 100)) $((megabytes < 100 ? 100 / megabytes : 1))
    done
    verdict "growth by size, ${sizes[0]} to ${sizes[-1]} MiB" "$(exponent "$work/growth-bytes")" \
        "<=" 1.05 " as exponent"
    verdict_on_memory
    draw_growth
}

# Beyond the toolkit: beyond the program that only quits.
verdict_on_memory() {
    "$programs/compare" --rounds "$rounds" --values "$work/values" bare "$programs/bare" >/dev/null
    local smallest largest
    smallest=$(head -1 "$work/growth-bytes" | cut -f 3)
    largest=$(tail -1 "$work/growth-bytes" | cut -f 3)
    verdict "peak memory beyond Qt, ${sizes[-1]} MiB" \
        "$(calculate "$largest - $(value bare peak)" %.1f)" "<=" 32 " MiB"
    verdict "the same, more than with ${sizes[0]} MiB" \
        "$(calculate "$largest - $smallest" %.1f)" "<=" 1 " MiB" \
        "The window of the compression grows with the package up to a bound, then no more."
}

draw_growth() {
    awk -f "$root/bench/plot.awk" "$work/growth-entries" "$work/growth-bytes" \
        >"$root/bench/growth.svg"
    printf '\n![CPU by entries and by size, both logarithmic](growth.svg)\n' | tell
}
