#!/bin/sh
# What is installed can be used, with CMake and with pkg-config and a compiler alone, also after it
# has been moved; and so can the build folder, with CMake.
#
#   consumers.sh SOURCE_FOLDER BUILD_FOLDER COMPILER VERSION
set -eu
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=tests/package/common.sh
. "$here/common.sh"
source=$1
build=$2
compiler=$3
version=$4

is_right() { # PROGRAM
    said=$("$1") || fail "the consumer fails"
    [ "$said" = "heartbeatTimeout 2.5
frame of 53 octets, flags 14" ] || fail "the consumer says: $said"
}

configure() { # VERSION PREFIX
    rm -rf "$work/consumer"
    cmake -S "$here/consumer" -B "$work/consumer" -DCMAKE_CXX_COMPILER="$compiler" \
        -DWANTED_VERSION="$1" -DCMAKE_PREFIX_PATH="$2" \
        -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=OFF
}

with_cmake() { # PREFIX FOLDER_OF_THE_LIBRARY
    quietly configure "$version" "$1"
    quietly cmake --build "$work/consumer"
    loads_from "$work/consumer/consumer" "$2"
    is_right "$work/consumer/consumer"
}

with_pkg_config() { # PREFIX
    folder=$(dirname "$(find "$1" -name varnol.pc)")
    flags=$(PKG_CONFIG_LIBDIR="$folder" pkg-config --cflags --libs "varnol = $version") ||
        fail "pkg-config does not find the library"
    # shellcheck disable=SC2086 # one word per flag
    quietly "$compiler" "$here/consumer/Main.cpp" -o "$work/program" $flags
    LD_LIBRARY_PATH=$(dirname "$folder")
    export LD_LIBRARY_PATH
    loads_from "$work/program" "$LD_LIBRARY_PATH"
    is_right "$work/program"
    unset LD_LIBRARY_PATH
}

first=$work/first
quietly cmake --install "$build" --prefix "$first"
libraries=$(dirname "$(find "$first" -name libVarnol.so)")
headers=$first/include/varnol

with_cmake "$first" "$libraries"
with_pkg_config "$first"
with_cmake "$build" "$build"

# Asked for in a later major version, it is found and refused.
major=$((${version%%.*} + 1))
! configure "$major.0" "$first" >"$work/refusal" 2>&1 || fail "$version passes for $major.0"
grep -q 'considered but not accepted' "$work/refusal" || {
    cat "$work/refusal" >&2
    fail "no word of the version that was refused"
}

"$source/tests/library/headers.sh" "$headers" "$compiler" || fail "headers do not compile"

# Nothing leads back to where it was made, nor to where it was put.
for folder in "$source" "$build" "$first"; do
    ! grep -rlF -e "$folder" "$first" || fail "these name $folder"
done

# What the headers say stays what the library was built with, for whoever may not write there.
odd=$(find "$first" -type f \( -perm /022 -o ! -perm -444 \) -o -path "$headers/*" -type f -perm /111)
[ -z "$odd" ] || fail "permissions of $odd"

# A program that was linked runs with two files: the library, and the name that it asks for.
quietly cmake --install "$build" --prefix "$work/runtime" --component Varnol_Runtime
names=$(cd "$work/runtime" && find . ! -type d -exec basename {} \; | sort | tr '\n' ' ')
[ "$names" = "libVarnol.so.${version%%.*} libVarnol.so.$version " ] || fail "to run: $names"

second=$work/elsewhere/second
mkdir "$work/elsewhere"
mv "$first" "$second"
with_cmake "$second" "$second${libraries#"$first"}"
with_pkg_config "$second"
