#!/bin/sh
# Every header of the library compiles on its own, and is read once.
#
#   headers.sh SOURCE_FOLDER COMPILER
set -eu
export LC_ALL=C
cd "$1"
export compiler="$2"

rooms=
for room in framework platform model bpdu syncers; do
    [ ! -d "$room" ] || rooms="$rooms $room"
done
# shellcheck disable=SC2086
headers=$(find $rooms -name '*.h' | sort)
[ "$(echo "$headers" | wc -l)" -gt 40 ] || {
    echo "headers: hardly any found" >&2
    exit 1
}

failed=
for header in $headers; do
    [ "$(head -n 1 "$header")" = '#pragma once' ] || {
        echo "headers: $header does not begin with #pragma once" >&2
        failed=yes
    }
done

# shellcheck disable=SC2016
echo "$headers" | xargs -n 1 -P 2 sh -c '
    printf "#include \"%s\"\n#include \"%s\"\n" "$0" "$0" |
        "$compiler" -std=c++20 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -I. \
            -fsyntax-only -x c++ - || {
        echo "headers: $0 does not compile on its own" >&2
        exit 1
    }' || failed=yes

[ -z "$failed" ]
