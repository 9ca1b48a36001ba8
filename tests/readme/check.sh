#!/bin/sh
# Keeps README.md and the example programs in this directory in step.
#
#   check.sh README DIR            every ```c block of README equals DIR/NAME.c,
#                                  where NAME.c is named on the block's first
#                                  line, and every DIR/*.c has a block
#   check.sh README DIR NAME PROG  PROG's output equals the ```text block that
#                                  follows the code block of NAME
set -eu
readme=$1 dir=$2

# Prints the names of the code blocks, in order.
names() {
  awk '/^```c$/ { getline; if (match($0, /^\/\* [A-Za-z0-9_-]+\.c/)) print substr($0, 4, RLENGTH - 3) }' "$readme"
}

# Prints the code block of $1.
code_of() {
  awk -v name="$1" '
    /^```c$/ { inblock = 1; first = 1; mine = 0; next }
    inblock && /^```$/ { inblock = 0; next }
    inblock { if (first && index($0, "/* " name) == 1) mine = 1; first = 0; if (mine) print }
  ' "$readme"
}

# Prints the text block that follows the code block of $1.
output_of() {
  awk -v name="$1" '
    /^```c$/ { getline; found = (index($0, "/* " name) == 1); next }
    found && /^```text$/ { intext = 1; next }
    intext && /^```$/ { exit }
    intext { print }
  ' "$readme"
}

if [ $# -eq 2 ]; then
  status=0
  for name in $(names); do
    if ! code_of "$name" | diff -u "$dir/$name" - ; then
      echo "README.md: the block of $name differs from $dir/$name (- file, + README)" >&2
      status=1
    fi
  done
  for file in "$dir"/*.c; do
    name=$(basename "$file")
    names | grep -qx "$name" || { echo "README.md has no block for $name" >&2; status=1; }
  done
  exit $status
fi

name=$3 prog=$4
expected=$(output_of "$name")
[ -n "$expected" ] || { echo "README.md shows no output for $name" >&2; exit 1; }
actual=$("$prog")
if [ "$actual" != "$expected" ]; then
  echo "output of $name differs from README.md" >&2
  printf '%s\n' "$expected" > "${TMPDIR:-/tmp}/readme-expected.$$"
  printf '%s\n' "$actual" | diff -u "${TMPDIR:-/tmp}/readme-expected.$$" - >&2 || true
  rm -f "${TMPDIR:-/tmp}/readme-expected.$$"
  exit 1
fi
echo "$name: output matches README.md"
