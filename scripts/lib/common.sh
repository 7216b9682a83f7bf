# Sourced by the scripts beside this folder: messages, the packages a build needs, and the build itself.
# shellcheck shell=bash

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

say() { printf '\n== %s\n' "$*"; }

fail() {
    printf '\n%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# Prints the comment block at the top of the calling script.
usage() { awk 'NR > 1 { if (!/^#/) exit; sub(/^# ?/, ""); print }' "$0"; }

build_packages=(g++ cmake ninja-build qt6-base-dev qt6-svg-dev libgdal-dev libgeos-dev libproj-dev libssl-dev libsqlite3-dev zlib1g-dev fonts-dejavu-core)
test_packages=(libgtest-dev libgmock-dev locales fonts-lohit-deva postgresql-15 postgresql-15-postgis-3 python3-gdal)
bench_packages=(libbenchmark-dev libgeos++-dev libboost-dev libnanoflann-dev libagg-dev libmapnik-dev pkg-config)
check_packages=(clang-format clang-tidy)
fuzz_packages=(clang libclang-rt-14-dev)

# need_packages <name>...: installs what is missing; without anything missing it needs no network and no rights.
need_packages() {
    local missing=() package
    for package in "$@"; do
        if [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)" != installed ]; then
            missing+=("$package")
        fi
    done
    if [ ${#missing[@]} -eq 0 ]; then
        return
    fi
    say "Installing from Debian: ${missing[*]}"
    local root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || fail "these packages are missing and there is no sudo to install them with: ${missing[*]}"
        root=(sudo)
    fi
    "${root[@]}" apt-get update -qq || fail "apt-get update failed; is there a network?"
    # Installing PostgreSQL would make and start a server of the machine's; here it serves tests only, see
    # scripts/lib/postgis.
    local no_server=/etc/postgresql-common/createcluster.d/cartolith.conf
    "${root[@]}" mkdir -p "${no_server%/*}"
    echo "create_main_cluster = false" | "${root[@]}" tee "$no_server" >/dev/null
    local code=0
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null ||
        code=$?
    "${root[@]}" rm -f "$no_server"
    [ $code -eq 0 ] || fail "apt-get could not install: ${missing[*]}"
}

# configure <preset> [cmake argument]...: the preset's build folder is build/<preset>.
configure() {
    local preset=$1
    shift
    say "Configuring ($preset) in build/$preset"
    mkdir -p build
    local log=build/$preset-configure.log
    cmake --preset "$preset" "$@" >"$log" 2>&1 ||
        { cat "$log"; fail "CMake could not configure the project, see above."; }
}

# build <preset> [cmake --build argument]...
build() {
    local preset=$1
    shift
    say "Building ($preset)"
    cmake --build --preset "$preset" "$@" || fail "the build failed, see above."
}

# configure_and_build <preset> [cmake argument]...
configure_and_build() {
    configure "$@"
    build "$1"
}
