"""Holds the folders of the project to the table of who may include whom, rooms.txt beside this file.

usage: layout_test.py
"""

import pathlib
import re
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
TABLE = ROOT / "tests" / "layout" / "rooms.txt"
TOPS = ["h", "kep_report", "kep", "kep_rg", "kep_io", "tools", "tests", "examples", "python", "bench", "fuzz"]
INCLUDE = re.compile(r'^\s*#include (["<])([^">]+)', re.MULTILINE)
WHAT_TO_DO = """
What to do: move what is included to a room that both may see, or the code that includes it to where the arrow leads from.
If one room is meant to know another from now on, add the arrow to tests/layout/rooms.txt; no circle may come of it."""


def matching(rooms, word):
    """The rooms that a word right of a colon names: one, or all below "FOLDER/*"."""
    return [room for room in rooms if room == word or word.endswith("/*") and room.startswith(word[:-1])]


def read_table(text):
    """The rooms, each with the set of those that it may include."""
    lines = [line.split("#")[0].strip() for line in text.splitlines()]
    entries = [line.split(":") for line in lines if line]
    rooms = [room.strip() for room, _ in entries]
    table = {}
    for room, right in entries:
        may = set()
        for word in right.split():
            named = matching(rooms, word)
            if not named:
                raise ValueError(f"{room}: there is no room {word}")
            may.update(named)
        table[room.strip()] = may - {room.strip()}
    return table


def find_room(table, path):
    """The innermost room that a file, named from the root, lies in; None if there is none."""
    return next((str(each) for each in pathlib.PurePath(path).parents if str(each) in table), None)


def find_circle(table):
    """A list of rooms that reach the first of them again, or None."""
    done, way = set(), []

    def visit(room):
        if room in way:
            return way[way.index(room):] + [room]
        if room in done:
            return None
        way.append(room)
        circle = next(filter(None, map(visit, sorted(table[room]))), None)
        way.pop()
        done.add(room)
        return circle

    return next(filter(None, map(visit, sorted(table))), None)


def find_faults(root, table):
    """A line for each file and include that does not hold to the table; and the arrows between rooms that are in use."""
    faults, used = [], set()
    for top in TOPS:
        for path in sorted((root / top).rglob("*")):
            name = path.relative_to(root).as_posix()
            if path.suffix not in (".h", ".cpp"):
                continue
            room = find_room(table, name)
            if room is None:
                faults.append(f"{name}: lies in no room of rooms.txt")
                continue
            for mark, include in INCLUDE.findall(path.read_text()):
                if include.endswith("_export.h"):  # generated
                    continue
                found = next((each for each in ("h/" + include, include) if (root / each).is_file()), None)
                target = found and find_room(table, found)
                if mark == "<":
                    if found:
                        faults.append(f"{name}: <{include}> is ours and stands in quotes")
                    continue
                if target is None:
                    faults.append(f'{name}: "{include}" is no path from the root or from h/')
                elif target != room and target not in table[room]:
                    faults.append(f"{name}: {room} may not include {target} ({include})")
                used.add((room, target))
    return faults, used


class Layout(unittest.TestCase):
    maxDiff = None

    def test_every_include_goes_where_the_table_allows(self):
        faults, _ = find_faults(ROOT, read_table(TABLE.read_text()))
        if faults:
            self.fail("\n".join(faults) + WHAT_TO_DO)

    def test_arrows_between_rooms_go_one_way(self):
        circle = find_circle(read_table(TABLE.read_text()))
        self.assertIsNone(circle, "these rooms of rooms.txt reach the first again: one arrow must go")

    def test_every_arrow_of_the_table_is_used(self):
        text = TABLE.read_text()
        table = read_table(text)
        _, used = find_faults(ROOT, table)
        named = [line.split("#")[0].split(":") for line in text.splitlines() if ":" in line.split("#")[0]]
        unused = [
            f"{room} -> {word}"
            for room, right in named
            for word in right.split()
            if not any((room.strip(), each) in used for each in matching(table, word))
        ]
        self.assertEqual(unused, [], "no file uses these arrows any more: take them out of rooms.txt")

    def test_every_source_that_a_page_names_is_there(self):
        named = re.compile(r"`([\w./-]+/[\w.-]+\.(?:h|cpp|py|txt))`")
        missing = []
        for page in sorted(ROOT.rglob("*.md")):
            if {"build", "node_modules"} & set(page.relative_to(ROOT).parts):
                continue
            for name in named.findall(page.read_text()):
                if not any((folder / name).is_file() for folder in (ROOT, ROOT / "h", page.parent)):
                    missing.append(f"{page.relative_to(ROOT)}: {name}")
        self.assertEqual(missing, [])

    def test_every_public_header_says_what_it_is_for(self):
        missing = [str(path.relative_to(ROOT)) for path in sorted(ROOT.glob("h/*/*.h")) if "\n/// @file\n/// " not in path.read_text()]
        self.assertEqual(missing, [], "these lack a comment /// @file: the reference leaves out what is free in them")

    def test_every_room_opens_with_a_page(self):
        missing = [room for room in read_table(TABLE.read_text()) if not (ROOT / room / "README.md").is_file()]
        self.assertEqual(missing, [], "these rooms lack a README.md: what lives here, where to begin, what may not come in")


class Checker(unittest.TestCase):
    """What the checks above would say of trees that do not hold to their table."""

    def find(self, table, files):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for name, text in files.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(text)
            return find_faults(root, read_table(table))[0]

    def test_an_include_against_the_arrows_is_told(self):
        files = {"kep/a/x.h": '#include "kep/b/y.h"\n', "kep/b/y.h": '#include "kep/a/x.h"\n'}
        self.assertEqual(self.find("kep/a:\nkep/b: kep/a\n", files), ["kep/a/x.h: kep/a may not include kep/b (kep/b/y.h)"])

    def test_an_include_from_the_folder_of_the_file_is_told(self):
        files = {"kep/a/x.h": "", "kep/a/y.h": '#include "x.h"\n'}
        self.assertEqual(self.find("kep/a:\n", files), ['kep/a/y.h: "x.h" is no path from the root or from h/'])

    def test_an_own_header_in_angle_brackets_is_told(self):
        files = {"kep/a/x.h": "", "kep/a/y.h": "#include <kep/a/x.h>\n#include <string>\n"}
        self.assertEqual(self.find("kep/a:\n", files), ["kep/a/y.h: <kep/a/x.h> is ours and stands in quotes"])

    def test_a_file_outside_all_rooms_is_told(self):
        self.assertEqual(self.find("kep/a:\n", {"kep/x.cpp": ""}), ["kep/x.cpp: lies in no room of rooms.txt"])

    def test_a_circle_of_the_table_is_told(self):
        self.assertEqual(find_circle(read_table("a: b\nb: c\nc: a\n")), ["a", "b", "c", "a"])

    def test_a_room_that_is_not_there_is_told(self):
        with self.assertRaises(ValueError):
            read_table("a: b\n")


if __name__ == "__main__":
    unittest.main()
