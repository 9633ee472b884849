"""The flat routing graphs of programmable-logic devices.

A device is opened from a database, built from its files, or described call by call:

    import kep_rg

    device = kep_rg.open("device.kdb")
    node = device.node("16_16/bel.lutff_0:out")
    print(node.name, [edge.target.name for edge in node.fanouts])
    sources, targets, redundant = kep_rg.edges(device)

Nodes are numbered from 0 to len(device) - 1; arrays by number stand beside them. What kep_rg refuses is an Error
with one line that tells where and why.
"""

from kep_rg._build import InputWarning, Text, build
from kep_rg._kep_rg import (
    ArgumentError,
    CheckReport,
    Device,
    Edge,
    Error,
    Finding,
    InputError,
    Instance,
    InternalError,
    Model,
    Module,
    Net,
    Node,
    NotFoundError,
    OutputError,
    Step,
    Trace,
    __version__,
    open,
)
from kep_rg._arrays import Edges, Kind, edges, matrix
from kep_rg._routing import Routing

__all__ = [
    "ArgumentError",
    "CheckReport",
    "Device",
    "Edge",
    "Edges",
    "Error",
    "Finding",
    "InputError",
    "InputWarning",
    "Instance",
    "InternalError",
    "Kind",
    "Model",
    "Module",
    "Net",
    "Node",
    "NotFoundError",
    "OutputError",
    "Routing",
    "Step",
    "Text",
    "Trace",
    "__version__",
    "build",
    "edges",
    "matrix",
    "open",
]
