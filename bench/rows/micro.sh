# shellcheck shell=bash disable=SC2154 # bench/run sets what it shares
# Strings and log lines, by Google Benchmark. Sourced by bench/run.

# micro PROGRAM: $work/PROGRAM gets a line for each benchmark and round: name, CPU ns, wall ns, label.
micro() {
    local round rounds=$((3 * rounds)) # they are short
    for ((round = -1; round < rounds; ++round)); do # the first warms up
        TMPDIR=$work "$programs/$1" --benchmark_min_time=0.05 --benchmark_format=csv 2>/dev/null |
            awk -F, -v round="$round" 'round >= 0 && $3 > 0 { gsub("\"", "")
                printf "%s\t%s\t%s\t%s\n", $1, $4, $3, $8 }'
    done >"$work/$1"
}

# spread FILE NAME: half of the range between the quartiles, in per cent of the median.
spread() {
    awk -F'\t' -v name="$2" '$1 == name { print $2 }' "$1" | sort -g | awk '{ v[NR - 1] = $1 }
        END { printf "%.0f", (v[int(NR * 3 / 4)] - v[int(NR / 4)]) * 50 / v[int(NR / 2)] }'
}

# pair PROGRAM WHAT BASE OURS LIMIT [WHY]: a row of the table, and the verdict.
pair() {
    local file=$work/$1 figure
    figure=$(ratio "$4" "$3" cpu "$file")
    printf '| %s | %.1f | %.1f | %s %% | %s |\n' "$2" "$(value "$3" cpu "$file")" \
        "$(value "$4" cpu "$file")" "$(spread "$file" "$4")" "$figure" | tell
    verdict "$2" "$figure" "<=" "$5" " ×" "${6:-}"
}

measure_log() {
    title "Log lines"
    micro log_bench
    printf '| what | ns beside | ns | ± | ratio |\n|---|---|---|---|---|\n' | tell
    pair log_bench "a log line that is written, beside \`strftime\`, \`fprintf\`, \`fflush\`" \
        written_by_hand written_by_logger 1.10 "$why_line"
    pair log_bench "a log line that is suppressed, beside spdlog's" \
        suppressed_by_spdlog suppressed_by_logger 2
    verdict "allocations of a suppressed line" \
        "$(awk -F'\t' '$1 == "suppressed_by_logger" { sum += $4 } END { print sum + 0 }' \
            "$work/log_bench")" "<=" 0 ""
    local one eight threads=written_by_threads/real_time/threads
    one=$(value "$threads:1" wall "$work/log_bench")
    eight=$(value "$threads:8" wall "$work/log_bench")
    remark "One thread writes a line in $(calculate "$one" %.0f) ns of wall time, eight together in
$(calculate "$eight" %.0f) ns."
    verdict "lines of eight threads beside those of one in the same time" \
        "$(ratio "$threads:1" "$threads:8" wall "$work/log_bench")" ">=" 0.8 " ×" "$why_threads"
}

why_line="What is above: the lock, two looks at the component's level, and rotation, which the other
file has none of."
why_threads="Each line is one write of the whole under one lock, in order: threads that wait for it
sleep and are woken, which a machine of few processors pays for."

measure_strings() {
    title "ustring beside std::string, its conversions beside ICU"
    micro ustring_bench
    printf '| what | ns beside | ns | ± | ratio |\n|---|---|---|---|---|\n' | tell
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
