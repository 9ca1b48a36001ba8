#!/bin/sh
# Usage: man_page.sh KEL_JSON MAN_PAGE
# The man page and `kel-json --help` describe the same commands and options:
# every command and option that the help lists is in the page, and every
# option the page names is one the program knows.
set -eu
exe=$1 page=$2
fail=0

# roff writes a hyphen as "\-"; compare plain text.
text=$(sed 's/\\-/-/g' "$page")

commands=$("$exe" --help | sed -n '/^Commands:/,/^$/p' | awk 'NF && !/^Commands:/ {print $1}')
[ -n "$commands" ] || { echo "no commands found in kel-json --help" >&2; exit 1; }

help_options=""
for cmd in $commands; do
  printf '%s\n' "$text" | grep -qx "\.B kel-json $cmd" ||
    { echo "man page: no synopsis line for command '$cmd'" >&2; fail=1; }
  printf '%s\n' "$text" | grep -qx "\.B $cmd" ||
    { echo "man page: command '$cmd' is not described" >&2; fail=1; }
  opts=$("$exe" "$cmd" --help | grep -o -- '--[a-z0-9][a-z0-9-]*' | sort -u)
  for opt in $opts; do
    printf '%s\n' "$text" | grep -q -- "$opt\b" ||
      { echo "man page: option '$opt' of '$cmd' is missing" >&2; fail=1; }
  done
  help_options="$help_options $(echo $opts)"
done

for opt in $(printf '%s\n' "$text" | grep -o -- '--[a-z0-9][a-z0-9-]*' | sort -u); do
  case " $help_options " in
    *" $opt "*) ;;
    *) echo "man page: option '$opt' is not known to kel-json" >&2; fail=1 ;;
  esac
done

[ "$fail" = 0 ] && echo "man page agrees with kel-json --help"
exit "$fail"
