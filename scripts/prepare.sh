# Sourced by ./check and ./rehearse: what a fresh Debian 12 or 13 needs before it can build.

# What builds and runs the gateway and the tool, and what only the tests need.
BUILD_PACKAGES="cmake ninja-build g++ pkg-config procps libicu-dev icu-devtools libpugixml-dev
    libprotobuf-dev protobuf-compiler libasio-dev nettle-dev zlib1g-dev nlohmann-json3-dev
    libcli11-dev bubblewrap"
TEST_PACKAGES="libgtest-dev libgmock-dev faketime python3-jsonschema"

# install_packages NAME...: installs those that are missing; says nothing when none is.
install_packages() {
    missing=""
    for package in "$@"; do
        status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) || status=""
        [ "$status" = installed ] || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0

    as_root=""
    if [ "$(id -u)" -ne 0 ]; then
        as_root=sudo
        command -v sudo >/dev/null || {
            echo "These Debian packages are missing, and neither root nor sudo is at hand:$missing" >&2
            return 1
        }
    fi
    echo "Installing Debian packages:$missing"
    log=$(mktemp)
    if ! { $as_root apt-get update &&
        $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $missing
    } >"$log" 2>&1; then
        tail -n 20 "$log" >&2
        echo "Installing failed; the whole output is in $log" >&2
        return 1
    fi
    rm -f "$log"
}

# configure PRESET [CMAKE_OPTION...]: sets build/PRESET up. Warnings are errors for everybody who builds
# there: with other options everything would be compiled again.
configure() {
    mkdir -p "build/$1"
    log=build/$1/configure.log
    if ! cmake -DZEVA_WERROR=ON --preset "$@" >"$log" 2>&1; then
        cat "$log" >&2
        return 1
    fi
}

# build PRESET [CMAKE_OPTION...]: configures and builds into build/PRESET.
build() {
    configure "$@"
    cmake --build --preset "$1"
}
