#!/bin/sh
# The documents say what the sources say: links lead to files, and the table of what becomes of each
# attribute has each attribute of a record, with its identifier, and the offsets of the frame's fields.
#
#   documents.sh SOURCE_FOLDER
set -eu
export LC_ALL=C
cd "$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
failed=
fail() {
    echo "documents: $*" >&2
    failed=yes
}

find . -name '*.md' -not -path './build/*' | sort >"$work/documents"
links=0
while read -r document; do
    grep -oE '\]\([^)]+\)' "$document" | sed 's/^](//; s/)$//; s/#.*//' >"$work/links" || true
    while read -r link; do
        case $link in
        '' | *:*) continue ;;
        esac
        links=$((links + 1))
        [ -e "$(dirname "$document")/$link" ] || fail "$document: no $link"
    done <"$work/links"
done <"$work/documents"
[ "$links" -gt 20 ] || fail "hardly any links found"

# "CLASS NAME IDENTIFIER", and of the frame "FIELD OFFSET", which follows a header of 17 octets.
attributes() { # CLASS FILE
    sed -nE "s/^ *(ZEL_[A-Z_]+|INSTANCE_SCALAR)\(([0-9]+), (.*, )?([A-Za-z]+)(, [A-Za-z_]+)?\)\$/$1 \4 \2/p" "$2"
}
{
    attributes IntxInfo model/IntxInfo.h
    attributes IntxMstiInfo model/IntxMstiInfo.h
} | sort >"$work/declared"
# shellcheck disable=SC2016 # nothing is to expand
sed -nE 's/^\| (IntxInfo|IntxMstiInfo) \| `([A-Za-z]+)` \| ([0-9]+) \|.*/\1 \2 \3/p' \
    docs/architecture.md | sort >"$work/told"
[ "$(wc -l <"$work/declared")" -gt 20 ] || fail "hardly any attributes found"
diff "$work/declared" "$work/told" >&2 || fail "docs/architecture.md tells other attributes"

sed -nE 's/^ *Field<[A-Za-z:0-9]+>\{"([^"]+)", ([0-9]+), [0-9]+\},$/\2 \1/p' platform/stp/RstpBpdu.h |
    awk '{ offset = $1 + 17; sub(/^[0-9]+ /, ""); print $0 " " offset }' | sort >"$work/fields"
[ "$(wc -l <"$work/fields")" -eq 13 ] || fail "not the 13 fields of an RST BPDU found"
sed -nE 's/^\| Intx[A-Za-z]+ \| [^|]+ \| [0-9]+ \| ([0-9]+) \| ([^|;]+)[ ;].*/\2 \1/p' \
    docs/architecture.md | sed 's/  */ /g' | sort >"$work/placed"
[ "$(wc -l <"$work/placed")" -eq 10 ] || fail "not the 10 fields with a value of the record told"
wrong=$(comm -13 "$work/fields" "$work/placed")
[ -z "$wrong" ] || fail "docs/architecture.md places fields elsewhere:
$wrong"

[ -z "$failed" ]
