#!/bin/sh
# The simulated display for your own tests; copy it. 'display.sh ADDRESS LINE...' carries out scenario lines and ends with
# status 1 at one that can't be, or at a wait that was not met.
set -eu
address=${1%/}
shift
for line in "$@"; do
    answer=$(curl -s --data "$line" "$address/api/do")
    case $answer in
        '{"ok":true'*) ;;
        *)
            echo "$line: $answer" >&2
            exit 1
            ;;
    esac
done
