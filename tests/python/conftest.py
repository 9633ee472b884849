from __future__ import annotations

import pathlib

import pytest

import devices
import kep_rg


@pytest.fixture(scope="session")
def fabric(tmp_path_factory: pytest.TempPathFactory) -> pathlib.Path:
    """The files of a generated device with redundant edges, and its dump."""
    folder = tmp_path_factory.mktemp("fabric")
    model, routing, redundancy = folder / "model.json", folder / "routing.jsonl", folder / "redundancy.txt"
    devices.run_tool("generate", "--nodes", 9000, "--redundant", 10, "--model", model, "--routing", routing,
                     "--redundancy", redundancy)
    devices.run_tool("build", model, routing, "--redundancy", redundancy, "--dump", folder)
    return folder


@pytest.fixture(scope="session")
def fabric_device(fabric: pathlib.Path) -> kep_rg.Device:
    return devices.build_folder(fabric)


@pytest.fixture(scope="session")
def database(tmp_path_factory: pytest.TempPathFactory) -> pathlib.Path:
    """A database of a real device, or of a generated one where its package is not installed."""
    folder = tmp_path_factory.mktemp("database")
    files = ("--model", folder / "model.json", "--routing", folder / "routing.jsonl")
    if devices.CHIPDB.exists():
        devices.run_tool("import-icebox", devices.CHIPDB, *files)
    else:
        devices.run_tool("generate", "--nodes", 20000, *files)
    devices.build_folder(folder).save(folder / "device.kdb")
    return folder / "device.kdb"
