#!/bin/sh
# The Debian packages: lintian finds nothing wrong with them, they are installed into a root of their
# own where dpkg checks what they depend on, a service is built with what is there and nothing else of
# this tree, and runs; and removed, they leave nothing behind.
#
#   debian.sh SOURCE_FOLDER PACKAGES_FOLDER VERSION
#
# As any user, and without a network: the root holds the packages' files and a copy of this machine's
# list of installed packages.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=tests/package/common.sh
. "$here/common.sh"
source=$1
folder=$2
version=$3
soversion=${version%%.*}
architecture=$(dpkg --print-architecture)
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)

library=libvarnol$soversion
full=$(dpkg-parsechangelog -l "$source/cmake/debian/changelog" -S Version)
[ "${full%-*}" = "$version" ] || fail "the changelog is of $full, the library of $version"
packages=
for name in "$library" libvarnol-dev stp-agent varnol-tools; do
    file=$folder/${name}_${full}_$architecture.deb
    [ -f "$file" ] || fail "no $file"
    packages="$packages $file"
done
deb() { # PACKAGE
    echo "$folder/${1}_${full}_$architecture.deb"
}

# Not made to be uploaded to Debian, they close no request for a package.
# shellcheck disable=SC2086 # one word per package
lintian --no-cfg --allow-root --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs \
    $packages >&2 || fail "lintian is not content"

# A trigger has ldconfig run, no script does.
control=$(dpkg-deb --ctrl-tarfile "$(deb "$library")" | tar t | sort | tr '\n' ' ')
[ "$control" = "./control ./md5sums ./shlibs ./triggers " ] || fail "control files: $control"

# A program that is linked with this library needs one that is as new.
printf 'libVarnol %s %s (>= %s)\n' "$soversion" "$library" "$full" >"$work/expected"
dpkg-deb -I "$(deb "$library")" shlibs >"$work/shlibs"
diff "$work/expected" "$work/shlibs" >&2 || fail "the shlibs file asks for something else"

# What dpkg-shlibdeps says of a program, once it knows the library's package, is what the program's
# package depends on; and so with the library. Only the order may be another.
mkdir -p "$work/x/debian" "$work/control"
for package in $packages; do
    dpkg-deb -x "$package" "$work/x"
done
dpkg-deb -e "$(deb "$library")" "$work/control"
printf 'Source: varnol\n\nPackage: varnol\nArchitecture: any\n' >"$work/x/debian/control"
depends_of() { tr ',' '\n' | sed 's/^ *//; s/ *$//' | sort; }
depends_on_what_it_needs() { # PACKAGE FILE
    (cd "$work/x" && dpkg-shlibdeps -O -L"$work/control/shlibs" -l"usr/lib/$multiarch" \
        "$2") >"$work/said" 2>"$work/errors" || {
        cat "$work/errors" >&2
        fail "dpkg-shlibdeps fails"
    }
    sed 's/^shlibs:Depends=//' "$work/said" | depends_of >"$work/computed"
    dpkg-deb -f "$(deb "$1")" Depends | depends_of >"$work/stated"
    grep -q '^libc6 (>= ' "$work/computed" || fail "$2 needs hardly anything"
    diff "$work/computed" "$work/stated" >&2 || fail "$1 depends on something else"
}
depends_on_what_it_needs "$library" "usr/lib/$multiarch/libVarnol.so.$version"
! grep "^$library" "$work/computed" >&2 || fail "$library needs itself"
depends_on_what_it_needs stp-agent usr/bin/stp-agent
grep -q "^$library (>= " "$work/computed" || fail "the agent does not need $library"
depends_on_what_it_needs varnol-tools usr/bin/varnol-trace
! grep "^$library" "$work/computed" >&2 || fail "the tools need $library"

# Installed by dpkg, which refuses where something is missing or has the wrong version.
root=$work/root
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
cp /var/lib/dpkg/status "$root/var/lib/dpkg/status"
install_all() {
    # shellcheck disable=SC2086
    dpkg --root="$root" --force-not-root --force-bad-path --log="$work/log" "$@"
}
! install_all -i "$(deb libvarnol-dev)" >"$work/said" 2>&1 || fail "installed without $library"
grep -q "depends on $library" "$work/said" || fail "no word of $library: $(cat "$work/said")"
# shellcheck disable=SC2086
quietly install_all -i $packages
for name in "$library" libvarnol-dev stp-agent varnol-tools; do
    state=$(dpkg-query --admindir="$root/var/lib/dpkg" -W -f '${db:Status-Abbrev}' "$name")
    # Nobody in that root takes the trigger, so that it does not wait for anyone.
    [ "$state" = "ii " ] || fail "$name is in state '$state'"
done

# Services are built with what is there, and run with the library that is there.
libraries=$root/usr/lib/$multiarch
export LD_LIBRARY_PATH="$libraries"
examples=$root/usr/share/doc/libvarnol-dev/examples
mkdir "$work/prints"
# shellcheck disable=SC2016 # nothing is to expand
sed -n '/^```console$/,/^```$/p' "$source/README.md" | sed '1d;$d' >"$work/prints/smallest"
cp "$here/examples/own-reactor" "$here/examples/loaded" "$work/prints"
is_right() { # PROGRAM
    "$1" >"$work/output" || fail "$1 fails"
    diff "$work/prints/$(basename "$1")" "$work/output" >&2 || fail "$1 prints something else"
}
quietly cmake -S "$examples" -B "$work/build" -DCMAKE_PREFIX_PATH="$root/usr" \
    -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=OFF
quietly cmake --build "$work/build" -j 2
for name in smallest own-reactor; do
    loads_from "$work/build/$name" "$libraries"
done
# The last one is not linked with the library, and finds it by its name.
for name in smallest own-reactor loaded; do
    is_right "$work/build/$name"
done
flags=$(PKG_CONFIG_LIBDIR="$libraries/pkgconfig" pkg-config --cflags --libs "varnol = $version") ||
    fail "pkg-config does not find the library"
# shellcheck disable=SC2086
quietly c++ "$examples/Smallest.cpp" -o "$work/smallest" $flags
loads_from "$work/smallest" "$libraries"
is_right "$work/smallest"

# So does the agent.
agent=$root/usr/bin/stp-agent
loads_from "$agent" "$libraries"
"$agent" replay "$source/agent/captures/rstp-bridge.pcap" --trace-map "$work/trace" >"$work/output" ||
    fail "the agent fails"
# shellcheck disable=SC2016 # nothing is to expand
sed -n '/^```text$/,/^```$/{p;/^```$/q;}' "$source/docs/agent.md" | sed '1d;$d' >"$work/expected"
[ -s "$work/expected" ] || fail "docs/agent.md does not show what a replay prints"
diff "$work/expected" "$work/output" >&2 || fail "the agent prints something else than docs/agent.md says"

# The tool reads what the agent traced, and takes nothing that only the library's package has.
unset LD_LIBRARY_PATH
"$root/usr/bin/varnol-trace" show "$work/trace" >"$work/output" || fail "varnol-trace fails"
grep -q ' write .* Varnol::RxStatusToRxDynamicSyncer' "$work/output" || {
    head "$work/output" >&2
    fail "varnol-trace does not show what the library wrote"
}

quietly install_all --purge stp-agent varnol-tools libvarnol-dev "$library"
left=$(find "$root/usr" ! -type d 2>/dev/null || true)
[ -z "$left" ] || fail "left behind: $left"
echo "debian.sh: $library, libvarnol-dev, stp-agent and varnol-tools $full are good"
