#!/usr/bin/env python3
"""The tests of scripts/check_coverage.py: made-up reports, read and held against made-up lists."""

import contextlib
import importlib.util
import io
import json
import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check_coverage.py"
SPEC = importlib.util.spec_from_file_location("check_coverage", SCRIPT)
coverage = importlib.util.module_from_spec(SPEC)
SPEC.loader.exec_module(coverage)

SOURCE = """int first(int a) {
  if (a > 1) {
    return 1;
  }
  return 0;
}
int second(int a) {
  if (a > 1) {
    return 2;
  }
  return 0;
}
"""


def branch(count, fallthrough=False, throw=False):
    return {"count": count, "fallthrough": fallthrough, "throw": throw}


def line(number, count, *branches):
    return {"line": number, "count": count, "branches": list(branches)}


class Check(unittest.TestCase):
    """A file with two functions that read alike; the first `if` has both ways taken, the second only the way on."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        (self.root / "core" / "base").mkdir(parents=True)
        (self.root / "core" / "base" / "made_up.cc").write_text(SOURCE, encoding="utf-8")
        self.list = self.root / "unreached.txt"
        self.lines = [line(2, 5, 2, 3), line(3, 2), line(8, 4, 0, 4), line(11, 4)]

    def check(self, text, *lines):
        """The status, and what is printed below the table."""
        self.list.write_text(text, encoding="utf-8")
        report = self.root / "coverage.json"
        report.write_text(json.dumps({"core/base/made_up.cc": lines or self.lines}), encoding="utf-8")
        with contextlib.redirect_stdout(io.StringIO()) as out:
            status = coverage.check(str(self.root), str(report), str(self.list))
        return status, out.getvalue().replace(str(self.list), "LIST").splitlines()

    def findings(self, text, *lines):
        status, out = self.check(text, *lines)
        self.assertEqual(status, 1)
        return out[4:]

    def test_what_is_listed_passes(self):
        status, out = self.check("# head\n\nIt cannot be.\n  core/base/made_up.cc 1/2 @2 : if (a > 1) {\n")
        self.assertEqual(out, [
            "                                        lines              branches",
            "  core/base                   4/     4 100.0%       3/     4  75.0%",
            "  all                         4/     4 100.0%       3/     4  75.0%",
            "  unreached branches with a reason: 1, in LIST",
        ])
        self.assertEqual(status, 0)

    def test_an_unreached_branch_that_is_not_listed(self):
        self.assertEqual(self.findings(""), [
            "core/base/made_up.cc:8: no test takes branch 1 of 2, and the list lacks",
            "  core/base/made_up.cc 1/2 @2 : if (a > 1) {",
        ])

    def test_an_unreached_line_cannot_be_listed(self):
        lines = [line(2, 5, 0, 5), line(3, 0)]
        self.assertEqual(self.findings("It cannot be.\n  core/base/made_up.cc 1/2 @1 : if (a > 1) {\n", *lines), [
            "core/base/made_up.cc:3: no test reaches this line: return 1;",
        ])

    def test_an_entry_that_is_reached(self):
        text = "It cannot be.\n  core/base/made_up.cc 1,2/2 @2 : if (a > 1) {\n"
        status, out = self.check(text)
        self.assertEqual(out[3:], [
            "  unreached branches with a reason: 1, in LIST",
            "LIST:2: branch 2 of core/base/made_up.cc:8 is reached: if (a > 1) {",
        ])
        self.assertEqual(status, 1)

    def test_an_entry_that_fits_no_line(self):
        text = "It cannot be.\n  core/base/made_up.cc 1/2 @2 : if (a > 1) {\n  core/base/made_up.cc 1/2 : if (a > 2) {\n"
        self.assertEqual(self.findings(text), ["LIST:3: fits no line: core/base/made_up.cc: if (a > 2) {"])

    def test_an_entry_for_another_number_of_branches(self):
        text = "It cannot be.\n  core/base/made_up.cc 1/4 @2 : if (a > 1) {\n"
        self.assertEqual(self.findings(text), [
            "core/base/made_up.cc:8: no test takes branch 1 of 2, and the list lacks",
            "  core/base/made_up.cc 1/2 @2 : if (a > 1) {",
            "LIST:2: core/base/made_up.cc:8 has 2 branches: if (a > 1) {",
        ])

    def test_an_entry_for_a_branch_that_there_is_not(self):
        text = "It cannot be.\n  core/base/made_up.cc 1,3/2 @2 : if (a > 1) {\n"
        self.assertEqual(self.findings(text), ["LIST:2: core/base/made_up.cc:8 has no branch 3"])

    def test_an_entry_that_does_not_say_which_of_two_lines(self):
        lines = [line(2, 5, 0, 5), line(5, 5)]
        self.assertEqual(self.findings("It cannot be.\n  core/base/made_up.cc 1/2 : if (a > 1) {\n", *lines), [
            "LIST:2: this line stands in core/base/made_up.cc more than once: which one? @1, @2, ...",
        ])

    def test_a_branch_that_is_listed_twice(self):
        text = "It cannot be.\n" + 2 * "  core/base/made_up.cc 1/2 @2 : if (a > 1) {\n"
        self.assertEqual(self.findings(text), ["LIST:3: branch 1 of core/base/made_up.cc:8 is listed twice"])

    def test_an_entry_without_a_reason(self):
        self.assertEqual(self.findings("  core/base/made_up.cc 1/2 @2 : if (a > 1) {\n"), [
            "LIST:1: an entry without a reason",
        ])

    def test_a_reason_without_an_entry_and_a_line_that_is_neither(self):
        text = "It cannot be.\n  core/base/made_up.cc 1/2 @2 : if (a > 1) {\nNor this,\nof two lines.\n  what\n"
        self.assertEqual(self.findings(text), [
            "LIST:5: neither a reason nor an entry: what",
            "LIST:3: a reason without an entry",
        ])

    def test_a_reason_without_an_entry_in_front_of_one_with_one(self):
        text = "Nor this,\nof two lines.\n\nIt cannot be.\n  core/base/made_up.cc 1/2 @2 : if (a > 1) {\n"
        self.assertEqual(self.findings(text), ["LIST:1: a reason without an entry"])


class Gather(unittest.TestCase):
    """Reports as gcov writes them."""

    @staticmethod
    def report(count, branches, name="f", file="core/x.h"):
        function = {"name": name, "start_line": 1, "start_column": 5}
        lines = [{"line_number": 2, "count": count, "function_name": name, "branches": branches}]
        return {"files": [{"file": file, "functions": [function], "lines": lines}]}

    def test_the_copies_of_a_template_count_once(self):
        merged = coverage.merge([self.report(1, [branch(1), branch(0)], "f<int>"),
                                 self.report(2, [branch(0), branch(2)], "f<char>")], [])
        self.assertEqual(merged, {"core/x.h": {2: [3, {(1, 5): [1, 2]}]}})

    def test_two_functions_on_one_line_keep_their_branches(self):
        other = self.report(1, [branch(0), branch(1)], "g")
        other["files"][0]["functions"][0]["start_column"] = 30
        merged = coverage.merge([self.report(1, [branch(1), branch(0)]), other], [])
        self.assertEqual(merged, {"core/x.h": {2: [2, {(1, 5): [1, 0], (1, 30): [0, 1]}]}})

    def test_the_objects_of_tests_add_to_what_the_agent_has(self):
        throwing = [branch(4, fallthrough=True), branch(0, throw=True), branch(3, fallthrough=True), branch(1)]
        merged = coverage.merge([self.report(0, [branch(0), branch(0)])],
                                [self.report(4, throwing), self.report(1, [], file="core/only_in_tests.h")])
        self.assertEqual(merged, {"core/x.h": {2: [4, {(1, 5): [3, 1]}]}})

    def test_what_is_no_room_of_the_agent_does_not_count(self):
        merged = coverage.merge([self.report(1, [], file="tests/support/files.h"), self.report(1, [])], [])
        self.assertEqual(merged, {"core/x.h": {2: [1, {(1, 5): []}]}})


if __name__ == "__main__":
    unittest.main()
