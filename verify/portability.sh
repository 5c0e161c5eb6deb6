#!/bin/sh
# Builds verify-portable, and the library's rooms for it, in many ways, runs each build and compares
# what it prints, octet for octet, with what the first one prints:
#
#   portability.sh RESULTS [NAME...]      all ways by default; each in RESULTS/NAME
#
# Programs for another machine are linked statically and run under emulation. Exit status: 1 when a
# build fails, prints something else or no figure, or when there is no way of a NAME.
set -u
cd "$(dirname "$0")/.." || exit
results=$1
shift
mkdir -p "$results"

# name | compiler | options | what runs the program, if anything | what is to be said of it
ways='
g++-O0            | g++                   | -O0                      |              | g++ -O0
g++-O2            | g++                   | -O2                      |              | g++ -O2
g++-O3            | g++                   | -O3                      |              | g++ -O3
clang-O0          | clang++               | -O0                      |              | clang -O0
clang-O2          | clang++               | -O2                      |              | clang -O2
clang-O3          | clang++               | -O3                      |              | clang -O3
g++-unsigned      | g++                   | -O2 -funsigned-char      |              | g++ with unsigned char
clang-unsigned    | clang++               | -O2 -funsigned-char      |              | clang with unsigned char
g++-checks        | g++                   | -O1 -D_GLIBCXX_ASSERTIONS |            | g++ with a checking standard library
i686              | i686-linux-gnu-g++    | -O2                      |              | 32-bit x86
i686-O0-unsigned  | i686-linux-gnu-g++    | -O0 -funsigned-char      |              | 32-bit x86 -O0 with unsigned char
aarch64           | aarch64-linux-gnu-g++ | -O2                      | qemu-aarch64 | ARM64, whose char is unsigned
s390x             | s390x-linux-gnu-g++   | -O2                      | qemu-s390x   | big-endian s390x, whose char is unsigned
s390x-O0-signed   | s390x-linux-gnu-g++   | -O0 -fsigned-char        | qemu-s390x   | big-endian s390x -O0 with signed char
'

build() { # FOLDER COMPILER OPTIONS
    link=
    case $2 in *-linux-gnu-*) link=-static ;; esac
    cmake -G Ninja -S . -B "$1" -D CMAKE_CXX_COMPILER="$2" -D CMAKE_CXX_FLAGS="$3" \
        -D CMAKE_EXE_LINKER_FLAGS="$link" -D VARNOL_VERIFY=ON -D VARNOL_TESTS=OFF \
        -D VARNOL_EXAMPLES=OFF -D VARNOL_AGENT=OFF -D VARNOL_TOOLS=OFF &&
        cmake --build "$1" -j 2 --target verify-portable
}

trimmed() { echo "$1" | sed 's/^ *//;s/ *$//'; }

first=
builds=0
said=
versions=
failed=0
while IFS='|' read -r name compiler options runner text; do
    name=$(trimmed "$name")
    [ -n "$name" ] || continue
    case " $* " in "  " | *" $name "*) ;; *) continue ;; esac
    folder=$results/$name
    printed=$results/$name.txt
    if ! build "$folder" "$(trimmed "$compiler")" "$(trimmed "$options")" \
        >"$results/$name.log" 2>&1 </dev/null; then
        echo "$name: cannot be built, see $results/$name.log"
        failed=1
        continue
    fi
    # shellcheck disable=SC2086 # no runner is no word
    if ! $(trimmed "$runner") "$folder/verify/verify-portable" >"$printed" </dev/null; then
        echo "$name: failed"
        failed=1
        continue
    fi
    first=${first:-$printed}
    if ! cmp "$first" "$printed"; then
        diff "$first" "$printed" | head -n 10
        failed=1
        continue
    fi
    echo "$name: the same output"
    builds=$((builds + 1))
    said="$said${said:+, }$(trimmed "$text")"
    version="$(trimmed "$compiler") $("$(trimmed "$compiler")" -dumpversion)"
    case ", $versions, " in *", $version, "*) ;; *) versions="$versions${versions:+, }$version" ;; esac
done <<END
$ways
END
[ "$failed" -eq 0 ] || exit 1
if [ "$builds" -eq 0 ] || { [ $# -ne 0 ] && [ "$builds" -ne $# ]; }; then
    echo "portability: $builds builds: no way of a name in: $*"
    exit 1
fi
if [ $# -eq 0 ] && [ "$builds" -lt 12 ]; then
    echo "portability: $builds builds are fewer than 12"
    exit 1
fi
lines=$(sed -n 's/^figure: //p' "$first")
if [ -z "$lines" ]; then
    echo "portability: $first ends without a figure"
    exit 1
fi
grep '^seed: ' "$first"
echo "figure: same output of $lines in $builds builds"
echo "note: the builds are $said; by $versions"
