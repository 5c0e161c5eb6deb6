#!/bin/sh
# The agent is built with nothing but the installed library, and does what the tree's agent does; and
# so does the agent that is installed with the library.
#
#   agent.sh SOURCE_FOLDER BUILD_FOLDER COMPILER TREES_AGENT
set -eu
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=tests/package/common.sh
. "$here/common.sh"
source=$1
build=$2
compiler=$3
tree_agent=$4
capture=$source/agent/captures/rstp-bridge.pcap

does_the_same() { # AGENT
    "$1" replay "$capture" >"$work/replay" || fail "$1 fails"
    diff "$work/expected" "$work/replay" >&2 || fail "$1 does not do what the tree's agent does"
}

"$tree_agent" replay "$capture" >"$work/expected" || fail "the tree's agent fails"
[ "$(wc -l <"$work/expected")" -gt 10 ] || fail "the tree's agent says hardly anything"

quietly cmake --install "$build" --prefix "$work/first"
prefix=$work/prefix
mv "$work/first" "$prefix"
libraries=$(dirname "$(find "$prefix" -name libVarnol.so)")

program=$(find "$prefix" -name stp-agent -type f)
! ldd "$program" | grep -F "$build" >&2 || fail "$program loads what is in the build folder"
does_the_same "$program"

quietly cmake -S "$source/agent" -B "$work/agent" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
quietly cmake --build "$work/agent" -j 2
loads_from "$work/agent/stp-agent" "$libraries"
does_the_same "$work/agent/stp-agent"
