# Shared by the scripts of this folder: where the project is, and the packages it needs.
# shellcheck shell=bash

project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# What the build, the server, the demo and the tests need of Debian 12.
packages=(
    g++ cmake ninja-build ccache pkg-config
    liblog4cxx-dev libprotobuf-dev protobuf-compiler
    libasio-dev libboost-dev libpocketsphinx-dev pocketsphinx-en-us
    libsndfile1-dev libsamplerate0-dev libsoxr-dev libcli11-dev nlohmann-json3-dev
    libgtest-dev libgmock-dev libbenchmark-dev pocketsphinx-testdata jq sox clang-format iproute2
)

# install_packages [PACKAGE...]: installs what is missing, with these besides, as root or through
# sudo. Says nothing when nothing is.
install_packages() {
    local missing
    missing=$(for package in "${packages[@]}" "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' ||
            echo "$package"
    done)
    [ -n "$missing" ] || return 0
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null ||
            { echo "These packages are missing, and only root can install them:" $missing >&2; return 1; }
        as_root=(sudo)
    fi
    echo "Installing:" $missing
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends $missing >/dev/null
}

# configure_and_build PRESET [TARGET...]: quiet unless something fails.
configure_and_build() {
    local preset=$1 log
    shift
    log=$(mktemp)
    echo "Building ($preset) ..."
    if ! { (cd "$project" && cmake --preset "$preset" \
            -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache) &&
        (cd "$project" && cmake --build --preset "$preset" ${1:+--target "$@"}); } >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}
