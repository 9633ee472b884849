"""The two ways in which a run can end early, and the exit status of each."""


class BadInput(Exception):
    """Input that can't be used. Exit status 2."""

    status = 2


class BrokenInvariant(Exception):
    """An assertion of the build. Exit status 3."""

    status = 3
