#!/bin/sh
# The agent's manual page has the options that the agent has and no others, and its commands; and
# it is laid out without a warning.
#
#   manual.sh AGENT PAGE
set -eu
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=tests/package/common.sh
. "$here/common.sh"
agent=$1
page=$2

"$agent" --help >"$work/help" || fail "no help"
commands=$(sed -n '/^Subcommands:/,$s/^  \([a-z]\{1,\}\) .*/\1/p' "$work/help")
[ "$(echo "$commands" | wc -l)" -gt 2 ] || fail "hardly any commands"
for command in $commands; do
    grep -q "^\.SY \"stp-agent $command" "$page" || fail "the page does not have: $command"
    "$agent" "$command" --help >>"$work/help" || fail "no help of $command"
done

options() { grep -oE -- '--[a-z][a-z-]*' | sort -u; }
options <"$work/help" >"$work/had"
sed -n '/^\.SH OPTIONS/,/^\.SH "EXIT/s/\\-/-/gp' "$page" | options >"$work/told"
diff "$work/had" "$work/told" >&2 || fail "the page tells other options than the agent has"

if command -v groff >/dev/null; then
    groff -man -Tutf8 -ww -z "$page" >"$work/said" 2>&1 || fail "groff fails"
    [ ! -s "$work/said" ] || fail "$(cat "$work/said")"
else
    echo "manual.sh: groff not found: the page's layout is not looked at"
fi
