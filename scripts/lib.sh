# shellcheck shell=bash
# Functions that the project's scripts share; sourced, with the project's root as current folder.

# The default number of jobs: the cores that this process may use.
jobs="${ZEM_JOBS:-$(nproc)}"

# Paths below the project count as relative, so that clones share what ccache holds.
export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$PWD}" CCACHE_NOHASHDIR="${CCACHE_NOHASHDIR:-1}"

heading() {
    printf '\n== %s\n' "$1"
}

# configure <preset>: runs CMake unless the preset's build folder is newer than the presets. Changes
# of CMake files are seen by the build itself.
configure() {
    local build="build/$1"
    if [[ ! -e "$build/build.ninja" || CMakePresets.json -nt "$build/build.ninja" ]]; then
        cmake --preset "$1" -Wno-dev
    fi
}

# build <preset> [target...]: configures where needed and builds the targets, or everything.
build() {
    local preset="$1"
    shift
    configure "$preset"
    cmake --build "build/$preset" -j "$jobs" --target "${@:-all}"
}

# run_tests <preset> [argument...]: runs the preset's tests.
run_tests() {
    local preset="$1"
    shift
    ctest --preset "$preset" -j "$jobs" "$@"
}
