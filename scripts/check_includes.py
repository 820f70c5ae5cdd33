#!/usr/bin/env python3
"""Compares every #include of the tree with the tables of docs/architecture.md and with scripts/library-owners.

Usage: check_includes.py ROOT < list of files. Prints one line a finding; exit status 1 when there is one.
"""

import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')


def table(text, first_column):
    """The rows of the Markdown table whose first heading is first_column, as lists of cells."""
    rows = []
    inside = False
    for line in text.splitlines():
        if not line.startswith("|"):
            inside = False
            continue
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if cells[0] == first_column:
            inside = True
        elif inside and not cells[0].startswith("---"):
            rows.append(cells)
    if not rows:
        sys.exit(f"docs/architecture.md: no table with the first heading '{first_column}'")
    return rows


def paths(cell):
    return re.findall(r"`([^`]+)`", cell)


def matches(file, path):
    """Whether file is path, lies in the folder path/, or fits the pattern path* within its folder."""
    if path.endswith("*"):
        return file.startswith(path[:-1]) and "/" not in file[len(path) - 1 :]
    return file == path or (path.endswith("/") and file.startswith(path))


class Rooms:
    """The table of rooms and floors, and the table of insides."""

    def __init__(self, text):
        self.rows = []
        for cells in table(text, "path"):
            floor = None if cells[2] == "beside" else int(cells[2])
            may = None if cells[3] == "any" else paths(cells[3])
            self.rows += [(path, floor, may) for path in paths(cells[0])]
        self.insides = [(paths(c[0])[0], paths(c[1]), paths(c[2])) for c in table(text, "inside")]

    def room(self, file):
        found = [row for row in self.rows if matches(file, row[0])]
        return max(found, key=lambda row: len(row[0])) if found else None

    def objection(self, file, target):
        """Why file may not include target, or None."""
        room, other = self.room(file), self.room(target)
        if room is None or other is None:
            return "no row of the table of rooms matches " + (file if room is None else target)
        if room[1] is not None:
            if other[1] is None:
                return f"{target} is beside the agent"
            if other[1] > room[1]:
                return f"{target} is on floor {other[1]}, this file on {room[1]}"
        elif room[2] is not None and not any(matches(target, path) for path in room[2]) and other is not room:
            return f"{room[0]} may include {', '.join(room[2])} only"
        for inside, allowed, exceptions in self.insides:
            if matches(target, inside) and not any(matches(target, path) for path in exceptions):
                if not any(matches(file, path) for path in allowed + [inside]):
                    return f"{inside} is seen by {', '.join(allowed)} only"
        return None


class Owners:
    """scripts/library-owners: `library: header prefixes` and `library < path   reason` lines."""

    def __init__(self, text):
        self.prefixes = {}
        self.rows = []
        for number, line in enumerate(text.splitlines(), 1):
            line = line.split("#", 1)[0].strip() if line.lstrip().startswith("#") else line.strip()
            if not line:
                continue
            row = re.match(r"(\S+) < (\S+)\s+(\S.*)$", line)
            definition = re.match(r"(\S+): (.+)$", line)
            if row:
                self.rows.append([row[1], row[2], 0])
            elif definition:
                self.prefixes[definition[1]] = definition[2].split()
            else:
                sys.exit(f"scripts/library-owners:{number}: neither a library nor an owner with a reason")

    def objection(self, file, header):
        for library, prefixes in self.prefixes.items():
            if any(header.startswith(prefix) for prefix in prefixes):
                rows = [row for row in self.rows if row[0] == library and matches(file, row[1])]
                for row in rows:
                    row[2] += 1
                if not rows:
                    return f"no owner of {library} in scripts/library-owners"
        return None


def main():
    root = pathlib.Path(sys.argv[1])
    files = [name for name in sys.stdin.read().split() if name.endswith((".h", ".cc", ".cpp", ".hpp", ".c"))]
    rooms = Rooms((root / "docs/architecture.md").read_text(encoding="utf-8"))
    owners = Owners((root / "scripts/library-owners").read_text(encoding="utf-8"))
    findings = []
    included = 0
    for file in files:
        if rooms.room(file) is None:
            findings.append(f"{file}: no row of the table of rooms matches it")
            continue
        for number, line in enumerate((root / file).read_text(encoding="utf-8").splitlines(), 1):
            found = INCLUDE.match(line)
            if not found:
                continue
            included += 1
            quote, header = found[1], found[2]
            if quote == "<":
                objection = owners.objection(file, header)
            elif not (root / header).is_file():
                objection = "not a file of the tree; includes are relative to its root"
            else:
                objection = rooms.objection(file, header)
            if objection:
                findings.append(f"{file}:{number}: {header}: {objection}")
    for path, floor, _ in rooms.rows:
        if not any(matches(file, path) for file in files):
            findings.append(f"docs/architecture.md: `{path}` matches no file")
    for library, path, count in owners.rows:
        if count == 0:
            findings.append(f"scripts/library-owners: {path} does not include {library}; take the line out")
    print("\n".join(findings) if findings else f"{included} includes in {len(files)} files")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
