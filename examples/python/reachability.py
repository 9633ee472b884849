"""Tells how much of a device a node reaches, and the way to the node that is farthest away.

usage: reachability.py DEVICE.kdb [NODE]        by default the node with the most fanouts
"""

import sys

import numpy as np
from scipy.sparse import csgraph

import kep_rg


def main(path: str, name: str = "") -> None:
    device = kep_rg.open(path)
    graph = kep_rg.matrix(device)
    num_groups, groups = csgraph.connected_components(graph, connection="strong")
    largest = np.bincount(groups).max(initial=0)
    print(f"{len(device):,} nodes in {num_groups:,} groups that reach each other; the largest has {largest:,}")

    start = device.node(name) if name else device.node(int(device.fanout_counts().argmax()))
    reached, before = csgraph.breadth_first_order(graph, start.index)  # the last one is the farthest
    way = [int(reached[-1])]
    while way[-1] != start.index:
        way.append(int(before[way[-1]]))
    print(f"{start.name} reaches {len(reached) - 1:,} nodes, the last over {len(way) - 1} edges:")
    print("  " + " -> ".join(device.node(node).name for node in reversed(way)))


if __name__ == "__main__":
    main(*sys.argv[1:])
