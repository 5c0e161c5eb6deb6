#!/bin/sh
# What verify-random-frames is asked for: the numbers that it refuses, by name, and one that it does not.
#
#   random_frames.sh PROGRAM
set -eu
program=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

refuses() { # FRAMES SEED WHAT
    status=0
    said=$("$program" "$1" "$2" "$folder/capture" "$folder/expected" 2>&1) || status=$?
    if [ "$status" -ne 2 ] || [ "$said" != "verify-random-frames: $3" ] || [ -n "$(ls "$folder")" ]; then
        echo "random_frames: with '$1' and '$2' it exits with $status, and says: $said"
        exit 1
    fi
}
for wrong in '' 0 00 -1 +1 ' 1' '1 ' 1x x 0x1 1.5 1e3 18446744073709551616; do
    refuses "$wrong" 1 "not a number of frames: $wrong"
done
for wrong in '' -1 ' 1' 1x x 18446744073709551616; do
    refuses 1 "$wrong" "not a seed: $wrong"
done

"$program" 3 0 "$folder/capture" "$folder/expected"
[ "$(wc -l <"$folder/expected")" -eq 4 ] || {
    echo "random_frames: not three frames and the names of their fields"
    exit 1
}
