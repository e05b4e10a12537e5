# shellcheck shell=bash disable=SC2154 # bench/run sets what it shares
# File operations beside the system's commands. Sourced by bench/run.

why_chunk="The file is read and written in pieces of 8192 bytes, as the function promises, where \`cp\`
lets the kernel copy it whole; \`dd bs=8k\` in the same table does as the function does."
why_tree="Each file is read and written in pieces of 8192 bytes and synced before it is closed, as the
function promises; \`cp\` lets the kernel copy it whole and does not sync."

measure_file_operations() {
    title "FSRemove of $many files beside rm -rf"
    mkdir "$work/many"
    (cd "$work/many" && seq "$many" | xargs touch)
    compare --before "rm -rf $work/gone && cp -r $work/many $work/gone" \
        "rm -rf" "rm -rf $work/gone" FSRemove "$programs/file_work remove $work/gone"
    verdict "\`FSRemove\` of $many files beside \`rm -rf\`, CPU" "$(ratio FSRemove "rm -rf" cpu)" \
        "<=" 1.3 " ×"
    rm -rf "$work/many" "$work/gone"

    title "FSCopy of $large_megabytes MiB beside cp"
    head -c "${large_megabytes}M" /dev/urandom >"$work/large"
    compare --before "rm -f $work/copy" cp "cp --reflink=never $work/large $work/copy" \
        dd "dd if=$work/large of=$work/copy bs=8k" \
        FSCopy "$programs/file_work copy $work/large $work/copy"
    verdict "\`FSCopy\` of $large_megabytes MiB beside \`cp\`, CPU" "$(ratio FSCopy cp cpu)" \
        "<=" 1.3 " ×" "$why_chunk"
    verdict "the same beside \`dd bs=8k\`" "$(ratio FSCopy dd cpu)" "<=" 1.1 " ×" \
        "The toolkit's libraries, which the program with these functions loads, take 10 ms of it."
    rm -f "$work/large" "$work/copy"

    title "FSCopyPath of the client beside cp -r"
    compare --before "rm -rf $work/copy" "cp -r" "cp -r $work/client $work/copy" \
        FSCopyPath "$programs/file_work copy-tree $work/client $work/copy"
    verdict "\`FSCopyPath\` of $files files beside \`cp -r\`, CPU" \
        "$(ratio FSCopyPath "cp -r" cpu)" "<=" 1.3 " ×" "$why_tree"
    rm -rf "$work/copy"
}
