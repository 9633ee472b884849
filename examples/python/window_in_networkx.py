"""Hands the nodes around one to networkx, and asks for what it knows of them.

usage: window_in_networkx.py DEVICE.kdb NODE [EDGES_AWAY]
"""

import sys
from collections import deque

import networkx as nx

import kep_rg


def get_window(start: kep_rg.Node, edges_away: int) -> nx.MultiDiGraph:
    """The nodes that are reached over so many edges, and all edges between them."""
    distances = {start: 0}
    waiting = deque([start])
    while waiting:
        node = waiting.popleft()
        if distances[node] == edges_away:
            continue
        for edge in node.fanouts:
            if edge.target not in distances:
                distances[edge.target] = distances[node] + 1
                waiting.append(edge.target)
    window = nx.MultiDiGraph()
    for node, distance in distances.items():
        window.add_node(node.name, distance=distance)
    for node in distances:
        for edge in node.fanouts:
            if edge.target in distances:
                window.add_edge(node.name, edge.target.name, mux_input=edge.mux_input)
    return window


def main(path: str, name: str, edges_away: str = "3") -> None:
    start = kep_rg.open(path).node(name)
    window = get_window(start, int(edges_away))
    print(f"{len(window)} nodes and {window.number_of_edges()} edges within {edges_away} edges of {start.name}")
    ranks = nx.pagerank(window)
    for node in sorted(ranks, key=ranks.__getitem__, reverse=True)[:5]:
        print(f"  {ranks[node]:.4f}  {node}, {window.nodes[node]['distance']} away")


if __name__ == "__main__":
    main(*sys.argv[1:])
