#!/usr/bin/env bash
# Runs every command of the fenced blocks in README.md and docs/*.md, so
# that a command or a shown output the tools no longer match fails CI.
#
# How the documents mark their blocks (the first line of the fence):
#   ```sh       every line is a command (a line ending in "\" goes on);
#               lines that are only a comment are passed over
#   ```console  lines starting with "$ " are commands; the other lines are
#               their output, and each must appear as a line of what the
#               commands print (white space at the ends aside)
#   ```text, ```cmake, ```yaml, ... anything else is not run
# A fence without a type fails: every block must say what it is.
# At the end of a command, a comment may hold
#   [exit N]            the exit status the command gives (0 otherwise)
#   [not in CI: why]    the command is not run here, for the reason given
# The commands of one block run one after the other in one shell, from the
# top of the checkout, with the build's programs (build/default) first on
# PATH. Files a command leaves in the checkout that git does not know and
# does not ignore are removed at the end.
#
#   bash tests/docs/run-doc-commands.sh [FILE.md ...]
set -uo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$root"
[ $# -gt 0 ] || set -- README.md docs/*.md

bin=$root/build/default
export PATH="$bin/driver:$bin/tools/check:$bin/tools/datagen:$bin/tools/score:$bin/tools/tune:$bin/tools/import:$bin/tools/run:$bin/tools/compare:$bin/tools/report:$PATH"
work=$(mktemp -d)
before=$work/untracked-before
git ls-files --others --exclude-standard | sort >"$before"

# One shell script per block: each command, then a check of its status.
# Numbers the blocks on from $2; prints "NUMBER FILE:LINE" of each block.
extract() {
    awk -v file="$1" -v dir="$work" -v blocks="$2" -v root="$root" '
    function flush_command() {
        if (command == "") return
        status = 0; skip = ""
        if (match(command, /\[exit [0-9]+\]/)) status = substr(command, RSTART + 6, RLENGTH - 7) + 0
        if (match(command, /\[not in CI: [^]]*\]/)) skip = substr(command, RSTART + 12, RLENGTH - 13)
        if (skip != "") {
            printf "echo \"%s:%d: not in CI (%s)\"\n", file, commandLine, skip >> script
        } else {
            printf "cat <<\047__DOC_COMMAND__\047\n$ %s\n__DOC_COMMAND__\n", command >> script
            printf "%s\n", command >> script
            printf "rc=$?; [ $rc -eq %d ] || { echo \"%s:%d: exit status $rc, the document says %d\"; failed=1; }\n", status, file, commandLine, status >> script
            ran++
        }
        command = ""
    }
    /^```/ {
        if (!inBlock) {
            inBlock = 1; type = substr($0, 4); sub(/[ \t].*/, "", type); start = NR
            if (type == "") { printf "%s:%d: fenced block without a type (sh, console, text, ...)\n", file, NR > "/dev/stderr"; bad = 1 }
            if (type == "sh" || type == "console") {
                script = sprintf("%s/block-%05d.sh", dir, ++blocks)
                printf "cd \"%s\"\nfailed=0\n", root > script
                expected = sprintf("%s/block-%05d.expected", dir, blocks)
                printf "" > expected
                print blocks, file ":" NR
            }
            next
        }
        flush_command(); inBlock = 0; type = ""; next
    }
    !inBlock { next }
    type == "sh" {
        if (command == "" && $0 ~ /^[ \t]*(#|$)/) next
        if (command == "") commandLine = NR
        line = $0
        if (line ~ /\\$/) { command = command line "\n"; next }
        command = command line; flush_command(); next
    }
    type == "console" {
        if ($0 ~ /^\$ /) { flush_command(); commandLine = NR; command = substr($0, 3); flush_command() }
        else if ($0 !~ /^[ \t]*$/) print $0 >> expected
        next
    }
    END { if (bad) exit 1 }' "$1"
}

failures=0 blocks=0
for doc in "$@"; do
    first=$blocks
    if ! extract "$doc" "$first" >"$work/places" 2>"$work/errors"; then
        cat "$work/errors"
        failures=$((failures + 1))
    fi
    while read -r number place; do
        blocks=$number
        script=$(printf '%s/block-%05d.sh' "$work" "$number")
        expected=${script%.sh}.expected
        echo "== $place"
        printf 'exit $failed\n' >>"$script"
        bash "$script" >"$work/output" 2>&1 </dev/null
        rc=$?
        sed 's/^/   /' "$work/output" | tail -n 40
        [ $rc = 0 ] || { echo "$place: a command failed"; failures=$((failures + 1)); }
        # Shown output: every line must be among the lines printed.
        while IFS= read -r shown; do
            trimmed=$(sed 's/^[[:space:]]*//; s/[[:space:]]*$//' <<<"$shown")
            if ! sed 's/^[[:space:]]*//; s/[[:space:]]*$//' "$work/output" | grep -qxF -- "$trimmed"; then
                echo "$place: the document shows a line the commands do not print: $shown"
                failures=$((failures + 1))
            fi
        done <"$expected"
    done <"$work/places"
done

# Files the commands left in the checkout.
git ls-files --others --exclude-standard | sort | comm -13 "$before" - | while IFS= read -r f; do
    rm -f -- "$f"
done
rm -rf "$work"
echo "documentation commands: $blocks blocks, $failures failures"
[ $failures = 0 ]
