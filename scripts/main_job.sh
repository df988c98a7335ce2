#!/usr/bin/env bash
# The main job: a real part goes into a new drawing with values attached to its solids, and comes
# back. Every opening of the drawing is a process of its own; one of them has not loaded the module.
#
#   scripts/main_job.sh ZEMHOST [PART.step]
set -euo pipefail

zemhost="${1:?usage: main_job.sh ZEMHOST [PART.step]}"
part="${2:-/usr/share/opencascade/data/step/linkrods.step}"
if [[ ! -x "$zemhost" ]]; then
    echo "main_job: $zemhost is not built" >&2
    exit 1
fi

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
drawing="$work/part.zdw"

step() {
    printf '\n-- %s\n' "$1"
}

step "import ${part##*/} ($(stat -c %s "$part") bytes)"
"$zemhost" import "$part" "$drawing"
"$zemhost" info "$drawing"

# A small bag fits into extended data; one of more than 15999 bytes goes into a dictionary.
python3 - "$work" <<'PYTHON'
import json
import sys

work = sys.argv[1]
small = {"name": "connecting rod", "count": 4, "length": 182.5, "checked": True}
large = {f"station {i:04}": {"position": i * 0.25, "note": f"measured point {i}"} for i in range(600)}
for name, values in (("small", small), ("large", large)):
    with open(f"{work}/{name}.json", "w", encoding="utf-8") as file:
        json.dump(values, file)
PYTHON

step "attach a small and a large bag to each solid"
mapfile -t solids < <("$zemhost" info --json "$drawing" | python3 -c '
import json
import sys

def solids(node):
    if isinstance(node, dict):
        if node.get("class") == "OdDb3dSolid":
            yield node["handle"]
        for child in node.values():
            yield from solids(child)
    elif isinstance(node, list):
        for child in node:
            yield from solids(child)

print("\n".join(solids(json.load(sys.stdin))))
')
for handle in "${solids[@]}"; do
    "$zemhost" bag set "$drawing" "$handle" small --file "$work/small.json"
    "$zemhost" bag set "$drawing" "$handle" large --file "$work/large.json"
done
printf '%d solids, drawing of %d bytes\n' "${#solids[@]}" "$(stat -c %s "$drawing")"

# compare <when>: every value of every bag against what was attached.
compare() {
    step "compare every value, $1"
    local handle name
    for handle in "${solids[@]}"; do
        for name in small large; do
            "$zemhost" bag get "$drawing" "$handle" "$name" --compare "$work/$name.json"
        done
    done
    "$zemhost" check "$drawing"
}

compare "in a second process"
step "save again without the module"
"$zemhost" --without-module save "$drawing"
compare "after a save without the module"
step "the part came back whole"
