#!/bin/sh
# A program's manual page has the options that the program has and no others, its commands and the
# words that these take; it is of the version that is built, and laid out without a warning.
#
#   manual.sh PROGRAM PAGE VERSION
set -eu
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=tests/package/common.sh
. "$here/common.sh"
program=$1
page=$2
version=$3
name=$(basename "$program")

title=$(head -n 1 "$page")
of=$(echo "$title" |
    sed -nE 's/^\.TH [A-Z-]+ 1 [0-9]{4}-[0-9]{2}-[0-9]{2} "Varnol ([0-9.]+)" "User Commands"$/\1/p')
[ "$of" = "$version" ] || fail "the page is not of version $version: $title"

"$program" --help >"$work/help" || fail "no help"
commands=$(sed -n '/^Subcommands:/,$s/^  \([a-z]\{1,\}\) .*/\1/p' "$work/help")
[ "$(echo "$commands" | wc -l)" -gt 2 ] || fail "hardly any commands"
for command in $commands; do
    grep -q "^\.SY \"$name $command" "$page" || fail "the page does not have: $command"
    "$program" "$command" --help >"$work/of-command" || fail "no help of $command"
    cat "$work/of-command" >>"$work/help"

    # As "WHAT TEXT ...  [PORT] [detail] | trees | bpdu PORT": a word is told in bold.
    words=$(sed -nE 's/^  [A-Z]+ TEXT .*  ([^ ].* \| .*)$/\1/p' "$work/of-command" |
        tr '|' '\n' | sed -nE 's/^ *([a-z][a-z-]*).*/\1/p')
    for word in $words; do
        sed 's/\\-/-/g' "$page" | grep -qE "^\.(B|BR) ($command )?$word( |\$)" ||
            fail "the page does not have: $command $word"
    done
done

options() { grep -oE -- '--[a-z][a-z-]*' | sort -u; }
options <"$work/help" >"$work/had"
sed -n '/^\.SH OPTIONS/,/^\.SH "EXIT/s/\\-/-/gp' "$page" | options >"$work/told"
diff "$work/had" "$work/told" >&2 || fail "the page tells other options than $name has"

if command -v groff >/dev/null; then
    groff -man -Tutf8 -ww -z "$page" >"$work/said" 2>&1 || fail "groff fails"
    [ ! -s "$work/said" ] || fail "$(cat "$work/said")"
else
    echo "manual.sh: groff not found: the page's layout is not looked at"
fi
