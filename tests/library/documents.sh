#!/bin/sh
# The documents say what the sources say: links lead to files, and the tables of what becomes of each
# attribute have each attribute of the trees and of a record, with its identifier, and the offsets of the
# frame's fields.
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

# "CLASS NAME IDENTIFIER", and of the frame "FIELD OFFSET", which follows a header of 17 octets. An
# attribute's name is the last argument, or, where its handler is given too, the one before.
awk '
/^class VARNOL_API [A-Za-z]+ final/ { class = $3 }
/^ *(ZEL_[A-Z_]+|INSTANCE_SCALAR)\([0-9]+, .*\)$/ {
    handled = $0 ~ /^ *ZEL_HANDLED_/
    sub(/^[^(]*\(/, "")
    sub(/\)$/, "")
    count = split($0, argument, /, /)
    print class, argument[count - handled], argument[1]
}' model/IntxInfo.h model/IntxMstiInfo.h model/TxStatus.h model/RxStatus.h | sort >"$work/declared"
# shellcheck disable=SC2016 # nothing is to expand
sed -nE 's/^\| ([A-Za-z]+) \| `([A-Za-z]+)` \| ([0-9]+) \|.*/\1 \2 \3/p' \
    docs/architecture.md | sort >"$work/told"
for class in IntxInfo IntxMstiInfo TxStatus TxMstStatus TxMstPortStatus RxStatus RxMstStatus \
    RxMstPortStatus; do
    grep -q "^$class " "$work/declared" || fail "no attribute of $class found"
done
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
