#!/bin/sh
# Compares the library's exported dynamic symbols with the documented list.
set -eu
lib=$1
expected=$2
actual=$(nm -D --defined-only "$lib" | awk '$2 != "A" { print $3 }' | sed 's/@.*//' | sort -u)
if ! diff -u "$expected" - <<EOT
$actual
EOT
then
  echo "exported symbols differ from $expected (- missing, + unexpected)" >&2
  exit 1
fi
