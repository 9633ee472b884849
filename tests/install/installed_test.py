"""What other programs link: the tree that `cmake --install` makes, and the sources in a project of somebody else.

    installed_test.py BUILD_FOLDER COMPILER [CLASS_OF_TESTS]

Programs of somebody else are built as C++17 and run: program/ with CMake's package, with pkg-config and with the sources in a
folder, fetching_program/ with the sources by FetchContent.
"""

import contextlib
import gzip
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
HERE = pathlib.Path(__file__).resolve().parent
PROGRAM = HERE / "program"
LIBRARIES = ("kep_report", "kep", "kep_rg", "kep_io")
PRINTED = "left:o -> right:o\nright:o -> left:o\nnowhere.kdb: can't be read: No such file or directory\n"


def run(*command, **options):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, **options)
    if done.returncode:
        raise AssertionError(f"{shlex.join(map(str, command))}\n{done.stdout}{done.stderr}")
    return done.stdout


def configure(work, name, sources, *options):
    tree = work / name
    run("cmake", "-G", "Ninja", "-S", sources, "-B", tree, f"-DCMAKE_CXX_COMPILER={COMPILER}", *options)
    return tree


def print_by(program, work, **environment):
    return run(program, work / "ring.kdb", env=os.environ | environment)


class InstalledTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.work = pathlib.Path(cls.folder.name)
        run("cmake", "--install", BUILD, "--prefix", cls.work / "first")
        cls.listed = (pathlib.Path(BUILD) / "install_manifest.txt").read_text().splitlines()
        cls.prefix = cls.work / "kep"
        (cls.work / "first").rename(cls.prefix)  # it can be moved
        cls.lib = next(cls.prefix.rglob("libkep_rg.so")).parent

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def test_the_package_of_cmake(self):
        tree = configure(self.work, "package", PROGRAM, f"-DCMAKE_PREFIX_PATH={self.prefix}", "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror")
        run("cmake", "--build", tree)
        self.assertEqual(print_by(tree / "program", self.work), PRINTED)

    def test_the_package_of_cmake_has_the_version_that_is_asked_for(self):
        with self.assertRaisesRegex(AssertionError, 'compatible\\s+with requested version "0.3"'):
            text = (PROGRAM / "CMakeLists.txt").read_text().replace("find_package(kep_rg 0.2", "find_package(kep_rg 0.3")
            (self.work / "newer").mkdir()
            (self.work / "newer" / "CMakeLists.txt").write_text(text)
            run("cmake", "-S", self.work / "newer", "-B", self.work / "newer" / "tree", f"-DCMAKE_PREFIX_PATH={self.prefix}")

    def test_pkg_config(self):
        environment = os.environ | {"PKG_CONFIG_PATH": str(self.lib / "pkgconfig")}
        flags = shlex.split(run("pkg-config", "--cflags", "--libs", "kep_io", "kep_rg", env=environment))
        program = self.work / "by_pkg_config"
        # Here warnings of our headers count, and nothing but our own libraries is named.
        run(COMPILER, "-std=c++17", "-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Werror", PROGRAM / "main.cpp", *flags,
            "-o", program)
        self.assertEqual(print_by(program, self.work, LD_LIBRARY_PATH=str(self.lib)), PRINTED)
        for library in LIBRARIES:
            self.assertEqual(run("pkg-config", "--modversion", library, env=environment).strip(), VERSION)

    def test_older_compilers_are_told_what_is_missing(self):
        with self.assertRaisesRegex(AssertionError, "The headers of kep_rg need C\\+\\+17 or later"):
            run(COMPILER, "-std=c++14", "-fsyntax-only", "-x", "c++", "-I", self.prefix / "include", "-include",
                "kep_rg/kep_rg_build.h", "/dev/null")

    def test_the_tool_starts_where_it_was_put(self):
        self.assertEqual(run(self.prefix / "bin" / "kep-rg", "--version"), f"kep-rg {VERSION}\n")

    def test_libraries_have_versions(self):
        for library in LIBRARIES:
            name = f"lib{library}.so"
            self.assertEqual(os.readlink(self.lib / name), f"{name}.1")
            self.assertEqual(os.readlink(self.lib / f"{name}.1"), f"{name}.{VERSION}")
            self.assertIn(f"SONAME               Library soname: [{name}.1]".replace(" ", ""),
                          run("readelf", "-d", self.lib / name).replace(" ", "").replace("(SONAME)", "SONAME"))

    def test_what_there_is_to_read(self):
        documents = self.prefix / "share" / "doc" / "kep_rg"
        for name in ("README.md", "CHANGELOG.md", "LICENSE", "docs/design.md", "examples/worked_example.cpp"):
            self.assertTrue((documents / name).is_file(), name)
        self.assertTrue((self.prefix / "share/kep_rg/kep_database.capnp").is_file())
        self.assertEqual([str(path) for path in documents.rglob("*") if path.is_dir() and not any(path.iterdir())], [])

    def test_pages_link_to_what_is_installed(self):
        pages = [*(self.prefix / "share/doc/kep_rg").rglob("*.md")]
        texts = {page: re.sub(r"^```.*?^```", "", page.read_text(), flags=re.DOTALL | re.MULTILINE) for page in pages}
        links = [(page, link.split("#")[0]) for page in pages for link in re.findall(r"\]\(([^)\s]+)\)", texts[page])]
        links = [(page, link) for page, link in links if link and "://" not in link]
        self.assertGreater(len(links), 150)
        self.assertEqual([f"{page}: {link}" for page, link in links if not (page.parent / link).is_file()], [])

    def test_what_the_page_on_installing_tells_is_there_and_nothing_else(self):
        table = (ROOT / "docs/install.md").read_text().partition("| Below the prefix |")[2]
        folders = re.findall(r"^\| `([^`]*)` \|", table, re.MULTILINE)
        self.assertGreater(len(folders), 8)
        installed = [path.relative_to(self.prefix) for path in self.prefix.rglob("*") if not path.is_dir()]
        for folder in folders:
            is_made = HAS_MAN_PAGES if "/man/" in folder else HAS_PYTHON if "/python" in folder else True
            self.assertEqual(any(path.is_relative_to(folder) for path in installed), is_made, folder)
        self.assertEqual([str(path) for path in installed if not any(map(path.is_relative_to, folders))], [])
        # By this list it is removed.
        self.assertEqual(sorted(self.listed), sorted(str(self.work / "first" / path) for path in installed))

    def test_it_is_found_as_the_page_on_installing_says(self):
        page = (ROOT / "docs/install.md").read_text()
        lines = re.findall(r"^    ((?:export|source) .*)", page, re.MULTILINE)
        self.assertEqual(len(lines), 6)
        asked = ["kep-rg --version", "pkg-config --modversion kep_rg", "complete -p kep-rg", 'echo "$CMAKE_PREFIX_PATH"']
        told = [f"kep-rg {VERSION}", VERSION, "complete -o default -F _kep_rg kep-rg", str(self.prefix)]
        if HAS_MAN_PAGES:
            asked.append("man -w kep-rg-build")
            told.append(str(self.prefix / "share/man/man1/kep-rg-build.1.gz"))
        answers = run("bash", "-ec", "\n".join(lines + asked), env=os.environ | {"HOME": str(self.work)})
        self.assertEqual(answers.splitlines(), told)

    def test_the_example_without_our_libraries_finds_the_schema(self):
        source, device = ROOT / "tests/data/examples/skip_mux", self.work / "device.kdb"
        run(self.prefix / "bin/kep-rg", "build", source / "model.json", source / "routing.jsonl", "-q", "-o", device)
        program = self.prefix / "share/doc/kep_rg/examples/python/read_database.py"
        self.assertRegex(run(sys.executable, program, device), r"(?m)^nodes 2$")

    def test_each_command_has_a_man_page(self):
        if not HAS_MAN_PAGES:
            self.skipTest("the build has none")
        names = {path.stem for path in (ROOT / "docs/commands").glob("*.md")}
        names = {name if name == "kep-rg" else f"kep-rg-{name}" for name in names}
        pages = {path.name[: -len(".1.gz")]: path for path in (self.prefix / "share/man/man1").iterdir()}
        self.assertEqual(pages.keys(), names)
        for name, page in pages.items():
            text = gzip.decompress(page.read_bytes()).decode()
            self.assertRegex(text.replace("\\", ""), rf"\.SH (NAME|Name)\n(\.PP\n)?{name} - ")
            named = re.findall(r"\((docs/[^)\s]*)\)", text.replace("\\", ""))
            self.assertTrue(named, name)
            self.assertEqual([page for page in named if not (self.prefix / "share/doc/kep_rg" / page).is_file()], [], name)
            self.assertIn("share/doc/kep_rg below the prefix", " ".join(text.split()), name)

    def test_bash_completes_commands(self):
        script = self.prefix / "share/bash-completion/completions/kep-rg"
        asked = 'source "$1"; COMP_LINE="$2 im" COMP_POINT=$((${#2} + 3)); _kep_rg "$2"; echo "${COMPREPLY[@]}"; complete -p kep-rg'
        answered = run("bash", "-c", asked, "bash", script, self.prefix / "bin/kep-rg")
        self.assertEqual(answered, "import-icebox\ncomplete -o default -F _kep_rg kep-rg\n")

    def test_examples_are_built_as_they_lie(self):
        tree = configure(self.work, "examples", self.prefix / "share/doc/kep_rg/examples", f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run("cmake", "--build", tree, "--target", "router", "worked_example")
        self.assertIn("left/m:o -> right/m:o", run(tree / "worked_example"))

    def test_no_header_is_missing(self):
        for library in LIBRARIES:
            ours = {path.relative_to(ROOT / "h") for path in (ROOT / "h" / library).rglob("*.h")}
            ours.add(pathlib.Path(library) / f"{library}_export.h")
            include = self.prefix / "include"
            self.assertEqual({path.relative_to(include) for path in (include / library).rglob("*") if path.is_file()}, ours)


class SourcesTest(unittest.TestCase):
    def test_as_a_folder_of_another_project(self):
        with self.built_with_sources(PROGRAM) as tree:
            self.assertEqual(print_by(tree / "program", tree), PRINTED)
            self.assertEqual([path.name for path in tree.rglob("libkep*.so")], [], "static, as it is CMake's way")

    def test_fetched_by_another_project(self):
        with self.built_with_sources(HERE / "fetching_program") as tree:
            self.assertEqual(run(tree / "program"), "m\n")
            self.assertEqual(len([*tree.rglob("libkep.so")]), 1)

    @contextlib.contextmanager
    def built_with_sources(self, program):
        with tempfile.TemporaryDirectory() as folder:
            tree = configure(pathlib.Path(folder), "tree", program, f"-DKEP_RG_SOURCES={ROOT}", "-DCMAKE_UNITY_BUILD=ON",
                             "-DCMAKE_UNITY_BUILD_BATCH_SIZE=32", "-DCMAKE_CXX_FLAGS=-O0")
            run("cmake", "--build", tree, "--target", "program")
            # The libraries alone: no tool, nothing that it or tests need, and nothing of them is installed with the program.
            self.assertEqual([path.name for path in tree.rglob("kep-rg*") if path.is_file()], [])
            self.assertNotRegex((tree / "CMakeCache.txt").read_text(), "GTest_DIR|CLI11_DIR|pybind11_DIR")
            run("cmake", "--install", tree, "--prefix", tree / "installed")
            self.assertEqual([path.name for path in (tree / "installed").rglob("*") if path.is_file()], ["program"])
            yield tree


if __name__ == "__main__":
    BUILD, COMPILER = sys.argv[1:3]
    cache = (pathlib.Path(BUILD) / "CMakeCache.txt").read_text()
    VERSION = next(line.split("=")[1] for line in cache.splitlines() if line.startswith("CMAKE_PROJECT_VERSION:"))
    HAS_MAN_PAGES, HAS_PYTHON = (f"KEP_RG_BUILD_{part}:BOOL=ON" in cache for part in ("MAN", "PYTHON"))
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
