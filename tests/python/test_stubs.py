"""Stubs say what the module has, and types of the package, of tests and of examples hold."""

from __future__ import annotations

import ast
import inspect
import os
import pathlib
import re
import subprocess
import sys
from collections.abc import Iterator

import pytest

import devices
import kep_rg
from kep_rg import _kep_rg

STUB = devices.ROOT / "python" / "kep_rg" / "_kep_rg.pyi"
OWN = {"__len__", "__iter__", "__index__", "__hash__", "__eq__", "__init__"}  # not told with their parameters


def get_told_functions(body: list[ast.stmt], prefix: str = "") -> Iterator[tuple[str, list[str]]]:
    """Each function and property of a stub with the names of its parameters and their defaults."""
    for each in body:
        if isinstance(each, ast.ClassDef):
            yield from get_told_functions(each.body, f"{each.name}.")
        elif isinstance(each, ast.FunctionDef):
            args = each.args
            names = [arg.arg for arg in args.args]
            told = dict(zip(names[len(names) - len(args.defaults) :], map(ast.unparse, args.defaults)))
            told |= {arg.arg: ast.unparse(value) for arg, value in zip(args.kwonlyargs, args.kw_defaults) if value}
            names += [arg.arg for arg in args.kwonlyargs]
            yield prefix + each.name, [f"{name}={told[name]}" if name in told else name for name in names]


def get_signatures(function: object) -> list[list[str]]:
    """Those of a compiled function, one for each overload, as its docstring has them."""
    found = []
    for line in (function.__doc__ or "").splitlines():
        if match := re.match(r"(?:\d+\. )?\w+\((.*)\) -> ", line):
            words = [word.strip() for word in re.split(r", (?=\w+[:=]|\*)", match[1]) if word.strip() != "*"]
            found.append([re.sub(r": .*?(?= = |$)", "", word).replace(" = ", "=") for word in words if word])
    return found


TOLD = [(name, words) for name, words in get_told_functions(ast.parse(STUB.read_text()).body)]


@pytest.mark.parametrize("name, words", TOLD, ids=[name for name, _ in TOLD])
def test_a_function_of_the_stubs_has_its_parameters_in_the_module(name: str, words: list[str]) -> None:
    found: object = _kep_rg
    for part in name.split("."):
        found = inspect.getattr_static(found, part)
    if isinstance(found, property):
        assert words == ["self"]
        assert found.__doc__
    elif name.split(".")[-1] not in OWN:
        assert words in get_signatures(found)


def test_all_of_the_module_stands_in_the_stubs() -> None:
    told = {name for name, _ in TOLD}
    for name, value in vars(_kep_rg).items():
        if inspect.isclass(value) and not name.startswith("_"):
            assert f"class {name}" in STUB.read_text()
            public = {f"{name}.{each}" for each in vars(value) if not each.startswith("_")}
            assert public <= told
        elif callable(value) and not name.startswith("_"):
            assert name in told


def test_all_that_is_public_is_documented() -> None:
    for name in kep_rg.__all__:
        value = getattr(kep_rg, name)
        assert value.__doc__, name
        for member, what in vars(value).items() if inspect.isclass(value) else ():
            if not member.startswith("_") and (callable(what) or isinstance(what, property)):
                assert what.__doc__, f"{name}.{member}"


def test_types_hold() -> None:
    files = [
        *(devices.ROOT / "python" / "kep_rg").glob("*.py*"),
        *pathlib.Path(__file__).parent.glob("*.py"),
        *(path for path in (devices.ROOT / "examples" / "python").glob("*.py") if path.name != "read_database.py"),
        devices.ROOT / "bench" / "python_edges.py",
    ]
    # The cache of an earlier run in this build is of use; what is told is the same without it.
    cache = pathlib.Path(kep_rg.__file__).parents[1] / "mypy_cache"
    config = pathlib.Path(__file__).parent / "mypy.ini"
    options = ["--config-file", config, "--cache-dir", cache]
    command = [sys.executable, "-m", "mypy", *map(str, [*options, *files])]
    done = subprocess.run(command, capture_output=True, text=True, env={**os.environ, "PYTHONPATH": ""})
    assert done.returncode == 0, done.stdout + done.stderr
