#!/bin/sh
# The examples of a service are built with nothing but the installed library, with CMake and with
# pkg-config, and print what they are to print; and the README shows the smallest one as it is.
#
#   examples.sh SOURCE_FOLDER BUILD_FOLDER COMPILER
set -eu
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=tests/package/common.sh
. "$here/common.sh"
source=$1
build=$2
compiler=$3

block() { # LANGUAGE: what the README has in its one block of that language
    sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/p" "$source/README.md" >"$work/block"
    [ "$(grep -c '^```' "$work/block")" -eq 2 ] || fail "the README has not one block marked $1"
    sed '1d;$d' "$work/block"
}

prefix=$work/prefix
quietly cmake --install "$build" --prefix "$prefix"
libraries=$(dirname "$(find "$prefix" -name libVarnol.so)")
soname=$(readelf -dW "$libraries/libVarnol.so" | sed -n 's/.*(SONAME).*\[\(.*\)\].*/\1/p')

# Where nothing of this tree is near.
examples=$work/examples
cp -r "$source/examples/service" "$examples"

block cpp >"$work/listing"
diff "$work/listing" "$examples/Smallest.cpp" >&2 || fail "the README shows another Smallest.cpp"
mkdir "$work/expected"
block console >"$work/expected/smallest"
cp "$here/examples/own-reactor" "$here/examples/loaded" "$work/expected"

is_right() { # NAME PROGRAM
    LD_LIBRARY_PATH=$libraries "$2" >"$work/output" || fail "$1 fails"
    diff "$work/expected/$1" "$work/output" >&2 || fail "$1 prints something else"
}

# With CMake, which says where the library is; but for the program that is to find it by its name.
quietly cmake -S "$examples" -B "$work/build" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF \
    -DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=OFF
quietly cmake --build "$work/build" -j 2
for name in smallest own-reactor; do
    loads_from "$work/build/$name" "$libraries"
done
for name in smallest own-reactor loaded; do
    is_right "$name" "$work/build/$name"
done

# With pkg-config; the program that loads the library is compiled, not linked with it.
export PKG_CONFIG_LIBDIR="$libraries/pkgconfig"
mkdir "$work/programs"
compile() { # NAME SOURCE FLAG...
    program=$work/programs/$1
    file=$examples/$2
    shift 2
    quietly "$compiler" -Wall -Wextra "$file" -o "$program" "$@"
}
# shellcheck disable=SC2046 # one word per flag
{
    compile smallest Smallest.cpp $(pkg-config --cflags --libs varnol)
    compile own-reactor OwnReactor.cpp $(pkg-config --cflags --libs varnol)
    compile loaded Loaded.cpp $(pkg-config --cflags varnol) -ldl
}
for name in smallest own-reactor loaded; do
    is_right "$name" "$work/programs/$name"
done
! readelf -dW "$work/programs/loaded" "$work/build/loaded" | grep -F "$soname" >&2 ||
    fail "the program that loads the library is linked with it"

# Without the library, or with one that shows something else, it says so.
! "$work/programs/loaded" "$work/none/$soname" >"$work/output" 2>&1 || fail "nothing was loaded"
grep -qF "$work/none/$soname" "$work/output" || fail "no word of what cannot be loaded"
echo 'void nothing() {}' >"$work/Other.cpp"
quietly "$compiler" -shared -fPIC "$work/Other.cpp" -o "$work/$soname"
! "$work/programs/loaded" "$work/$soname" >"$work/output" 2>&1 || fail "another library passes"
grep -q 'undefined symbol: _ZN6Varnol' "$work/output" || fail "no word of what is not there"
