"""A graph as arrays."""

from __future__ import annotations

import enum
from typing import TYPE_CHECKING, NamedTuple, Optional, SupportsIndex

import numpy as np
import numpy.typing as npt

from kep_rg import _kep_rg

if TYPE_CHECKING:
    from scipy.sparse import csr_matrix


class Edges(NamedTuple):
    """Edges as arrays of equal length: edge i goes from sources[i] to targets[i]."""

    sources: npt.NDArray[np.uint32]
    targets: npt.NDArray[np.uint32]
    redundant: npt.NDArray[np.bool_]


class Kind(enum.IntEnum):
    """The kinds of nodes, as Device.kinds() has them."""

    UIP = 0
    HIPI = 1
    BOUNDARY = 2


def edges(device: _kep_rg.Device, first: SupportsIndex = 0, last: Optional[SupportsIndex] = None) -> Edges:
    """The edges that leave the nodes numbered first to last - 1, by default all.

    They stand in the order of their sources, and of one source as Node.fanouts has them: real ones first. The three
    arrays share a block of memory; whoever keeps only one of them for long keeps a copy.
    """
    return Edges(*_kep_rg.edges(device, first, last))


def matrix(device: _kep_rg.Device, redundant: bool = True, dtype: npt.DTypeLike = np.int32) -> csr_matrix:
    """The graph as a sparse matrix of scipy, with a 1 at [source, target] for each edge.

    Edges that run side by side stand side by side in it, as scipy allows: most operations add them up. Without
    `redundant` the real edges alone are in it.
    """
    from scipy.sparse import csr_matrix

    starts, targets = _kep_rg.rows(device, redundant)
    return csr_matrix((np.ones(len(targets), dtype), targets, starts), shape=(len(device), len(device)), copy=False)
