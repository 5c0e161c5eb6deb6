#!/bin/sh
# The rooms include only from themselves and from rooms below them, the tests from all of these, the
# full verification from the tests, too, and nothing from that; no files and no folders include each
# other in a circle; and the library uses the standard library and POSIX alone.
#
#   layers.sh SOURCE_FOLDER
set -eu
export LC_ALL=C
cd "$1"

library="framework platform model bpdu syncers" # the lowest first
programs="agent tools bench examples"           # above the library, and none above another
above="tests verify"                            # above all of these, the lowest first

rooms=
for room in $library $programs $above; do
    [ ! -d "$room" ] || rooms="$rooms $room"
done

# A line for each include: the file, " or <, and what it includes.
# shellcheck disable=SC2086
includes=$(find $rooms \( -name '*.h' -o -name '*.cpp' \) -exec grep -HE '^[[:space:]]*#[[:space:]]*include' {} + |
    sed -nE 's/^([^:]+):[[:space:]]*#[[:space:]]*include[[:space:]]*(["<])([^">]+)[">].*/\1 \2 \3/p' | sort)
[ "$(echo "$includes" | wc -l)" -gt 100 ] || {
    echo "layers: hardly any includes found" >&2
    exit 1
}

failed=
fail() { # LINES WHAT
    [ -n "$1" ] || return 0
    echo "layers: $2:" >&2
    echo "$1" | sed 's/^/  /' >&2
    failed=yes
}

# Included by path from the top of the tree, and there.
fail "$(echo "$includes" | while read -r file kind name; do
    [ "$kind" = '<' ] || [ -f "$name" ] || echo "$file includes $name"
done)" "no such file from the top of the tree"

fail "$(echo "$includes" | awk -v library="$library" -v programs="$programs" -v above="$above" '
    BEGIN {
        for (n = split(library, names); n > 0; --n) level[names[n]] = n
        for (n = split(programs, names); n > 0; --n) level[names[n]] = 100
        for (n = split(above, names); n > 0; --n) level[names[n]] = 100 + n
    }
    $2 == "\"" {
        from = $1; sub("/.*", "", from)
        to = $3; sub("/.*", "", to)
        if (from != to && !(to in level && level[to] < level[from]))
            print $1 " includes " $3
    }')" "included from above or from the side"

for what in files folders; do
    circle=$(echo "$includes" | awk -v what="$what" '
        $2 == "\"" {
            from = $1; to = $3
            if (what == "folders") { sub("/[^/]*$", "", from); sub("/[^/]*$", "", to) }
            if (what == "files" || from != to) print from, to
        }' | sort -u | tsort 2>&1 >/dev/null | sed -n 's/^tsort: \([^-].*\)/\1/p' || true)
    fail "$circle" "$what that include each other in a circle"
done

# A header of the C++ library has neither a folder nor an ending. The sanitizers' headers are not
# there with every compiler, so that a header, which a user may include, does without them.
# What Linux alone has stands in a file of its own.
linux='framework/fennic/ThreadBarrier\.cpp (linux/membarrier|sys/syscall)\.h'
system='cxxabi\.h|time\.h|unistd\.h|fcntl\.h|sys/(mman|stat|types|uio)\.h'
fail "$(echo "$includes" | awk -v library="$library" -v system_="^($system)\$" \
    -v linux="^$linux\$" '
    BEGIN { for (n = split(library, names); n > 0; --n) ours[names[n]] }
    $2 == "<" {
        room = $1; sub("/.*", "", room)
        inSource = $1 ~ /\.cpp$/
        if (room in ours && $3 !~ /^[a-z_]+$/ && $3 !~ system_ && $1 " " $3 !~ linux && !(inSource && $3 ~ /^sanitizer\//))
            print $1 " includes <" $3 ">"
    }')" "not of the standard library or POSIX"

[ -z "$failed" ]
