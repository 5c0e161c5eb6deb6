#!/bin/sh
# Programs that were linked with the library go on running with this one: what its binary interface had
# in the baseline, it has still. Names, arguments, sizes, places of members and virtual functions, and
# values of enumerators are compared; what is new is no matter.
#
#   abi.sh BUILD_FOLDER LIBRARY BASELINES            compares; tells the differences and fails
#   abi.sh BUILD_FOLDER LIBRARY BASELINES --renew    writes the baseline anew, and tells what breaks
#
# The baseline is BASELINES/SONAME.xml: with another SONAME, which needs a baseline of its own, anything
# may be different. The library is one that was built with debug information (VARNOL_ABI); of the types
# in there those are compared that the installed headers show.
set -eu
export LC_ALL=C
build=$1
library=$2
baselines=$3

fail() {
    echo "abi: $*" >&2
    exit 1
}

for tool in abidw abidiff; do
    command -v $tool >/dev/null || fail "$tool not found: install abigail-tools"
done
soname=$(readelf -dW "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\].*/\1/p')
[ -n "$soname" ] || fail "$library has no SONAME"
readelf -SW "$library" | grep -q '\.debug_info' || fail "$library has no debug information"
baseline=$baselines/$soname.xml

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
cmake --install "$build" --prefix "$work" --component Varnol_Development >"$work/said" 2>&1 || {
    cat "$work/said" >&2
    fail "the headers cannot be installed"
}
headers=$work/include/varnol
[ -d "$headers/model" ] || fail "no headers in $headers"

abidw --no-corpus-path --no-comp-dir-path --no-show-locs --type-id-style hash \
    --headers-dir "$headers" --drop-private-types --drop-undefined-syms --exported-interfaces-only \
    --out-file "$work/now.xml" "$library" || fail "abidw fails on $library"
[ "$(grep -c '<elf-symbol ' "$work/now.xml")" -gt 100 ] || fail "hardly any symbols in $library"
[ "$(grep -c 'vtable-offset=' "$work/now.xml")" -gt 50 ] || fail "hardly any types in $library"

if [ "${4-}" = --renew ]; then
    if [ -f "$baseline" ]; then
        abidiff --no-added-syms "$baseline" "$work/now.xml" || # says what
            echo "abi: this breaks programs that are linked with a library of the former baseline"
    fi
    cp "$work/now.xml" "$baseline"
    echo "abi: wrote $baseline"
    exit
fi

[ -f "$baseline" ] || fail "no baseline for $soname: ./dev abi --renew writes it"
status=0
abidiff --no-added-syms "$baseline" "$work/now.xml" >"$work/differences" || status=$?
[ "$status" -ne 0 ] || exit 0
cat "$work/differences" >&2
# Bit 0 and bit 1: it could not compare.
[ $((status & 3)) -eq 0 ] || fail "abidiff fails"
fail "programs that are linked with $soname break: make it as it was, or change the SONAME
(CONTRIBUTING.md, \"The binary interface\")"
