#!/usr/bin/env bash
# The main job: real parts go into a new drawing with values attached to their solids, and come back;
# blocks, variables and external drawings do; and links follow a part through five edits.
# Every command is a process of its own; those of step 4 have not loaded the module. Fails at the first
# value, object or byte that differs.
#
#   scripts/main_job.sh ZEMHOST [FOLDER]
#
# The drawings are left in FOLDER (default: build/main-job) for a look at them.
set -euo pipefail

zemhost="${1:?usage: main_job.sh ZEMHOST [FOLDER]}"
work="${2:-build/main-job}"
if [[ ! -x "$zemhost" ]]; then
    echo "main_job: $zemhost is not built" >&2
    exit 1
fi

# The parts lie in packages of the distribution, which may compress what it calls documentation.
parts=(
    /usr/share/opencascade/data/step/linkrods.step
    /usr/share/opencascade/data/step/screw.step
    /usr/share/doc/netgen/examples/frame.step
)

mkdir -p "$work"
rm -f "$work"/{parts,before,copy,assembly,library,assembly-before,assembly-copy,links}.zdw
rm -f "$work"/{bags,bags-at-the-end,screw}.json
drawing="$work/parts.zdw"
assembly="$work/assembly.zdw"
library="$work/library.zdw"
links="$work/links.zdw"
started=$SECONDS

step() {
    printf '\n== %s\n' "$1"
}

run() {
    printf '\n$ zemhost %s\n' "$*"
    "$zemhost" "$@"
}

# plain_part <path>: the path of a part that is not compressed.
plain_part() {
    if [[ -f "$1" ]]; then
        echo "$1"
    elif [[ -f "$1.gz" ]]; then
        gzip -dc "$1.gz" >"$work/${1##*/}"
        echo "$work/${1##*/}"
    else
        echo "main_job: $1 is not installed; see scripts/install_deps.sh" >&2
        return 1
    fi
}

step "1. Import three real parts into a new drawing"
mode=()
for part in "${parts[@]}"; do
    plain="$(plain_part "$part")"
    run import "${mode[@]}" "$plain" "$drawing"
    mode=(--append)
done

step "2. Attach bags to the solids: small ones, which go into extended data, and a large one"
"$zemhost" info --json "$drawing" | scripts/main_job_bags.py "$work/bags.json"
run bag import "$drawing" "$work/bags.json"
cp "$drawing" "$work/before.zdw"

step "3. Reopen in a second process and compare every value"
run bag compare "$drawing" "$work/bags.json"
run check "$drawing"
run info "$drawing"

step "4. Reopen without the module, and save again: in place, and as another drawing"
run --without-module resave --rewrite "$drawing"
run --without-module resave --rewrite "$drawing" "$work/copy.zdw"
run --without-module check "$work/copy.zdw"

step "5. With the module again: compare every value and every byte of every object"
for saved in "$drawing" "$work/copy.zdw"; do
    run bag compare "$saved" "$work/bags.json"
    run compare "$work/before.zdw" "$saved"
    run check "$saved"
done
run bag export "$work/copy.zdw" "$work/bags-at-the-end.json"

step "6. Make a block of an imported part, clone it, and write it to a second drawing"
run import "$(plain_part "${parts[1]}")" "$assembly"
"$zemhost" info --json "$assembly" >"$work/screw.json"
run block make --replace "$assembly" screw
run block clone "$assembly" screw screw-clone
run block wblock "$assembly" "$library" screw

step "7. Attach the second drawing, and drive the scale of two inserts by a variable"
run xref attach "$assembly" "$library"
run vars set "$assembly" size 2
run vars set "$assembly" growth "size*1.5 + 1"
run block insert "$assembly" screw-clone --at 60,0,0 --scale-variable growth
run block insert "$assembly" library --at 120,0,0 --rotation 90 --scale 1,1,-1 \
    --scale-variable growth
run vars set "$assembly" size 3

step "8. Reopen in new processes, look at it and compare it with what went in"
run block list "$assembly"
run vars list "$assembly"
run xref list "$assembly"
run check "$assembly"
echo
scripts/main_job_blocks.py "$work/screw.json" "$zemhost" "$assembly" "$library"

step "9. Save it again without the module, and compare again"
cp "$assembly" "$work/assembly-before.zdw"
run --without-module resave --rewrite "$assembly" "$work/assembly-copy.zdw"
run compare "$work/assembly-before.zdw" "$work/assembly-copy.zdw"
run check "$work/assembly-copy.zdw"
echo
scripts/main_job_blocks.py "$work/screw.json" "$zemhost" "$work/assembly-copy.zdw" "$library"

step "10. Link every face, edge and vertex of a real part, edit it five times, and compare"
run import "$(plain_part "${parts[1]}")" "$links"
echo
scripts/main_job_links.py "$zemhost" "$links"
run check "$links"

step "Nothing is lost. Done in $((SECONDS - started)) s; the drawings are in $work"
ls -l --time-style=+ "$work" | awk 'NR > 1 { printf "  %10d bytes  %s\n", $5, $6 }'
