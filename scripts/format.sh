#!/usr/bin/env bash
# Formats all of our C++ in place; with --check it changes nothing, names the files that differ and
# fails if there are any.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# Versions lay code out differently, so only this one is used.
version=14
formatter=
for candidate in "clang-format-$version" clang-format; do
    if "$candidate" --version 2>/dev/null | grep -q "version $version\."; then
        formatter="$candidate"
        break
    fi
done
if [[ -z "$formatter" ]]; then
    echo "format: clang-format $version is not installed; see scripts/install_deps.sh" >&2
    exit 2
fi

mapfile -d '' files < <(find platform zem_utils zem_db host tests bench fuzz cmake examples \
    -type f \( -name '*.h' -o -name '*.cpp' \) -print0 2>/dev/null | sort -z)
if [[ ${#files[@]} -eq 0 ]]; then
    exit 0
fi

case "${1:-}" in
--check)
    failed="$(printf '%s\0' "${files[@]}" |
        xargs -0 "$formatter" --dry-run 2>&1 |
        sed -n 's/^\([^:]*\):[0-9]*:[0-9]*: warning:.*/\1/p' | sort -u)"
    if [[ -n "$failed" ]]; then
        sed 's/^/format: differs from .clang-format: /' <<<"$failed" >&2
        exit 1
    fi
    ;;
'')
    printf '%s\0' "${files[@]}" | xargs -0 -P "$(nproc)" -n 20 "$formatter" -i
    ;;
*)
    echo "usage: scripts/format.sh [--check]" >&2
    exit 2
    ;;
esac
