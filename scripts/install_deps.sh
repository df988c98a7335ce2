#!/usr/bin/env bash
# Installs the distribution's packages (Debian 12) that building, testing and running need, as far
# as they are missing. With all of them in place it does nothing and needs no network.
set -euo pipefail

packages=(
    # Tools
    g++ clang clang-format cmake ninja-build ccache python3
    # Libraries of the platform and of the host's program
    libsqlite3-dev zlib1g-dev libcli11-dev nlohmann-json3-dev
    # Tests, benchmarks and fuzzing
    libgtest-dev libgmock-dev librapidcheck-dev libbenchmark-dev libclang-rt-14-dev
    # The geometry kernel, its document framework as the benchmarks' peer, and sample parts
    libocct-foundation-dev libocct-modeling-data-dev libocct-modeling-algorithms-dev
    libocct-data-exchange-dev libocct-ocaf-dev occt-misc netgen-doc
)

is_installed() {
    [[ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null || true)" == installed ]]
}

missing=()
for package in "${packages[@]}"; do
    is_installed "$package" || missing+=("$package")
done
if [[ ${#missing[@]} -eq 0 ]]; then
    exit 0
fi

as_root=()
if [[ "$(id -u)" -ne 0 ]]; then
    if ! command -v sudo >/dev/null; then
        echo "install_deps: these packages are missing, and there is no root or sudo to" \
            "install them: ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi

echo "install_deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -q
"${as_root[@]}" apt-get install -q -y --no-install-recommends "${missing[@]}"
