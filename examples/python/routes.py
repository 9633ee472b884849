"""Holds routes that a router found to the graph of their device; nextpnr_generic.py uses it."""

from collections import Counter, defaultdict
from collections.abc import Iterable, Iterator
from typing import NamedTuple, Optional

import kep_rg


class Route(NamedTuple):
    """The way of a net: the nodes of its pins, and steps from node to node through mux inputs, in any order."""

    net: str
    driver: kep_rg.Node
    readers: list[kep_rg.Node]
    steps: list[tuple[kep_rg.Node, kep_rg.Node, Optional[str]]]

    def __str__(self) -> str:
        steps = (f"\n  {source.name} -> {target.name}{show(mux_input)}" for source, target, mux_input in self.steps)
        return f"{self.net}: {self.driver.name} to {', '.join(node.name for node in self.readers)}" + "".join(steps)


def show(mux_input: Optional[str]) -> str:
    return f" through {mux_input}" if mux_input else ""  # an inserted node need not be of a mux


def get_driven(node: kep_rg.Node) -> list[str]:
    """The mux inputs and inserted nodes on the net that a node drives, or, if there are none, the node.

    Two nodes that have one of them in common drive one net.
    """
    return [f"{edge.mux_input or edge.target.name}#{edge.target.index}" for edge in node.fanouts] or [f"#{node.index}"]


def check(routes: Iterable[Route]) -> Iterator[str]:
    """Tells steps that are no edges, routes that are no trees from their drivers to all readers, nets driven twice."""
    drivers: dict[str, tuple[str, str]] = {}
    for net, driver, readers, steps in routes:
        ahead = defaultdict(list)
        for source, target, mux_input in steps:
            ahead[source].append(target)
            if all((edge.target, edge.mux_input) != (target, mux_input) for edge in source.fanouts):
                yield f"{net}: no edge {source.name} -> {target.name}{show(mux_input)}"
        reached = [driver]
        for node in reached:  # which grows
            reached += ahead.pop(node, [])
        times = Counter(reached)
        yield from (f"{net}: {node.name} isn't reached" for node in [*readers, *ahead] if not times[node])
        yield from (f"{net}: {node.name} is reached {count} times" for node, count in times.items() if count > 1)
        for node in times:
            own = net, node.name
            for user, other in sorted({drivers.setdefault(driven, own) for driven in get_driven(node)} - {own}):
                yield f"{net}: {node.name} drives what {other} drives for {user}"
