#!/bin/sh
# What tools find that only read the sources: clang-tidy and cppcheck; what the compilers warn of ends
# every build. Whatever is found fails; a false alarm is answered at its place, by the name of the
# check, with the reason. g++ 12's -fanalyzer is left out: it is made for C, and takes the arguments of
# constructors and what `operator new` returns for not initialised, in every file.
#
#   static.sh RESULTS
set -eu
results=$1
rooms="framework platform model bpdu syncers"

cmake --preset tidy >/dev/null
cmake --build --preset tidy -- -k 0 >"$results/clang-tidy.txt" 2>&1 || {
    grep error: "$results/clang-tidy.txt" | sort -u
    exit 1
}
echo "figure: clang-tidy: none in $(git ls-files '*.cpp' '*.h' ':!tests' ':!bench' ':!verify' | wc -l) files"

# It reads headers with the sources that include them. What it does not know of C++20 it says so of.
# shellcheck disable=SC2086 # one word per room
cppcheck --std=c++20 --enable=warning,performance,portability --inline-suppr --error-exitcode=1 --quiet \
    --suppress=missingIncludeSystem -I. $rooms 2>"$results/cppcheck.txt" || {
    cat "$results/cppcheck.txt"
    exit 1
}
# shellcheck disable=SC2086
echo "figure: cppcheck: none in $(git ls-files $rooms | grep -c '\.cpp$') sources"
