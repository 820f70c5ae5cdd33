#!/usr/bin/env python3
"""What no test of the agent reaches, by line and by branch.

Usage: check_coverage.py gather ROOT BUILD COVERAGE    reads what the instrumented programs in BUILD have written
       check_coverage.py check ROOT COVERAGE LIST      holds it against the list of branches that may stay unreached

gather merges the counts of every object of the agent and of the tests into one file. A line or branch counts once,
however many objects, template arguments or copies by the compiler it has. What counts is the agent's own objects; those
of the tests only add to the headers that both include, without the branches of exceptions, which the agent has none of.

check prints the table by folder and what is wrong: an unreached line, an unreached branch that is not listed, an entry
of the list that is reached or fits nothing. Exit status 1 when something is wrong. The list's head tells its format.
"""

import collections
import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import sys

ROOMS = ("include", "core", "credentials", "protocol", "telemetry", "extensions", "provision", "plugins")
AGENT_OBJECTS = ("kelvane-agent.dir", "kelvane-main.dir")
LIST_ENTRY = re.compile(r"  (?P<file>\S+) (?P<taken>\d+(?:,\d+)*)/(?P<total>\d+)(?: @(?P<ordinal>\d+))? : (?P<text>.*)")


# ---- gather --------------------------------------------------------------------------------------------------------


def run_gcov(root, notes):
    command = ["gcov", "--json-format", "--stdout", "--branch-probabilities", "--relative-only", "--source-prefix", root]
    run = subprocess.run(command + [notes.name], cwd=notes.parent, capture_output=True, text=True, check=False)
    if run.returncode != 0 or not run.stdout.startswith("{"):
        sys.exit(f"gcov {notes}: {run.stderr}")
    report = json.loads(run.stdout)
    for file in report["files"]:
        file["file"] = os.path.relpath(file["file"], root)
    return report


def own_branches(branches):
    """Without those of exceptions: a call that may throw has two, of which the second is the throw."""
    own = []
    for branch in branches:
        if branch["throw"]:
            if own and own[-1]["fallthrough"]:
                own.pop()
        else:
            own.append(branch)
    return [branch["count"] for branch in own]


def lines_of(report):
    """(file, line, start of the function, count, branch counts) of everything in the agent's rooms."""
    for file in report["files"]:
        name = file["file"]
        if name.split("/")[0] not in ROOMS:
            continue
        starts = {function["name"]: (function["start_line"], function["start_column"]) for function in file["functions"]}
        for line in file["lines"]:
            start = starts.get(line.get("function_name"), (0, 0))
            yield name, line["line_number"], start, line["count"], own_branches(line["branches"])


def merge(agent_reports, test_reports):
    """{file: {line: [count, {start of a function: branch counts}]}}."""
    merged = collections.defaultdict(dict)
    for report in agent_reports:
        for name, number, start, count, branches in lines_of(report):
            line = merged[name].setdefault(number, [0, {}])
            line[0] += count
            known = line[1].setdefault(start, [0] * len(branches))
            if len(known) != len(branches):
                sys.exit(f"{name}:{number}: {len(known)} branches in one object, {len(branches)} in another")
            line[1][start] = [sum(pair) for pair in zip(known, branches)]
    for report in test_reports:
        for name, number, start, count, branches in lines_of(report):
            line = merged.get(name, {}).get(number)
            if line is None or start not in line[1]:
                continue
            line[0] += count
            if len(line[1][start]) == len(branches):
                line[1][start] = [sum(pair) for pair in zip(line[1][start], branches)]
    return merged


def notes_of(build):
    """Of what is built now: the folder may still hold those of files that went."""
    commands = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
    objects = [pathlib.Path(row["directory"]) / re.search(r" -o (\S+)", row["command"]).group(1) for row in commands]
    return sorted(path.with_suffix(".gcno") for path in objects if path.with_suffix(".gcno").exists())


def gather(root, build, out):
    root = os.path.abspath(root)
    notes = notes_of(pathlib.Path(build))
    agent = [note for note in notes if any(f"/{folder}/" in str(note) for folder in AGENT_OBJECTS)]
    tests = [note for note in notes if "/tests/" in str(note) and note.with_suffix(".gcda").exists()]
    if not any(note.with_suffix(".gcda").exists() for note in agent):
        sys.exit(f"{build}: no program has written its counts")
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        reports = [pool.map(lambda note: run_gcov(root, note), some) for some in (agent, tests)]
        merged = merge(*reports)
    files = {name: [{"line": number, "count": count, "branches": [taken for start in sorted(branches)
                                                                  for taken in branches[start]]}
                    for number, (count, branches) in sorted(lines.items())]
             for name, lines in sorted(merged.items())}
    pathlib.Path(out).write_text(json.dumps(files), encoding="utf-8")


# ---- check ---------------------------------------------------------------------------------------------------------


class Tally:
    def __init__(self):
        self.lines = self.reached_lines = self.branches = self.reached_branches = 0

    def add(self, line):
        self.lines += 1
        self.reached_lines += line["count"] > 0
        self.branches += len(line["branches"])
        self.reached_branches += sum(taken > 0 for taken in line["branches"])

    def row(self, name):
        def part(reached, whole):
            return f"{reached:6}/{whole:6} {100 * reached / whole if whole else 100:5.1f}%"
        return f"  {name:22} {part(self.reached_lines, self.lines)}  {part(self.reached_branches, self.branches)}"


