"""What the shared libraries show, beside the lists in exported_symbols/: what other programs may have been linked with.

    exported_symbols_test.py LIBRARY...            compares
    exported_symbols_test.py --write LIBRARY...    writes the lists

A symbol that is gone or was changed needs a new KEP_RG_SOVERSION once it was in a release.
"""

import pathlib
import re
import subprocess
import sys

LISTS = pathlib.Path(__file__).resolve().parent / "exported_symbols"
OURS = re.compile(r"((typeinfo|typeinfo name|vtable) for )?(KEP_|kep_)")


def find_symbols(library):
    """By their names in C++. What the compiler may or may not put into each library that uses it doesn't count."""
    command = ["nm", "--dynamic", "--defined-only", "--demangle", str(library)]
    lines = subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()
    symbols = [line.split(" ", 2)[1:] for line in lines]
    firm = {name for kind, name in symbols if kind not in "Ww" and "{lambda" not in name}
    return sorted(firm), sorted({name for _, name in symbols})


def main():
    arguments = sys.argv[1:]
    writes = arguments[:1] == ["--write"]
    is_right = True
    for library in map(pathlib.Path, arguments[writes:]):
        firm, every = find_symbols(library)
        path = LISTS / f"{library.name.removeprefix('lib').removesuffix('.so').split('.')[0]}.txt"
        if writes:
            path.write_text("".join(f"{name}\n" for name in firm))
        listed = path.read_text().splitlines()
        for name in every:
            if not OURS.match(name):
                print(f"{library.name} shows what is not ours: {name}")
                is_right = False
        for name in sorted(set(firm) ^ set(listed)):
            print(f"{library.name} {'shows' if name in firm else 'no longer shows'} {name}: {path.name} says otherwise")
            is_right = False
        if len(firm) < 10:
            print(f"{library.name} shows nothing")
            is_right = False
    sys.exit(0 if is_right else 1)


if __name__ == "__main__":
    main()
