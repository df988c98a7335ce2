#!/usr/bin/env bash
# Runs the random tests of a build again and again, each time with other sequences, and stops at the
# first that fails with what repeats it.
#
#   scripts/random_tests.sh [PRESET [ROUNDS]]    gcc-asan, 100 rounds
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

preset=${1:-gcc-asan}
rounds=${2:-100}
shopt -s nullglob
programs=("build/$preset"/bin/*_tests)
if ((${#programs[@]} == 0)); then
    echo "random_tests: build/$preset has no tests; build it first: cmake --build build/$preset" >&2
    exit 2
fi

# A random test of suite S is S.Name or S_RapidCheck.Name.
filter=$(grep -rhoP 'RC_GTEST_(FIXTURE_)?PROP\(\s*\w+,\s*\K\w+' tests | sed 's/^/*./' | paste -sd:)

log=$(mktemp)
trap 'rm -f "$log"' EXIT
for ((round = 1; round <= rounds; ++round)); do
    for program in "${programs[@]}"; do
        if ! "$program" --gtest_filter="$filter" >"$log" 2>&1; then
            cat "$log"
            echo "random_tests: $program failed in round $round" >&2
            exit 1
        fi
    done
    echo "round $round of $rounds passed"
done
