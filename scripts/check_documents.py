#!/usr/bin/env python3
"""Compares the documents with the tree: paths, links, verbs, programs, options, presets, state files, test commands,
exit statuses, folders.

Usage: check_documents.py ROOT < list of files. Prints one line a finding; exit status 1 when there is one.
"""

import pathlib
import re
import sys

ROOMS = ("include", "core", "credentials", "protocol", "telemetry", "extensions", "provision", "plugins")
LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')


class Tree:
    def __init__(self, root, files):
        self.root = root
        self.files = set(files)
        self.folders = {str(parent) for file in files for parent in pathlib.PurePosixPath(file).parents} - {"."}
        self.documents = sorted(file for file in files if file.endswith(".md"))

    def read(self, file):
        return (self.root / file).read_text(encoding="utf-8")

    def matching(self, pattern):
        return sorted(file for file in self.files if re.fullmatch(pattern, file))

    def agent_sources(self):
        return [file for file in self.files if file.split("/")[0] in ROOMS and file.endswith((".cc", ".h"))]

    def literals(self):
        """The string literals of the agent's sources, each with the file that holds it."""
        for file in self.agent_sources():
            for line in self.read(file).splitlines():
                if not line.lstrip().startswith(("//", "#include", "*", "/*")):
                    for text in LITERAL.findall(line):
                        yield file, text


def code_spans(text):
    """What stands in backticks, and the lines of indented or fenced blocks."""
    spans = re.findall(r"`([^`\n]+)`", text)
    spans += [line.strip() for line in text.splitlines() if line.startswith("    ")]
    return spans


def check_paths(tree):
    """Every path of the tree that a document names exists; so does every relative link's target."""
    tops = {name.split("/")[0] for name in tree.files if "/" in name}
    for document in tree.documents:
        text = tree.read(document)
        for span in code_spans(text):
            for word in re.findall(r"(?<![\w./-])[\w.-]+/[\w./-]*\*?", span):
                path = word.rstrip("/.,:")
                if word.endswith("*") and any(file.startswith(word[:-1]) for file in tree.files):
                    continue
                if word.split("/")[0] in tops and path not in tree.files and path not in tree.folders:
                    yield f"{document}: `{word}` does not exist"
        for target in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", text):
            path = (pathlib.PurePosixPath(document).parent / target).as_posix()
            if path not in tree.files and path not in tree.folders:
                yield f"{document}: the link to {target} leads nowhere"


def check_verbs(tree):
    """Every ./dev verb that a document names exists, and CONTRIBUTING.md names every verb."""
    verbs = {file.split("dev-")[1] for file in tree.matching(r"scripts/dev-[a-z]+")}
    for document in tree.documents:
        for verb in re.findall(r"\./dev ([a-z]+)", tree.read(document)):
            if verb not in verbs and verb != "help":
                yield f"{document}: ./dev {verb} is no verb"
    for verb in sorted(verbs):
        if f"./dev {verb}" not in tree.read("CONTRIBUTING.md"):
            yield f"CONTRIBUTING.md does not name ./dev {verb}"
    if ".ci/run" in tree.files:
        for verb in re.findall(r"\./dev ([a-z]+)", tree.read(".ci/run")):
            if verb not in verbs:
                yield f".ci/run: ./dev {verb} is no verb"


def check_programs(tree):
    """Every program that a document names is built here, and every program is named in the documents."""
    built, targets = set(), set()
    for file in tree.matching(r"(.*/)?CMakeLists\.txt|cmake/\w+\.cmake"):
        programs = set(re.findall(r"add_executable\(\s*([\w-]+)", tree.read(file)))
        targets |= programs | set(re.findall(r"add_library\(\s*([\w-]+)", tree.read(file)))
        if not file.startswith("tests/"):
            built |= programs
    named = set()
    for document in tree.documents:
        for span in code_spans(tree.read(document)):
            named |= {(document, name) for name in re.findall(r"(?<![\w./-])kelvane(?:ctl|-[a-z]+)(?![\w./-])", span)}
    for document, name in sorted(named):
        if name not in targets:
            yield f"{document}: {name} is no target of this tree"
    for name in sorted(built - {name for _, name in named} - {"kelvane"}):
        yield f"no document names the program {name}"


def options_in(text):
    return set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", text)) - {"--help"}


def taken(source):
    """The options with which a string literal begins."""
    return set(re.findall(r'"(--[a-z][a-z-]*)[": ]', source)) - {"--help"}


def compared(script):
    """The options that a script itself looks for: compared with ==, or a pattern of a case. What it passes on to another
    program is none."""
    code = "\n".join(line for line in script.splitlines() if not line.lstrip().startswith("#"))
    found = re.findall(r"==\s*(--[a-z][a-z-]*)", code)
    for pattern in re.findall(r"^\s*\(?((?:[\w*-]+\s*\|\s*)*[\w*-]+)\)(?:\s|$)", code, re.MULTILINE):
        found += re.findall(r"(?<![\w-])--[a-z][a-z-]*", pattern)
    return set(found) - {"--help"}


def taken_by(tree, program):
    """The options that the sources of a program's folder know."""
    for file in tree.matching(r"(tools|tests)/(.*/)?CMakeLists\.txt"):
        if re.search(rf"add_executable\(\s*{re.escape(program)}\s", tree.read(file)):
            folder = re.escape(file.rpartition("/")[0])
            return taken("".join(tree.read(source) for source in tree.matching(rf"{folder}/\w+\.(cc|h)")))
    return set()


