"""The module where `cmake --install` puts it."""

from __future__ import annotations

import os
import pathlib
import subprocess
import sys

import pytest

import devices
import kep_rg

PROGRAM = """
import site, sys
sys.path += site.getsitepackages([sys.argv[1]])  # what Python looks at below /usr, or another such folder
import kep_rg
device = kep_rg.open(sys.argv[2])
print(kep_rg.__version__, len(device), kep_rg.__file__)
"""


@pytest.mark.skipif("KEP_RG_BUILD" not in os.environ, reason="nothing is installed from this build")
@pytest.mark.parametrize("prefix", [".", "local"])
def test_python_finds_the_module_below_its_own_prefix_and_below_local(tmp_path: pathlib.Path, prefix: str) -> None:
    for component in ("lib", "python"):
        command = ["cmake", "--install", os.environ["KEP_RG_BUILD"], "--component", component]
        subprocess.run([*command, "--prefix", tmp_path / prefix], check=True, capture_output=True)
    ring = devices.build_ring()
    ring.save(tmp_path / "ring.kdb")
    # Isolated, as PYTHONPATH leads to the build.
    command = [sys.executable, "-I", "-c", PROGRAM, str(tmp_path), str(tmp_path / "ring.kdb")]
    done = subprocess.run(command, capture_output=True, text=True)
    assert done.stderr == ""
    version, num_nodes, place = done.stdout.split()
    assert (version, int(num_nodes)) == (kep_rg.__version__, len(ring))
    assert tmp_path in pathlib.Path(place).parents
