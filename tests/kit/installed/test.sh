#!/usr/bin/env bash
# Installs a build into a directory of its own, and builds and runs clients against it.
# usage: test.sh BUILD COMPILER C-COMPILER FLAGS
set -euo pipefail

prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$1" --prefix "$prefix" >/dev/null
shift
"$(dirname "$0")/runClients" "$prefix" "$@"
