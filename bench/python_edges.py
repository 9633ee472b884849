"""All edges of a device as numpy arrays, beside a pass over them in C++ by one thread, turn by turn.

usage: PYTHONPATH=<build>/python python3 bench/python_edges.py <build>/bin/kep_edge_pass_bench DEVICE.kdb [ROUNDS]
"""

import statistics
import subprocess
import sys
import time

import kep_rg


def measure(device: kep_rg.Device) -> float:
    start = time.perf_counter()
    kep_rg.edges(device)
    return time.perf_counter() - start


def main(program: str, path: str, num_rounds: int = 10) -> None:
    device = kep_rg.open(path)
    python, by_number, by_name = [], [], []
    for _ in range(num_rounds):
        passes = subprocess.run([program, path, "5"], check=True, capture_output=True, text=True).stdout.splitlines()
        times = [[float(word) for word in line.split()] for line in passes]
        by_number += [number for number, *_ in times]
        by_name += [name for _, name, _ in times]
        python += [measure(device) for _ in range(5)]
    print(f"{path}: {len(device)} nodes, {device.num_edges} edges, {num_rounds * 5} times each; milliseconds")
    for name, seconds in (("arrays in Python", python), ("pass, numbers", by_number), ("pass, names", by_name)):
        print(f"  {name:<17} least {min(seconds) * 1e3:7.2f}, median {statistics.median(seconds) * 1e3:7.2f}")
    for name, seconds in (("numbers", by_number), ("names", by_name)):
        least, median = min(python) / min(seconds), statistics.median(python) / statistics.median(seconds)
        print(f"  beside a pass by {name}: {least:.2f} times by the least, {median:.2f} by the median")


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2], *map(int, sys.argv[3:4]))
