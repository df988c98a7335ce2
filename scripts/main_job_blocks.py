#!/usr/bin/env python3
"""Compares an assembly with what the main job put into it, and prints the comparison.

    main_job_blocks.py PART_JSON ZEMHOST ASSEMBLY LIBRARY

PART_JSON is what 'zemhost info --json' told of the drawing when it held nothing but the imported
part. Each look at a drawing is a process of its own. Ends with 1 if anything differs.
"""

import json
import os
import subprocess
import sys

SIZE = 3
GROWTH = SIZE * 1.5 + 1
SOLID_KEYS = ("label", "faces", "edges", "vertices", "bodyFormat", "bodyBytes", "bodyChecksum")


class Comparison:
    """Rows of what is compared, with what was expected and found."""

    def __init__(self):
        self.rows = []

    def add(self, what, expected, found):
        self.rows.append((what, shown(expected), shown(found)))

    def differences(self):
        return sum(expected != found for _, expected, found in self.rows)

    def print(self):
        """What was found, and what was expected only where that is something else."""
        widths = [max(len(row[column]) for row in self.rows) for column in (0, 2)]
        for what, expected, found in self.rows:
            verdict = "equal" if expected == found else f"DIFFERENT, expected {expected}"
            print(f"  {what.ljust(widths[0])}  {found.ljust(widths[1])}  {verdict}")


def shown(value):
    return "none" if value is None else str(value)


def ask(zemhost, *words):
    answer = subprocess.run([zemhost, *words, "--json"], check=True, stdout=subprocess.PIPE)
    return json.loads(answer.stdout)


def blocks(tree):
    """The blocks of a drawing by name."""
    return {record["name"]: record for record in tree["tables"][0]["records"]}


def solids(block):
    return [
        {key: entity.get(key) for key in SOLID_KEYS}
        for entity in block.get("entities", [])
        if entity["class"] == "OdDb3dSolid"
    ]


def text(solid):
    return "{label}: {faces} faces, {edges} edges, {vertices} vertices, body {bodyChecksum}".format(
        **solid
    )


def numbers(values):
    return ", ".join(f"{value:g}" for value in values)


def place(insert):
    return f"({numbers(insert['position'])}), turned by {insert['rotationDegrees']:g}"


def compare_solids(comparison, part, assembly, library):
    expected = solids(blocks(part)["*Model_Space"])
    copies = (
        ("block screw", blocks(assembly).get("screw", {})),
        ("its clone", blocks(assembly).get("screw-clone", {})),
        ("second drawing", blocks(library)["*Model_Space"]),
    )
    for name, block in copies:
        found = solids(block)
        comparison.add(f"{name}: solids", len(expected), len(found))
        for one, other in zip(expected, found):
            comparison.add(name, text(one), text(other))


def compare_variables(comparison, zemhost, assembly):
    variables = {
        variable["name"]: variable
        for variable in ask(zemhost, "vars", "list", assembly)["variables"]
    }
    for name, value, expression in (("size", SIZE, None), ("growth", GROWTH, "size*1.5 + 1")):
        found = variables.get(name, {})
        comparison.add(f"variable {name}", float(value), found.get("value"))
        comparison.add(f"variable {name}: expression", expression, found.get("expression"))


def compare_inserts(comparison, assembly):
    """The part in its own place, its clone and the external drawing, those two driven."""
    expected = (
        ("screw", "(0, 0, 0), turned by 0", "1, 1, 1", None),
        ("screw-clone", "(60, 0, 0), turned by 0", numbers([GROWTH] * 3), "growth"),
        ("library", "(120, 0, 0), turned by 90", numbers([GROWTH, GROWTH, -GROWTH]), "growth"),
    )
    inserts = {insert["block"]: insert for insert in blocks(assembly)["*Model_Space"]["entities"]}
    comparison.add("inserts in model space", len(expected), len(inserts))
    for block, where, scale, variable in expected:
        found = inserts[block]
        comparison.add(f"insert of {block}: place", where, place(found))
        comparison.add(f"insert of {block}: scale", scale, numbers(found["scale"]))
        comparison.add(f"insert of {block}: driven by", variable, found.get("scaleVariable"))


def compare_externals(comparison, zemhost, part, assembly):
    drawings = ask(zemhost, "xref", "list", assembly)["externalDrawings"]
    comparison.add("external drawings", 1, len(drawings))
    count = blocks(part)["*Model_Space"]["entityCount"]
    for drawing in drawings:
        name = f"external drawing {drawing['name']}"
        file = os.path.basename(drawing["path"])
        found = "{state}, entities {entities}, inserts {references}".format(**drawing)
        comparison.add(name, f"library.zdw loaded, entities {count}, inserts 1", f"{file} {found}")


def main():
    part_json, zemhost, assembly, library = sys.argv[1:]
    with open(part_json, encoding="utf-8") as file:
        part = json.load(file)
    tree = ask(zemhost, "info", assembly)
    comparison = Comparison()
    compare_solids(comparison, part, tree, ask(zemhost, "info", library))
    compare_variables(comparison, zemhost, assembly)
    compare_inserts(comparison, tree)
    compare_externals(comparison, zemhost, part, assembly)
    comparison.print()
    differences = comparison.differences()
    print(f"  {len(comparison.rows)} comparisons: "
          + ("all equal" if differences == 0 else f"{differences} DIFFERENT"))
    sys.exit(1 if differences else 0)


main()
