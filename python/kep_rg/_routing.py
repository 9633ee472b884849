"""Routing descriptions."""

from __future__ import annotations

import json
import operator
from typing import Optional, SupportsIndex, Union

import numpy as np

Flag = Union[bool, np.bool_]


def _get_plain(value: SupportsIndex | np.bool_) -> Union[bool, int]:
    """The flag or number that numpy, or whoever else, has an own type for."""
    return bool(value) if isinstance(value, np.bool_) else operator.index(value)


class Routing:
    """A routing description, statement by statement: what a routing file says, under the same names.

    `module` and `view` name the first module of that name in that view. Statements are carried out by build(), in
    order; "routing:3: ..." tells that the third one is refused.
    """

    def __init__(self) -> None:
        self._lines: list[str] = []

    def __len__(self) -> int:
        """The number of statements."""
        return len(self._lines)

    def __repr__(self) -> str:
        return f"<kep_rg.Routing: {len(self)} statements>"

    @property
    def text(self) -> str:
        """The statements as a routing file has them."""
        return "".join(line + "\n" for line in self._lines)

    def add_port_edge(
        self, module: str, input: str, output: str, *, view: str = "LOGICAL", hipi: SupportsIndex = 0, flag: Flag = False
    ) -> None:
        """An arc of a mux. With `flag` a new mux is a skip mux."""
        self._add("add_port_edge", module=module, view=view, input=input, output=output, hipi=hipi, flag=flag)

    def add_routing_flyover(self, module: str, input: str, output: str, *, view: str = "LOGICAL") -> None:
        """A jump taken in spare rows."""
        self._add("add_routing_flyover", module=module, view=view, input=input, output=output)

    def add_routing_root(self, module: str, root_view: str, *, view: str = "LOGICAL") -> None:
        """Makes an IP root a routing root; `root_view` is "LOGICAL", or "BLC" for its BLC equivalents."""
        self._add("add_routing_root", module=module, view=view, root_view=root_view)

    def add_inserted_node(self, module: str, port: str, *, view: str = "LOGICAL", name: str = "") -> None:
        """Makes the port a node, at which searches end."""
        self._add("add_inserted_node", module=module, view=view, port=port, name=name)

    def add_remove_node(self, module: str, port: str, *, view: str = "LOGICAL") -> None:
        """Keeps the port from becoming a node, on a BLC routing root or inside one."""
        self._add("add_remove_node", module=module, view=view, port=port)

    def add_tunnel_type(self, module: str, tunnel: SupportsIndex, *, view: str = "LOGICAL") -> None:
        """Gives the module a tunnel type, 0 to 3."""
        self._add("add_tunnel_type", module=module, view=view, tunnel=tunnel)

    def add_module_is_not_template(self, module: str, *, view: str = "LOGICAL") -> None:
        """A mark that no build reads."""
        self._add("add_module_is_not_template", module=module, view=view)

    def disable_merge(self, module: str, port: str, *, view: str = "LOGICAL") -> None:
        """A mark that no build reads."""
        self._add("disable_merge", module=module, view=view, port=port)

    def set_skip_paths(
        self, module: str, skip: Flag, *, view: str = "LOGICAL", instance: Optional[str] = None
    ) -> None:
        """Makes the arcs of the module skip paths or none; with `instance` on that instance in it alone."""
        self._add("set_skip_paths", module=module, view=view, skip=skip, instance=instance)

    def add_skip_paths_to_output_port(self, module: str, port: str, *, view: str = "LOGICAL") -> None:
        """Makes all arcs of the port's module skip paths."""
        self._add("add_skip_paths_to_output_port", module=module, view=view, port=port)

    def set_non_template_mux_skip_path_inst_name_pattern(self, pattern: str) -> None:
        """Makes arcs skip paths on the instances whose name holds the text."""
        self._add("set_non_template_mux_skip_path_inst_name_pattern", pattern=pattern)

    def add_wire_type(self, module: str, path: str, name: str, *, view: str = "LOGICAL", flags: SupportsIndex = 0) -> None:
        """A wire type for the port `path`, "a/b:c", below the module."""
        self._add("add_wire_type", module=module, view=view, path=path, name=name, flags=flags)

    def set_spare_row(self, instance: str) -> None:
        """Lays the instance at that path from the top in a spare row."""
        self._add("set_spare_row", instance=instance)

    def _add(self, op: str, **fields: Union[str, SupportsIndex, np.bool_, None]) -> None:
        given = {name: value for name, value in fields.items() if value is not None}
        self._lines.append(json.dumps({"op": op, **given}, default=_get_plain))
