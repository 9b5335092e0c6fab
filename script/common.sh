# What the scripts share; sourced, not run.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

say() { printf '%s\n' "$*" >&2; }

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

# The packages that each kind of work needs, by Debian's names.
packages_build="g++ cmake ninja-build pkg-config liblttng-ust-dev liblttng-ctl-dev libconfig-dev
    libcli11-dev nlohmann-json3-dev libedit-dev scdoc"
packages_trace="lttng-tools babeltrace2"
packages_test="make libgtest-dev libgmock-dev valgrind binutils python3 git spin
    man-db bash-completion zsh fish abigail-tools libglib2.0-dev libasio-dev catch2
    python3-venv python3-pip python3-setuptools python3-wheel libxml2-utils parallel"
packages_package="debhelper dh-python python3 dpkg-dev lintian fakeroot git"
packages_aarch64_build="g++-aarch64-linux-gnu pkg-config:arm64 liblttng-ust-dev:arm64
    liblttng-ctl-dev:arm64
    libconfig-dev:arm64 libedit-dev:arm64"
packages_aarch64="$packages_aarch64_build qemu-user libgtest-dev:arm64
    libgmock-dev:arm64"
packages_bench="libbenchmark-dev liblmdb-dev libcdb-dev libsqlite3-dev libglib2.0-dev"
packages_lint="clang clang-format clang-tidy"
packages_fuzz="clang libclang-rt-dev llvm" # the last names functions in reports, and so what leaks
packages_compared="udev dconf-cli tinycdb lmdb-utils libubootenv-tool"
packages_coverage="gcovr"
packages_fleet="mosquitto mosquitto-clients jq openssl python3"

# Installs those of the named packages that are missing; asks the archive only when one is.
need_packages() {
    local missing="" package
    for package in "$@"; do
        if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q ' installed$'; then
            missing="$missing $package"
        fi
    done
    [ -n "$missing" ] || return 0
    say "Installing:$missing"
    as_root apt-get update -qq
    # shellcheck disable=SC2086
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
        $missing >/dev/null
}

# With --publish as the script's first argument: what it prints becomes docs/results/SCRIPT.md.
publish_if_asked() {
    [ "${1-}" = --publish ] || return 0
    shift
    script=script/$(basename "$0")
    result=docs/results/$(basename "$0").md
    trap 'rm -f "$result.new"' EXIT
    {
        printf '`%s`, commit %s, %s, %s × %s\n\n```text\n' "$script${*:+ $*}" \
            "$(git rev-parse --short HEAD)" "$(date -u +%F)" "$(nproc)" \
            "$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1)"
        "$script" "$@"
        printf '```\n'
    } >"$result.new"
    mv "$result.new" "$result"
    exit 0
}

# Lets packages of another of Debian's architectures be installed here.
need_architecture() {
    dpkg --print-foreign-architectures | grep -qx "$1" && return
    as_root dpkg --add-architecture "$1"
    as_root apt-get update -qq
}

# Configures and builds a preset; a tree that is up to date costs a moment.
build_preset() {
    local preset=$1
    shift
    configure_preset "$preset" "$@"
    cmake --build --preset "$preset" -- --quiet
}

# The same for some of its targets: build_targets PRESET TARGET...
build_targets() {
    local preset=$1
    shift
    configure_preset "$preset"
    cmake --build --preset "$preset" --target "$@" -- --quiet
}

configure_preset() {
    local preset=$1
    shift
    [ -f "build/$preset/build.ninja" ] && [ $# -eq 0 ] ||
        cmake --preset "$preset" "$@" >/dev/null
}

# Puts programs on PATH: those of the build directory that is named, or else of the preset demo, which is
# built.
use_programs() {
    [ $# -gt 0 ] || build_preset demo
    PATH=$(realpath "${1:-build/demo}")/bin:$PATH
}
