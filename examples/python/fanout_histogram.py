"""Draws how many nodes of a device have how many fanouts.

usage: fanout_histogram.py DEVICE.kdb PICTURE.svg        (or .png)
"""

import sys

import matplotlib

matplotlib.use("Agg")  # draws to a file, with no screen
import matplotlib.pyplot as plt
import numpy as np

import kep_rg


def main(path: str, picture: str) -> None:
    device = kep_rg.open(path)
    counts = device.fanout_counts()
    nodes_by_count = np.bincount(counts)
    figure, axes = plt.subplots()
    axes.bar(np.arange(len(nodes_by_count)), nodes_by_count, width=1)
    axes.set_yscale("log")
    axes.set_xlabel("fanouts")
    axes.set_ylabel("nodes")
    axes.set_title(f"{len(device):,} nodes, {device.num_edges:,} edges")
    figure.savefig(picture)
    most = device.node(int(counts.argmax()))
    print(f"{counts.mean():.1f} fanouts a node; most, {counts.max()}, at {most.name}")


if __name__ == "__main__":
    main(*sys.argv[1:])
