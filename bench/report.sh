# shellcheck shell=bash disable=SC2154 # bench/run sets what it shares
# How the sections of results.md are written. Sourced by bench/run, which sets work, programs and
# rounds.

sections=$work/sections.md
verdicts=$work/verdicts.md

# A line on the terminal and in the report.
tell() { tee -a "$sections"; }

title() {
    printf '\n## %s\n\n' "$1" | tell
}

remark() {
    printf '\n%s\n' "$1" | tell
}

# compare [OPTION...] NAME COMMAND...: a table; the values are there for value and ratio.
compare() {
    "$programs/compare" --rounds "$rounds" --values "$work/values" "$@" | tell
}

# Columns of a file with values; in one with strings or log lines, the first two are nanoseconds.
declare -A field=([cpu]=2 [wall]=3 [peak]=4)

# median FORMAT: of the numbers on standard input.
median() {
    sort -g | awk -v format="$1" '{ v[NR] = $1 } END { printf format, v[int(NR / 2) + 1] }'
}

# value NAME cpu|wall|peak [FILE]: the median, of the last compare where no file is named.
value() {
    awk -F'\t' -v name="$1" -v field="${field[$2]}" '$1 == name { print $field }' \
        "${3:-$work/values}" | median %.6g
}

calculate() {
    awk -v format="${2:-%.2f}" "BEGIN { printf format, $1 }"
}

# ratio NAME BASE cpu|wall [FILE]: the median of the ratios of each round.
ratio() {
    awk -F'\t' -v name="$1" -v base="$2" -v field="${field[$3]}" '
        $1 == name { ours[++n] = $field }
        $1 == base { theirs[++m] = $field }
        END { for (i = 1; i <= n; ++i) print ours[i] / theirs[i] }' "${4:-$work/values}" |
        median %.2f
}

# verdict WHAT FIGURE "<=" LIMIT UNIT [WHY, where it is not met]
verdict() {
    local word=met why=${6:-}
    awk "BEGIN { exit !($2 $3 $4) }" || word="**not met.** ${why//$'\n'/ }"
    printf '| %s | %s%s | %s %s%s | %s |\n' "$1" "$2" "$5" "${3/=/}" "$4" "$5" "$word" |
        sed 's/| < /| ≤ /; s/| > /| ≥ /' >>"$verdicts"
}

machine() {
    printf '%s, %s processors, %s MiB, Linux %s, load %s before.\n' \
        "$(sed -n 's/^model name.*: //p' /proc/cpuinfo | head -1)" "$(nproc)" \
        "$(($(awk '/MemTotal/ { print $2 }' /proc/meminfo) / 1024))" "$(uname -r)" "$load"
}

# assemble FILE
assemble() {
    {
        printf '# Measured\n\nMade by bench/run%s on %s; %s\n' "$arguments" "$(date -u +%F)" \
            "$(machine)"
        printf 'Medians of %s rounds after one to warm up, all contenders of a table interleaved; ' \
            "$rounds"
        printf 'a ratio is the median of those of each round, ± is half the range between the '
        printf 'quartiles. Work lies on tmpfs.\n\n'
        printf '| what | measured | to reach | |\n|---|---|---|---|\n'
        cat "$verdicts" "$sections"
        printf '\n'
        cat "$root/bench/tried.md"
    } >"$1"
}
