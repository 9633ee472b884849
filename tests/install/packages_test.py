"""The Debian packages that CPack makes of a build: what lintian says of them, and, for root on a machine that has none of them,
that they install, work and go without a trace.

    packages_test.py BUILD_FOLDER
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
NAMES = ("libkep-rg1", "libkep-rg-dev", "kep-rg", "python3-kep-rg")
PLAIN = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "HOME": "/nonexistent", "LC_ALL": "C.UTF-8"}
PRINTED = "left:o -> right:o\nright:o -> left:o\nnowhere.kdb: can't be read: No such file or directory\n"


def run(*command, **options):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, **options)
    if done.returncode:
        raise AssertionError(f"{command}\n{done.stdout}{done.stderr}")
    return done.stdout


def list_files(package):
    """Of its files and folders; those end in a slash."""
    return [line.split()[5].removeprefix(".") for line in run("dpkg-deb", "-c", package).splitlines()]


def is_installed(name):
    done = subprocess.run(["dpkg-query", "-W", "-f", "${db:Status-Status}", name], capture_output=True, text=True, check=False)
    return done.returncode == 0 and done.stdout != "not-installed"


class PackagesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.work = pathlib.Path(cls.folder.name)
        run("cpack", "--config", pathlib.Path(BUILD) / "CPackConfig.cmake", "-B", cls.work)
        cls.packages = sorted(cls.work.glob("*.deb"))

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def test_there_is_one_of_each(self):
        self.assertEqual(sorted(package.name.split("_")[0] for package in self.packages), sorted(NAMES))

    def test_lintian_finds_no_error(self):
        as_root = ["--allow-root"] if os.geteuid() == 0 else []
        run("lintian", "--fail-on", "error", *as_root, *self.packages)

    def test_no_file_is_in_two(self):
        files = [file for package in self.packages for file in list_files(package) if not file.endswith("/")]
        self.assertEqual(len(files), len(set(files)))

    def test_who_has_the_tool_alone_has_what_its_man_pages_name(self):
        files = next(list_files(package) for package in self.packages if package.name.startswith("kep-rg_"))
        for file in ("share/doc/kep_rg/docs/formats.md", "share/doc/kep_rg/README.md", "share/kep_rg/kep_database.capnp"):
            self.assertIn(f"/usr/{file}", files)

    @unittest.skipUnless(os.geteuid() == 0 and not any(map(is_installed, NAMES)), "for root, where none of them is installed")
    def test_they_install_work_and_go(self):
        # Folders that others have, too, stay; a file of ours that is there already is left from something else.
        ours = {file for package in self.packages for file in list_files(package) if not os.path.isdir(file)}
        self.assertIn("/usr/bin/kep-rg", ours)
        self.assertEqual([file for file in ours if os.path.lexists(file)], [])
        try:
            run("dpkg", "--install", *self.packages, env=PLAIN)
            self.check_that_they_work()
        finally:
            run("dpkg", "--purge", *NAMES, env=PLAIN)  # what is not there is passed over
        self.assertEqual([file for file in ours if os.path.lexists(file)], [])

    def check_that_they_work(self):
        self.assertRegex(run("kep-rg", "--version", env=PLAIN), r"^kep-rg \d+\.\d+\.\d+\n$")
        self.assertIn("kep-rg-build - ", run("man", "kep-rg-build", env=PLAIN).replace("\u2010", "-"))
        self.assertTrue(pathlib.Path("/usr/share/bash-completion/completions/kep-rg").is_file())
        for name, command in {
            "by_pkg_config": "g++ -std=c++17 main.cpp $(pkg-config --cflags --libs kep_rg kep_io) -o by_pkg_config",
            "by_cmake": "cmake -S . -B tree && cmake --build tree && mv tree/program by_cmake",
        }.items():
            program = self.work / name
            shutil.copytree(HERE / "program", program)
            run("bash", "-c", command, cwd=program, env=PLAIN)
            self.assertEqual(run(program / name, program / "ring.kdb", env=PLAIN), PRINTED)
        opened = "import sys, kep_rg; print(len(kep_rg.open(sys.argv[1])))"
        self.assertEqual(run("/usr/bin/python3", "-c", opened, program / "ring.kdb", env=PLAIN), "2\n")


if __name__ == "__main__":
    BUILD = sys.argv[1]
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
