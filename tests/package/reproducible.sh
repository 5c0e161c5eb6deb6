#!/bin/sh
# The same source gives the same library and the same packages, octet for octet, in whatever folder and
# whenever it is built.
#
#   reproducible.sh SOURCE_FOLDER
#
# Builds everything twice.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=tests/package/common.sh
. "$here/common.sh"
unset SOURCE_DATE_EPOCH
source=$1

first=$work/first
second=$work/another/place/of/another/length
for folder in "$first" "$second"; do
    mkdir -p "$folder"
    (cd "$source" && git ls-files -z | xargs -0 cp --parents -t "$folder")
done

build() { # FOLDER
    (
        cd "$1"
        quietly cmake --preset package
        quietly cmake --build --preset package
        quietly cpack --preset package
    )
}
build "$first"
build "$second"

made=$(cd "$first/build/package" && find . -maxdepth 2 -type f \( -name "libVarnol.so*" -o -name "*.deb" \))
[ "$(echo "$made" | wc -l)" -eq 5 ] || fail "not a library and four packages: $made"
different=
for file in $made; do
    cmp "$first/build/package/$file" "$second/build/package/$file" >&2 ||
        different="$different $(basename "$file")"
done
[ -z "$different" ] || fail "not the same in another folder:$different"
echo "reproducible.sh: the library and the packages are the same in two folders"
