#!/usr/bin/env bash
# Installs a build into a directory of its own, and builds a client's test against it with pkg-config
# and with find_package; then also with AddressSanitizer and ThreadSanitizer, which may report nothing.
# usage: test.sh BUILD COMPILER FLAGS
set -euo pipefail

build=$1 compiler=$2 flags=$3
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig

# Runs a client; it must print what it read and nothing else.
expect_run() {
    local output
    output=$("$@" 2>&1) || { printf '%s\n' "$output"; exit 1; }
    [ "$output" = "gain 20, 19 changes" ] || { printf '%s: %s\n' "$1" "$output"; exit 1; }
}

# With pkg-config the commands are found in PATH.
for option in "" -fsanitize=address,undefined -fsanitize=thread; do
    # shellcheck disable=SC2046,SC2086
    "$compiler" $flags $option -std=c++17 -g -Wall -Wextra -Wpedantic -Werror "$here/client.cpp" \
        -o "$work/client" $(pkg-config --cflags --libs varnix-kit)
    PATH=$prefix/bin:$PATH LD_LIBRARY_PATH=$prefix/lib expect_run "$work/client"
done

# With CMake they are those of the installation.
cmake -S "$here" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" \
    -DVERSION="$(pkg-config --modversion varnix-kit)" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/build" >/dev/null
expect_run "$work/build/client"