def check_options(tree):
    """The second line of each verb names options that the verb or its program takes, and its row in CONTRIBUTING.md has
    them. What a document shows with a verb or a program is taken there, and what a tool takes stands in a document."""
    takers = {}
    table = {cells[0].strip("`"): " ".join(cells[1:]) for cells in rows(tree.read("CONTRIBUTING.md"), "verb")}
    for file in tree.matching(r"scripts/dev-[a-z]+"):
        verb = f"./dev {file.split('dev-')[1]}"
        _, second, script = tree.read(file).split("\n", 2)
        program = re.search(r'^exec .*?/([\w-]+)"? ', script, re.MULTILINE)
        takers[verb] = compared(script) | (taken_by(tree, program[1]) if program else set())
        row = options_in(table.get(verb, ""))
        for option in sorted((options_in(second) | row) - takers[verb]):
            yield f"{file}: its second line or its row in CONTRIBUTING.md has {option}, which nothing takes"
        for option in sorted(options_in(second) - row):
            yield f"CONTRIBUTING.md: the row of {verb} lacks {option}"
    named = set()
    for document in tree.documents:
        for span in code_spans(tree.read(document)):
            named |= options_in(span)
            taker = re.match(r"\./dev [a-z]+|kelvane(?:ctl|-[a-z]+)(?![\w./-])", span)
            if taker and options_in(span):
                for option in sorted(options_in(span) - takers.setdefault(taker[0], taken_by(tree, taker[0]))):
                    yield f"{document}: {taker[0]} takes no {option}"
    tools = taken("".join(tree.read(file) for file in tree.matching(r"tools/.*\.cc")))
    for option in sorted(tools - named):
        yield f"no document names {option}, which something in tools/ takes"


def check_presets(tree):
    presets = set(re.findall(r'"name": "([a-z]+)"', tree.read("CMakePresets.json")))
    for document in tree.documents:
        for name in re.findall(r"--preset ([a-z]+)", tree.read(document)):
            if name not in presets:
                yield f"{document}: {name} is no preset"


def rows(text, heading):
    """The cells of the Markdown table whose first heading is given."""
    found, inside = [], False
    for line in text.splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")] if line.startswith("|") else None
        if cells is None:
            inside = False
        elif inside and not cells[0].startswith("---"):
            found.append(cells)
        elif cells[0] == heading:
            inside = True
    return found


def check_machine_files(tree):
    """The table of files in docs/operations.md against the absolute paths in the agent's sources, both ways."""
    table = rows(tree.read("docs/operations.md"), "file")
    documented = {path for cells in table for path in re.findall(r"`(/[^`]+)`", cells[0])}
    used = {}
    for file, text in tree.literals():
        if re.fullmatch(r"/(data|etc|var|tmp|cdrom|dev)(/[\w.%-]+)*", text):
            used.setdefault(text.replace("%s", "NAME"), file)
    for path in sorted(documented - set(used)):
        yield f"docs/operations.md: `{path}` is used nowhere in the agent"
    for path in sorted(set(used) - documented):
        yield f"docs/operations.md: its table of files lacks `{path}` ({used[path]})"


def check_test_commands(tree):
    """The table of test commands in docs/operations.md against the usage text of the console."""
    source = tree.read("core/test_console.cc")
    usage = dict(re.findall(r'"\s*(\d+): ([^"\\]+)\\n"', source))
    table = {cells[0].strip("`"): cells for cells in rows(tree.read("docs/operations.md"), "test command")}
    for number in sorted(set(usage) ^ set(table), key=int):
        yield f"docs/operations.md: the table of test commands and the console's usage text differ on {number}"


def check_exit_statuses(tree):
    """The table of exit statuses of the agent against what core/ passes to exit or returns from main."""
    table = {int(cells[0].strip("`")) for cells in rows(tree.read("docs/operations.md"), "exit status")}
    code = "\n".join(tree.read(file) for file in tree.files if re.fullmatch(r"core/\w+\.cc", file))
    used = {int(number) & 255 for number in re.findall(r"\b_?exit\((-?\d+)\)", code)}
    main = re.search(r"^int main\(.*?^}", code, re.MULTILINE | re.DOTALL)
    if main:
        used |= {int(number) & 255 for number in re.findall(r"\breturn (-?\d+);", main[0])}
    for status in sorted(used - table):
        yield f"docs/operations.md: its table of exit statuses lacks {status}"


def check_folders(tree):
    """Every folder at the top of the tree has its place in the documents."""
    text = tree.read("docs/architecture.md") + tree.read("README.md") + tree.read("CONTRIBUTING.md")
    for folder in sorted({file.split("/")[0] for file in tree.files if "/" in file}):
        if f"`{folder}/" not in text:
            yield f"no document says what `{folder}/` is"


def main():
    root = pathlib.Path(sys.argv[1])
    tree = Tree(root, sys.stdin.read().split())
    checks = (check_paths, check_verbs, check_programs, check_options, check_presets, check_machine_files,
              check_test_commands, check_exit_statuses, check_folders)
    findings = [finding for check in checks for finding in check(tree)]
    print("\n".join(findings) if findings else f"{len(checks)} checks of {len(tree.documents)} documents")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