class Place:
    """A line with branches, under the name that the list has for it."""

    def __init__(self, file, line, text, ordinal, repeats):
        self.file, self.number, self.text, self.ordinal = file, line["line"], text, ordinal
        self.total = len(line["branches"])
        self.unreached = [index for index, taken in enumerate(line["branches"], 1) if taken == 0]
        self.repeats = repeats

    def key(self):
        return self.file, self.text, self.ordinal

    def entry(self, branches):
        ordinal = f" @{self.ordinal}" if self.repeats else ""
        return f"  {self.file} {','.join(map(str, branches))}/{self.total}{ordinal} : {self.text}"


def read_list(path):
    """[(line number, match)], and what is wrong with the list itself."""
    entries, wrong, reason, used, paragraph = [], [], None, True, False
    for number, line in enumerate(pathlib.Path(path).read_text(encoding="utf-8").splitlines(), 1):
        if not line.strip() or line.startswith("#"):
            paragraph = False
            continue
        match = LIST_ENTRY.fullmatch(line)
        if match:
            if reason is None:
                wrong.append(f"{path}:{number}: an entry without a reason")
            entries.append((number, match))
            used = True
        elif line.startswith(" "):
            wrong.append(f"{path}:{number}: neither a reason nor an entry: {line.strip()}")
        elif used or not paragraph:
            if not used:
                wrong.append(f"{path}:{reason}: a reason without an entry")
            reason, used, paragraph = number, False, True
    if not used:
        wrong.append(f"{path}:{reason}: a reason without an entry")
    return entries, wrong


def places_of(root, file, lines):
    source = (pathlib.Path(root) / file).read_text(encoding="utf-8").splitlines()
    texts = [line.strip() for line in source]
    seen = collections.Counter()
    ordinals = []
    for text in texts:
        seen[text] += 1
        ordinals.append(seen[text])
    if lines[-1]["line"] > len(source):
        sys.exit(f"{file} is another one than was built: ./dev coverage has to run again")
    for line in lines:
        at = line["line"] - 1
        yield Place(file, line, texts[at], ordinals[at], seen[texts[at]] > 1)


def check_entries(path, entries, places):
    """What is wrong with the entries; what of each place they account for."""
    wrong = []
    listed = collections.defaultdict(set)
    for number, match in entries:
        place = places.get((match["file"], match["text"], int(match["ordinal"] or 1)))
        if place is None:
            wrong.append(f"{path}:{number}: fits no line: {match['file']}: {match['text']}")
            continue
        if place.repeats and not match["ordinal"]:
            wrong.append(f"{path}:{number}: this line stands in {place.file} more than once: which one? @1, @2, ...")
        if int(match["total"]) != place.total:
            wrong.append(f"{path}:{number}: {place.file}:{place.number} has {place.total} branches: {place.text}")
            continue
        for branch in map(int, match["taken"].split(",")):
            if branch in listed[place.key()]:
                wrong.append(f"{path}:{number}: branch {branch} of {place.file}:{place.number} is listed twice")
            elif not 1 <= branch <= place.total:
                wrong.append(f"{path}:{number}: {place.file}:{place.number} has no branch {branch}")
            elif branch not in place.unreached:
                wrong.append(f"{path}:{number}: branch {branch} of {place.file}:{place.number} is reached: {place.text}")
            else:
                listed[place.key()].add(branch)
    return wrong, listed


def check(root, coverage, path):
    tallies = collections.defaultdict(Tally)
    files = json.loads(pathlib.Path(coverage).read_text(encoding="utf-8"))
    places = {}
    wrong = []
    for file, lines in files.items():
        for line, place in zip(lines, places_of(root, file, lines)):
            for name in (file.rsplit("/", 1)[0], "~"):
                tallies[name].add(line)
            places[place.key()] = place
            if line["count"] == 0:
                wrong.append(f"{place.file}:{place.number}: no test reaches this line: {place.text}")
    entries, faults = read_list(path)
    faults_of_entries, listed = check_entries(path, entries, places)
    for place in places.values():
        missing = [branch for branch in place.unreached if branch not in listed[place.key()]]
        if missing:
            wrong.append(f"{place.file}:{place.number}: no test takes branch {','.join(map(str, missing))} of "
                         f"{place.total}, and the list lacks\n{place.entry(missing)}")
    print(f"  {'':22} {'lines':>20}  {'branches':>20}")
    for name, tally in sorted(tallies.items()):
        print(tally.row("all" if name == "~" else name))
    print(f"  unreached branches with a reason: {sum(map(len, listed.values()))}, in {path}")
    wrong += faults + faults_of_entries
    print("".join(f"{finding}\n" for finding in wrong), end="")
    return 1 if wrong else 0


def main(arguments):
    if len(arguments) == 4 and arguments[0] == "gather":
        return gather(*arguments[1:])
    if len(arguments) == 4 and arguments[0] == "check":
        return check(*arguments[1:])
    sys.exit(__doc__)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
