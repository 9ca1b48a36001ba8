#!/bin/sh
# The demo of `make demo`: runs kel-demo and kel-json on the bundled example
# documents, showing each command before its output.
# Usage: examples/demo.sh BUILD_DIR
set -u
build=${1:-build}
cd "$(dirname "$0")/.."
PATH="$PWD/$build/tools:$PATH"
export PATH

run() {
  printf '\n$ %s\n' "$*"
  sh -c "$*"
  status=$?
  [ "$status" -eq 0 ] || printf '(exit status %d)\n' "$status"
}

run "$build/examples/kel-demo"
run kel-json check examples/services.json examples/production.json
run kel-json check examples/broken.json
run kel-json fmt --sort examples/services.json
run kel-json get examples/services.json /services/api/limits
run kel-json get --deref --compact examples/services.json /services/api/limits
run kel-json get examples/services.json /services/api/env
run "kel-json expand examples/services.json | kel-json get --sort - /services/api"
run kel-json merge examples/services.json examples/production.json
run "kel-json merge --prefer right examples/services.json examples/production.json | kel-json get --sort - /services/api"
run "echo '{\"services\": {\"api\": {\"port\": 8080}}}' | kel-json contains - examples/services.json && echo contained"
run "kel-json set --compact --sort examples/production.json /services/api/env/REGION '\"us-east\"'"
exit 0
