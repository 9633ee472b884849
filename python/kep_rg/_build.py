"""Devices from files, texts and descriptions."""

from __future__ import annotations

import os
import warnings
from collections.abc import Iterable
from typing import NamedTuple, Optional, SupportsIndex, Union

from kep_rg import _kep_rg
from kep_rg._routing import Routing

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]


class InputWarning(UserWarning):
    """What is odd about a file that was taken all the same: "FILE: PLACE: REASON"."""


class Text(NamedTuple):
    """A text in the place of a file; `name` stands for it in messages."""

    text: str
    name: str = "text"


Source = Union[Path, Text, Routing]
_Source = Union[Path, tuple[str, str]]


def _get_source(source: Source) -> _Source:
    if isinstance(source, Routing):
        return ("routing", source.text)
    if isinstance(source, Text):
        return (source.name, source.text)
    if isinstance(source, tuple):
        raise TypeError("expected a path, a Text or a Routing, not a plain tuple")
    return source


def _get_sources(sources: Union[Source, Iterable[Source]]) -> list[_Source]:
    if isinstance(sources, (str, bytes, os.PathLike, Text, Routing)):
        return [_get_source(sources)]
    return [_get_source(source) for source in sources]


def build(
    model: Union[Path, Text, _kep_rg.Model],
    routing: Union[Source, Iterable[Source]] = (),
    redundancy: Union[Path, Text, Iterable[Union[Path, Text]]] = (),
    *,
    threads: Optional[SupportsIndex] = None,
) -> _kep_rg.Device:
    """Builds the routing graph of a device.

    `model` is the path of a model file, its text, or a Model, which is used up even where the build fails; `routing`
    one routing description or several, as paths, texts or Routing, which are read in that order; `redundancy`
    redundancy data, likewise. The device is the same for any number of threads, by default all cores.

    InputError tells what can't be used. What is odd is an InputWarning.
    """
    source = model if isinstance(model, _kep_rg.Model) else _get_source(model)
    device, lines = _kep_rg.build(source, _get_sources(routing), _get_sources(redundancy), threads)
    for line in lines:
        warnings.warn(line, InputWarning, stacklevel=2)
    return device
