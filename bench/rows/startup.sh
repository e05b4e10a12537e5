# shellcheck shell=bash disable=SC2154 # bench/run sets what it shares
# Starts with nothing to do. Sourced by bench/run.

# The installation and the user's copy have the same build number.
nothing_to_do() {
    local copy=$HOME/.AldaneTessel/AldaneTessel.app
    mkdir -p "${copy%/*}"
    client "$copy" 1 3
    cp "$copy/INFO" "$installation/INFO"
    bare=$programs/bare
    floor="$programs/floor $installation/lib/plugins"
    floor+=" $installation/images/ico_72_skylark.png $copy/package/start-stop"
    launcher=$installation/bin/launcher
}

# Prints the instructions of a command.
instructions() {
    # shellcheck disable=SC2086 # a command and its words
    valgrind --tool=callgrind --callgrind-out-file="$work/callgrind" $1 2>&1 >/dev/null |
        sed -n 's/.*Collected : //p'
}

# The instructions of the last command that lie in its own executable file, not in a library.
own_instructions() {
    callgrind_annotate --threshold=100 "$work/callgrind" |
        awk -v own="[$1]" 'substr($0, length - length(own) + 1) == own {
            gsub(",", "", $1); sum += $1 } END { print sum + 0 }'
}

measure_startup() {
    nothing_to_do
    local rounds=$((3 * rounds)) # they are short
    title "Start with nothing to do"
    printf '%s\n\n' "\`floor\` builds the same hidden dialog, runs the same script and ends;
\`bare\` only ends." | tell
    compare bare "$bare" floor "$floor" launcher "$launcher"
    verdict "start with nothing to do beside the toolkit's floor, CPU" \
        "$(ratio launcher floor cpu)" "<=" 1.10 " ×"
    verdict "the same, wall" "$(ratio launcher floor wall)" "<=" 1.10 " ×" \
        "The launcher has a second thread to wait for, which a busy machine lets wait; see ±."
    verdict "the same beside a bare program, CPU" "$(ratio launcher bare cpu)" "<=" 1.6 " ×" \
        "Nearly all of it is the toolkit's own dialog, see the floor."
    verdict "the same beside a bare program, peak memory" \
        "$(calculate "$(value launcher peak) - $(value bare peak)" %.1f)" "<=" 8 " MiB more"
    measure_instructions
}

measure_instructions() {
    title "The same, instructions (callgrind)"
    printf '| program | instructions | of them own | |\n|---|---|---|---|\n' | tell
    local name all own
    for name in bare floor launcher; do
        all=$(instructions "${!name}")
        own=$(own_instructions "$(printf '%s' "${!name}" | awk '{ print $1; exit }')")
        printf '| %s | %s | %s | %s %% |\n' "$name" "$all" "$own" \
            "$(calculate "$own * 100 / $all" %.3f)" | tell
    done
    verdict "the launcher's own instructions in that" \
        "$(calculate "$own * 100 / $all" %.3f)" "<=" 3 " %"
}
