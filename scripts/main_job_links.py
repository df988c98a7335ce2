#!/usr/bin/env python3
"""Edits a part whose faces, edges and vertices are all linked, and prints what became of the links.

    main_job_links.py ZEMHOST DRAWING

Every edit, and every look at the drawing between them, is a process of its own. Ends with 1 if the
links don't say what the edits say, or the edits don't say what geometry says.
"""

import json
import subprocess
import sys

SELECTION = "everything"


def ask(zemhost, *words, allowed=(0,)):
    answer = subprocess.run([zemhost, *words, "--json"], stdout=subprocess.PIPE)
    if answer.returncode not in allowed:
        sys.exit(f"main_job_links: zemhost {' '.join(words)} ended with {answer.returncode}")
    return json.loads(answer.stdout)


def solid_of(tree):
    """The one solid of model space."""
    space = next(r for r in tree["tables"][0]["records"] if r["name"].lower() == "*model_space")
    return next(e for e in space["entities"] if e["class"] == "OdDb3dSolid")


def point(coordinates):
    return ",".join(repr(float(c)) for c in coordinates)


class Job:
    def __init__(self, zemhost, drawing):
        self.zemhost = zemhost
        self.drawing = drawing
        self.handle = solid_of(ask(zemhost, "info", drawing))["handle"]
        self.differences = 0
        self.rows = []

    def edit(self, kind, *words):
        answer = ask(self.zemhost, "edit", kind, self.drawing, self.handle, *words,
                     "--check-geometry", allowed=(0, 1))
        links = answer["links"]
        geometry = answer["geometry"]
        self.differences += geometry["differences"]
        if not self.rows:
            self.compare_answers(answer)
        self.rows.append(
            [answer["edit"]]
            + [links[key] for key in ("stayed", "moved", "split", "merged", "gone", "ambiguous")]
            + [geometry["parts"], geometry["differences"], geometry["blind"]]
        )
        self.compare_links(answer["counts"])
        return answer

    def compare_answers(self, answer):
        """Until the first edit each part has one link, so links and parts have the same answers."""
        links = answer["links"]
        counted = {key: links[key] for key in ("split", "merged", "gone", "ambiguous")}
        counted["exact"] = links["stayed"] + links["moved"]
        for key, count in counted.items():
            parts = sum(answer[kind][key] for kind in ("faces", "edges", "vertices"))
            self.differences += abs(parts - count)

    def compare_links(self, counts):
        """In a process of its own: each living link names a part that the solid has."""
        listed = ask(self.zemhost, "links", "list", self.drawing)["links"]
        for link in listed:
            if link["link"] is None or link["answer"] == "ambiguous":
                continue
            kind, number = link["names"].split(":")[1:]
            nouns = {"face": "faces", "edge": "edges", "vertex": "vertices"}
            if not link["there"] or int(number) > counts[nouns[kind]]:
                self.differences += 1
        found = ask(self.zemhost, "links", "verify", self.drawing, allowed=(0, 1))["findings"]
        self.differences += sum(finding["damage"] for finding in found)

    def print(self):
        heads = ["edit", "stayed", "moved", "split", "merged", "gone", "ambiguous", "parts",
                 "differ", "blind"]
        rows = [heads] + [[str(cell) for cell in row] for row in self.rows]
        widths = [max(len(row[column]) for row in rows) for column in range(len(heads))]
        for row in rows:
            cells = [row[0].ljust(widths[0])]
            cells += [cell.rjust(width) for cell, width in zip(row[1:], widths[1:])]
            print("  " + "  ".join(cells))


def main():
    job = Job(*sys.argv[1:3])
    added = subprocess.run([job.zemhost, "links", "add", job.drawing, SELECTION,
                            job.handle + ":all"], check=True, stdout=subprocess.PIPE, text=True)
    print("  " + added.stdout.strip())
    facts = ask(job.zemhost, "edit", "parts", job.drawing, job.handle)
    low, high = facts["boxMin"], facts["boxMax"]
    middle = [(a + b) / 2 for a, b in zip(low, high)]
    size = [b - a for a, b in zip(low, high)]
    slot = [middle[0] - size[0] / 40, low[1] - 1, middle[2] + size[2] / 4]
    job.edit("cut", "--box", point(slot), point([size[0] / 20, size[1] + 2, size[2]]))
    job.edit("fillet", "--edges", "1", "--radius", repr(min(size) / 100))
    hole = job.edit("hole", "--at", point([middle[0] + size[0] / 4, middle[1], high[2] + 1]),
                    "--radius", repr(min(size) / 20))
    job.edit("unify")
    job.edit("set", str(hole["step"]), "radius", repr(min(size) / 16), "--reach",
             repr(min(size) / 10))
    job.print()
    if job.differences:
        sys.exit(f"main_job_links: {job.differences} differences")


if __name__ == "__main__":
    main()
