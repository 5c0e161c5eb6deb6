# What the scripts beside it share: a folder to work in, and what they ask there.
#
#   . common.sh
# Sets `work`, a folder that is removed in the end.
# shellcheck shell=sh
export LC_ALL=C
# Nothing but what is installed here is to be found, nor are flags of the caller's to help.
unset CMAKE_PREFIX_PATH Varnol_DIR Varnol_ROOT CMAKE_INSTALL_PREFIX DESTDIR LD_LIBRARY_PATH \
    LIBRARY_PATH CPATH CPLUS_INCLUDE_PATH CXXFLAGS LDFLAGS
umask 022
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM

fail() {
    echo "$(basename "$0"): $*" >&2
    exit 1
}

quietly() { # COMMAND...: says what it said when it fails
    "$@" >"$work/said" 2>&1 || {
        cat "$work/said" >&2
        fail "failed: $*"
    }
}

loads_from() { # PROGRAM FOLDER: it takes libVarnol.so from there
    ldd "$1" >"$work/loads"
    grep -qF " => $2/libVarnol.so." "$work/loads" || {
        cat "$work/loads" >&2
        fail "$1 does not load the library in $2"
    }
}
