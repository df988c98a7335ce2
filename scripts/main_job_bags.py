#!/usr/bin/env python3
"""Makes the bags of the main job: one for each solid of a drawing, of all kinds of values.

Reads what 'zemhost info --json' tells of the drawing on standard input, writes the bags into the file
named by its argument, in the form that 'zemhost bag import' takes. Every second solid gets a bag that
is too long for extended data.
"""

import json
import sys


def value(kind, content):
    return {"type": kind, "value": content}


def solids(node):
    """All solids below a node of the drawing's tree."""
    if isinstance(node, dict):
        if node.get("class") == "OdDb3dSolid":
            yield node
        node = list(node.values())
    if isinstance(node, list):
        for child in node:
            yield from solids(child)


def small_bag(solid, others):
    """One value of each kind."""
    return {
        "Name": value("string", f"{solid['label']}, geprüft, проверено, 確認済み"),
        "Faces": value("int", solid["faces"]),
        "Density": value("double", 7.85e-06),
        "Tolerance": value("double", 0.1),
        "Checked": value("bool", True),
        "Quality": value("int8", -3),
        "Self": value("handle", solid["handle"]),
        "Neighbour": value("id", {"reference": "soft pointer", "handle": "0"}),
        "Thumbnail": value("blob", bytes(range(256)).hex()),
        "Others": value("array of handle", others),
        "Offsets": value("array of double", [0.0, -2.5, 1e-300, 1.7976931348623157e308]),
        "Stock": value("map of string to int", {"workshop": 4, "store": 0}),
        "Tested": value("map of handle to bool", [[handle, True] for handle in others]),
        "Notes": value(
            "array of value",
            [
                value("string", "first"),
                value("map of int to value", [[1, value("array of int", [1, 2, 3])]]),
            ],
        ),
    }


def large_bag(solid, others):
    """The same and a measured point for each of a few hundred stations."""
    bag = small_bag(solid, others)
    for number in range(400):
        bag[f"Station {number:03}"] = value(
            "map of string to double",
            {"x": number * 0.25, "y": 1 / (number + 1), "z": -number / 3},
        )
    return bag


def main():
    found = list(solids(json.load(sys.stdin)))
    if not found:
        sys.exit("main_job_bags: the drawing has no solids")
    bags = {}
    for index, solid in enumerate(found):
        others = [other["handle"] for other in found if other is not solid]
        make = large_bag if index % 2 else small_bag
        bags[solid["handle"]] = make(solid, others)
    with open(sys.argv[1], "w", encoding="utf-8") as file:
        json.dump(bags, file, ensure_ascii=False, indent=1)
    print(f"{len(bags)} bags with {sum(map(len, bags.values()))} values in {sys.argv[1]}")


main()
