# Shared by the scripts: where the project is, and what it needs from the system. Sourced.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

jobs=$(nproc)

say() { printf '%s\n' "$*" >&2; }
step() { printf '\n== %s\n' "$*" >&2; }

# need_packages NAME...: installs those of Debian's packages that are missing.
need_packages() {
    local missing=() package
    for package in "$@"; do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    step "Installing ${missing[*]}"
    local root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null || ! sudo -v; then
            say "These packages are missing, and installing them takes root:"
            say "    apt-get install ${missing[*]}"
            exit 1
        fi
        root=(sudo)
    fi
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

build_packages=(
    g++ cmake ninja-build pkg-config ccache
    libcli11-dev libleptonica-dev libtiff-dev libpng-dev libjpeg62-turbo-dev zlib1g-dev
    libcairo2-dev
    nlohmann-json3-dev libgtest-dev libbenchmark-dev
    libsane-dev sane-utils
)

package_packages=(dpkg-dev debhelper lintian)

# Precompiled headers may come from the compiler cache too.
export CCACHE_SLOPPINESS=pch_defines,time_macros

# build PRESET [TARGET...]
build() {
    local preset=$1
    shift
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" -j "$jobs" ${1:+--target "$@"}
}
