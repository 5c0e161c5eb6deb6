#!/bin/sh
# The shared library shows its interface, as api.txt lists it, and nothing else.
#
#   exports.sh LIBRARY LIST            compares; tells the differences and fails when there are any
#   exports.sh LIBRARY LIST --renew    writes the list anew
#
# Renew the list when the interface is meant to change, from the library of any build (each gives
# the same list), and review its differences: a line that goes away breaks services that are linked
# with an earlier library.
#
#   tests/library/exports.sh build/gcc-release/libVarnol.so tests/library/api.txt --renew
#
# The list has the functions and objects by their demangled names, constructors and destructors
# once, and the virtual tables of classes. What compilers leave behind differently is not listed:
# type information, virtual tables of classes made from templates, and inline functions and objects,
# which are weak and which every user has for itself.
set -eu
export LC_ALL=C
library=$1
list=$2

fail() {
    echo "exports: $*" >&2
    exit 1
}

# The version of all that is shown has the number of the SONAME.
number=$(readelf -dW "$library" | sed -n 's/.*(SONAME).*\[libVarnol\.so\.\([0-9]*\)\].*/\1/p')
[ -n "$number" ] || fail "$library has no SONAME with a number"
node=VARNOL_$number

# "TYPE NAME" of each symbol; the name of the version node is a symbol too.
symbols() { # OPTION...
    nm -D --defined-only "$@" "$library" |
        sed "s/^[0-9a-f]* //; s/@@$node\$//; /^A $node\$/d"
}

mangled=$(symbols)
demangled=$(symbols -C)

namespaces='6Varnol|3Zel|6Fennic|5Kolvu|3Stp|8Bridging|9Interface'
strangers=$(echo "$mangled" | cut -d' ' -f2- |
    grep -vE "^_Z(T[VTCIS]|GV)?NK?($namespaces)" || true)
[ -z "$strangers" ] || fail "names outside the library's namespaces:
$(echo "$strangers" | c++filt)"

unversioned=$(nm -D --defined-only "$library" | grep -vE "(@@| A )$node\$" || true)
[ -z "$unversioned" ] || fail "names without the version $node: $unversioned"

exported=$(echo "$demangled" | sed -nE 's/^[TDBR] //p; s/^V (vtable for )/\1/p' |
    grep -vE '^(typeinfo (name )?|VTT |construction vtable )for |^vtable for .*<' | sort -u)
[ -n "$exported" ] || fail "$library shows nothing"

# Who derives from a class, throws or catches it needs its type information.
for class in $(echo "$demangled" | sed -n 's/^[A-Za-z] vtable for \([^<]*\)$/\1/p'); do
    for of in "typeinfo for" "typeinfo name for"; do
        echo "$demangled" | grep -qE "^[A-Za-z] $of $class\$" || fail "no $of $class"
    done
done

if [ "${3-}" = --renew ]; then
    echo "$exported" >"$list"
    exit
fi
[ -f "$list" ] || fail "no list $list"
if differences=$(echo "$exported" | diff --label "$list" --label "$library" -U0 "$list" -); then
    exit
fi
fail "the library shows other names than $list, which this script renews on purpose:
$(echo "$differences" | sed 1,2d)"
