#!/usr/bin/env bash
# Installs a build into a directory of its own, builds a client against it with pkg-config and with
# find_package, and runs both; then once more with a library that LD_LIBRARY_PATH alone puts in.
# usage: test.sh BUILD CLIENT_DATABASE COMPILER FLAGS
set -euo pipefail

build=$1 client_database=$2 compiler=$3 flags=$4
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$*" >&2
    exit 1
}

prefix=$work/prefix
for component in runtime dev platform; do
    cmake --install "$build" --prefix "$prefix" --component "$component" >/dev/null
done

"$client_database" "$work"
cat >"$work/node.cfg" <<EOF
varnix = { component_versions = (
    { component_id = "board"; revision = "1"; file_paths = [ "$work/component.db" ]; }
); };
EOF
export sys_uflash_prod_db_dev=$work/production.db VARNIX_ITC_DIR=$work/itc
unset sys_uflash_prod_db_dev_dev

version=$(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --modversion varnix)

# Runs a client with LD_LIBRARY_PATH; it must print its values and run with that path's library.
expect_run() {
    local client=$1 libraries=$2 output found
    output=$(LD_LIBRARY_PATH=$libraries "$client" "$work/node.cfg")
    [ "$output" = "$version 17 31" ] || fail "$client printed \"$output\""
    found=$(LD_LIBRARY_PATH=$libraries ldd "$client")
    for library in libvarnix.so.0 libitc.so.1 libtpt.so.0; do
        [[ $found == *"$library => ${libraries:-$prefix/lib}/"* ]] ||
            fail "$client does not run with $library of ${libraries:-$prefix/lib}"
    done
}

# shellcheck disable=SC2046,SC2086
PKG_CONFIG_PATH=$prefix/lib/pkgconfig "$compiler" $flags -std=c++11 -Wall -Wextra -Wpedantic -Werror \
    "$here/client.cpp" -o "$work/byPkgConfig" \
    $(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags --libs varnix)
expect_run "$work/byPkgConfig" "$prefix/lib"

cmake -S "$here" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" -DVERSION="$version" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/build" >/dev/null
expect_run "$work/build/client" ""

cp -a "$prefix/lib" "$work/replacement"
expect_run "$work/byPkgConfig" "$work/replacement"
expect_run "$work/build/client" "$work/replacement"

# No file that is installed names the place where it was built.
! grep -rlF "$build" "$prefix/lib/pkgconfig" "$prefix/lib/cmake" "$prefix/include" ||
    fail "an installed file names $build"
dynamic=$(readelf -d "$prefix/lib/libvarnix.so")
[[ $dynamic != *RPATH* ]] || fail "the installed library has an RPATH"
# shellcheck disable=SC2016
[[ $dynamic == *'Library runpath: [$ORIGIN]'* ]] ||
    fail "the installed library looks for its platform elsewhere than beside itself"
