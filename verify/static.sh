#!/bin/sh
# What tools find that only read the sources: clang-tidy and cppcheck; what the compilers warn of ends
# every build. Whatever is found fails; a false alarm is answered at its place, by the name of the
# check, with the reason, and an answer without either fails, too. g++ 12's -fanalyzer is left out; the
# row's notes say why.
#
#   static.sh RESULTS
set -eu
results=$1
rooms="framework platform model bpdu syncers"

# The answers, in whatever these tools read, and in the tests. A range of lines or a whole file cannot be
# answered for.
answers=$(git grep -nE 'NOLINT|cppcheck-suppress' -- '*.h' '*.cpp') || {
    echo "static: no answers to false alarms are found"
    exit 1
}
wrong=$(echo "$answers" | grep -vE '// NOLINT(NEXTLINE)?\([a-z][A-Za-z.-]+\): [^ ]|// cppcheck-suppress [A-Za-z]+ ; [^ ]') && {
    echo "static: without the check's name, or without a reason:"
    echo "$wrong"
    exit 1
}

# Anew: what was looked at before is not looked at again because .clang-tidy has changed.
cmake --preset tidy >/dev/null
cmake --build --preset tidy --clean-first -- -k 0 >"$results/clang-tidy.txt" 2>&1 || {
    grep error: "$results/clang-tidy.txt" | sort -u
    exit 1
}
sources=$(grep -cE '^\[[0-9]+/[0-9]+\] Building CXX object' "$results/clang-tidy.txt") || {
    echo "static: clang-tidy has looked at no source"
    exit 1
}
echo "figure: clang-tidy: none in $sources sources and what they include"
# From what it says itself that it reads in .clang-tidy: all off at first, then each on or off.
checks=$(clang-tidy --dump-config | sed -n 's/^Checks: *"\(.*\)"$/\1/p' | sed 's/\\n//g; s/ //g; s/.*,-\*,//' | tr , '\n')
list() { paste -s -d, | sed 's/,/, /g'; }
on=$(echo "$checks" | grep -v '^-' | list)
off=$(echo "$checks" | sed -n 's/^-//p' | list)
[ -n "$on" ] || {
    echo "static: .clang-tidy has no checks"
    exit 1
}
for check in $(echo "$off" | tr -d ,); do
    grep -qE "^# .*$check" .clang-tidy || {
        echo "static: .clang-tidy does not say why $check is off"
        exit 1
    }
done
echo "note: clang-tidy's checks are $on; of these are off, for the reasons in .clang-tidy: ${off:-none}"

# It reads headers with the sources that include them. What it does not know of C++20 it says so of.
# shellcheck disable=SC2086 # one word per room
cppcheck --std=c++20 --enable=warning,performance,portability --inline-suppr --error-exitcode=1 \
    --suppress=missingIncludeSystem -I. $rooms >"$results/cppcheck-sources.txt" 2>"$results/cppcheck.txt" || {
    cat "$results/cppcheck.txt"
    exit 1
}
# It names a source once for each configuration.
sources=$(sed -n 's/^Checking \([^ ]*\.cpp\)[ :].*/\1/p' "$results/cppcheck-sources.txt" | sort -u | wc -l)
# shellcheck disable=SC2086
[ "$sources" -eq "$(git ls-files $rooms | grep -c '\.cpp$')" ] || {
    echo "static: cppcheck has looked at $sources sources"
    exit 1
}
echo "figure: cppcheck: none in $sources sources"
echo "note: $(echo "$answers" | wc -l) false alarms answered, each with the check's name and a reason"
