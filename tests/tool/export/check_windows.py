"""Windows of a device against its dump, read with networkx.

usage: python3 check_windows.py FOLDER

In the folder lie a dump, and windows "STEPS DIRECTION NUMBER.FORMAT" around the node of that number and its twin. Prints how many
windows, nodes and edges were compared.
"""

import csv
import json
import pathlib
import sys

import networkx

folder = pathlib.Path(sys.argv[1])


def read_table(path: pathlib.Path) -> list[list[str]]:
    return [line.split("\t") for line in path.read_text().splitlines()[1:]]


nodes = read_table(folder / "dump" / "nodes.tsv")
numbers = {tuple(node): i for i, node in enumerate(nodes)}
edges = [
    (numbers[source, source_kind], numbers[target, target_kind], edge_class, mux_input)
    for source, source_kind, target, target_kind, edge_class, mux_input in read_table(folder / "dump" / "edges.tsv")
]
fanouts: list[set[int]] = [set() for _ in nodes]
fanins: list[set[int]] = [set() for _ in nodes]
for source, target, _, _ in edges:
    fanouts[source].add(target)
    fanins[target].add(source)


def reach(middle: list[int], neighbours: list[set[int]], steps: int) -> dict[int, int]:
    """How many steps the nodes that are reached are away."""
    distances = dict.fromkeys(middle, 0)
    rim = set(middle)
    for step in range(1, steps + 1):
        rim = {to for node in rim for to in neighbours[node]} - distances.keys()
        distances.update(dict.fromkeys(rim, step))
    return distances


def find_window(number: int, steps: int, direction: str) -> dict[int, int]:
    middle = [i for i, node in enumerate(nodes) if node[0] == nodes[number][0]]
    distances: dict[int, int] = {}
    for way, neighbours in (("fanouts", fanouts), ("fanins", fanins)):
        if direction in (way, "both"):
            for node, distance in reach(middle, neighbours, steps).items():
                distances[node] = min(distance, distances.get(node, distance))
    return distances


def read_graph(graph: networkx.MultiDiGraph) -> tuple[list, list]:
    """Its nodes and edges as they should be."""
    assert graph.is_directed()
    strip = int if all(isinstance(node, int) for node in graph) else lambda node: int(node[1:])  # n12
    return (
        [(strip(node), data["name"], data["kind"], data["distance"]) for node, data in graph.nodes(data=True)],
        [(strip(a), strip(b), data["class"], data.get("mux_input", "")) for a, b, data in graph.edges(data=True)],
    )


def read_csv(path: pathlib.Path) -> list:
    with path.open(newline="") as file:
        return [
            (numbers[row["from"], row["from_kind"]], int(row["from_distance"]),
             numbers[row["to"], row["to_kind"]], int(row["to_distance"]), row["class"], row["mux_input"])
            for row in csv.DictReader(file)
        ]


num_windows = num_nodes = num_edges = 0
for path in sorted(folder.glob("* *.*")):
    steps, direction, number = path.stem.split()
    distances = find_window(int(number), int(steps), direction)
    expected_nodes = [(node, *nodes[node], distances[node]) for node in sorted(distances)]
    expected_edges = [edge for edge in edges if edge[0] in distances and edge[1] in distances]
    if path.suffix == ".csv":
        expected = [(a, distances[a], b, distances[b], *rest) for a, b, *rest in expected_edges]
        assert read_csv(path) == expected, path
    else:
        graph = (
            networkx.node_link_graph(json.loads(path.read_text()))
            if path.suffix == ".json"
            else networkx.read_graphml(path, force_multigraph=True)
        )
        found_nodes, found_edges = read_graph(graph)
        assert found_nodes == expected_nodes, path
        assert sorted(found_edges) == sorted(expected_edges), path
    num_windows += 1
    num_nodes += len(expected_nodes)
    num_edges += len(expected_edges)
print(num_windows, num_nodes, num_edges)
