# shellcheck shell=bash disable=SC2154 # bench/run sets what it shares
# Strings and log lines, by Google Benchmark. Sourced by bench/run.

# micro PROGRAM: $work/PROGRAM holds a line a benchmark: name, CPU ns, standard deviation in per
# cent, wall ns, label.
micro() {
    "$programs/$1" --benchmark_repetitions="$rounds" --benchmark_report_aggregates_only=true \
        --benchmark_enable_random_interleaving=true --benchmark_min_time=0.05 \
        --benchmark_format=csv 2>/dev/null |
        awk -F, '{ gsub("\"", ""); name = $1 }
            sub(/_median$/, "", name) { wall[name] = $3; cpu[name] = $4; label[name] = $8 }
            sub(/_stddev$/, "", name) { printf "%s\t%s\t%.0f\t%s\t%s\n", name, cpu[name],
                $4 * 100 / cpu[name], wall[name], label[name] }' >"$work/$1"
}

nanoseconds() {
    awk -F'\t' -v name="$2" '$1 == name { print $2 }' "$work/$1"
}

# pair PROGRAM WHAT BASE OURS LIMIT [WHY]: a row of the table, and the verdict.
pair() {
    local base ours spread
    base=$(nanoseconds "$1" "$3")
    ours=$(nanoseconds "$1" "$4")
    spread=$(awk -F'\t' -v name="$4" '$1 == name { printf "%.0f", $3 }' "$work/$1")
    printf '| %s | %.1f | %.1f | %s %% | %s |\n' "$2" "$base" "$ours" "$spread" \
        "$(calculate "$ours / $base")" | tell
    verdict "$2" "$(calculate "$ours / $base")" "<=" "$5" " ×" "${6:-}"
}

measure_log() {
    title "Log lines"
    micro log_bench
    printf '| what | ns beside | ns | spread | ratio |\n|---|---|---|---|---|\n' | tell
    pair log_bench "a log line that is written, beside \`strftime\`, \`fprintf\`, \`fflush\`" \
        written_by_hand written_by_logger 1.10 "$why_line"
    pair log_bench "a log line that is suppressed, beside spdlog's" \
        suppressed_by_spdlog suppressed_by_logger 2
    verdict "allocations of a suppressed line" \
        "$(awk -F'\t' '$1 == "suppressed_by_logger" { print $5 + 0 }' "$work/log_bench")" "<=" 0 ""
    local one eight
    one=$(awk -F'\t' '$1 ~ /threads:1$/ { print $4 }' "$work/log_bench")
    eight=$(awk -F'\t' '$1 ~ /threads:8$/ { print $4 }' "$work/log_bench")
    remark "One thread writes a line in $(calculate "$one" %.0f) ns of wall time, eight together in
$(calculate "$eight" %.0f) ns. The files lie in \`${TMPDIR:-/tmp}\`."
    verdict "lines of eight threads beside those of one in the same time" \
        "$(calculate "$one / $eight")" ">=" 0.8 " ×" "$why_threads"
}

why_line="What is above: the lock, two looks at the component's level, and rotation, which the other
file has none of."
why_threads="Each line is one write of the whole under one lock, in order: threads that wait for it
sleep and are woken, which a machine of few processors pays for."

measure_strings() {
    title "ustring beside std::string, its conversions beside ICU"
    micro ustring_bench
    printf '| what | ns beside | ns | spread | ratio |\n|---|---|---|---|---|\n' | tell
    local name
    for name in construct copy append compare find; do
        pair ustring_bench "\`ustring\`: $name" "$name<std::string>" "$name<ustring>" 2 "$why_string"
    done
    pair ustring_bench "\`ustring\`: UTF-8 to UTF-16 beside ICU" convert_icu convert_ustring 1.1
    pair ustring_bench "\`ustring\`: normalisation beside ICU" normalize_icu normalize_ustring 1.1 \
        "$why_normal"
}

why_string="A \`ustring\` has two buffers from the start, four units each at least, and grows each to
the exact size; \`std::string\` has one, and doubles it."
why_normal="The result has its UTF-8 and its UTF-16 buffer, where the direct call makes one of each
only as long as it needs it."
