#!/usr/bin/env python3
"""Writes what scripts/check_coverage.py gathered as pages: one for each file of the agent, and an index.

Usage: coverage_pages.py ROOT COVERAGE FOLDER
"""

import html
import json
import pathlib
import sys

STYLE = """<!DOCTYPE html><meta charset="utf-8"><style>
body, table { font: 13px/1.35 monospace } td { white-space: pre; padding: 0 8px } a { color: inherit }
.count, .number { text-align: right; color: #777 } .no { background: #f6b8b8 } .part { background: #f8e6a0 }
</style>"""


def cell(text, kind=""):
    return f'<td class="{kind}">{html.escape(str(text))}</td>'


def page(source, lines):
    counted = {line["line"]: line for line in lines}
    rows = []
    for number, text in enumerate(source.splitlines(), 1):
        line = counted.get(number)
        count, branches = (line["count"], line["branches"]) if line else ("", [])
        unreached = ",".join(str(index) for index, taken in enumerate(branches, 1) if taken == 0)
        kind = "no" if count == 0 else "part" if unreached else ""
        shown = f"{unreached}/{len(branches)}" if unreached else ""
        rows.append(f'<tr class="{kind}" id="{number}">' + cell(number, "number") + cell(count, "count") +
                    cell(shown, "count") + cell(text) + "</tr>")
    return "<table><tr><td>line<td>count<td>branches that are not taken<td></tr>" + "\n".join(rows) + "</table>"


def shares(lines):
    """Unreached lines, lines, unreached branches, branches."""
    branches = [taken for line in lines for taken in line["branches"]]
    return sum(line["count"] == 0 for line in lines), len(lines), branches.count(0), len(branches)


def write_pages(root, coverage, folder):
    folder.mkdir(parents=True, exist_ok=True)
    rows = []
    for file, lines in json.loads(coverage.read_text(encoding="utf-8")).items():
        name = file.replace("/", ".") + ".html"
        (folder / name).write_text(f"{STYLE}<h3>{file}</h3>{page((root / file).read_text(encoding='utf-8'), lines)}",
                                   encoding="utf-8")
        share = shares(lines)
        kind = "no" if share[0] else "part" if share[2] else ""
        rows.append(f'<tr class="{kind}"><td><a href="{name}">{file}</a></td>' +
                    "".join(cell(number, "count") for number in share) + "</tr>")
    head = "<tr><td>file<td>unreached lines<td>of<td>unreached branches<td>of</tr>"
    (folder / "index.html").write_text(f"{STYLE}<table>{head}{chr(10).join(rows)}</table>", encoding="utf-8")


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    write_pages(*map(pathlib.Path, sys.argv[1:]))
