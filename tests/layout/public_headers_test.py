"""Compiles each public header by itself, as C++17: the libraries are C++20, programs need not be.

usage: public_headers_test.py COMPILER FOLDER_OF_GENERATED_HEADERS
"""

import concurrent.futures
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]


def compile_alone(compiler, generated, header):
    """What the compiler says of a source that includes the header and nothing else; "" if all is well."""
    command = [compiler, "-std=c++17", "-fsyntax-only", "-Wall", "-Wextra", "-Wpedantic", "-x", "c++", "-"]
    command += ["-I", str(ROOT / "h"), "-I", generated]
    done = subprocess.run(command, input=f'#include "{header}"\n', capture_output=True, text=True, check=False)
    return done.stderr if done.returncode or done.stderr else ""


def main():
    compiler, generated = sys.argv[1:]
    headers = sorted(path.relative_to(ROOT / "h").as_posix() for path in (ROOT / "h").rglob("*.h"))
    if len(headers) < 20 or not compile_alone(compiler, generated, "no/such/header.h"):
        sys.exit("public_headers_test.py: finds no headers, or no fault where there is one")
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        said = list(pool.map(lambda header: compile_alone(compiler, generated, header), headers))
    for header, text in zip(headers, said):
        if text:
            print(f"{header} does not compile by itself:\n{text}")
    sys.exit(any(said))


if __name__ == "__main__":
    main()
