#!/bin/sh
# The shared library depends on the standard library and on nothing else.
#
#   dependencies.sh LIBRARY SONAME
set -eu
export LC_ALL=C
library=$1
soname=$2

fail() {
    echo "dependencies: $*" >&2
    exit 1
}

dynamic=$(readelf -dW "$library")
entries() { # TAG
    echo "$dynamic" | sed -n "s/.*($1).*\[\(.*\)\].*/\1/p"
}

[ "$(entries SONAME)" = "$soname" ] || fail "SONAME is '$(entries SONAME)', not '$soname'"

needed=$(entries NEEDED)
[ -n "$needed" ] || fail "no NEEDED entry found: $dynamic"
for name in $needed; do
    case $name in
    libstdc++.so.6 | libgcc_s.so.1 | libm.so.6 | libc.so.6 | ld-linux*.so.*) ;;
    *) fail "needs $name, which is not the standard library's" ;;
    esac
done

for tag in RPATH RUNPATH TEXTREL; do
    ! echo "$dynamic" | grep -q "($tag)" || fail "has a $tag"
done

resolved=$(ldd "$library")
! echo "$resolved" | grep 'not found' || fail "does not find what it needs"
