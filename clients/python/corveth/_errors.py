"""The one exception of the module, and the numbers that it carries."""

from __future__ import annotations

SOURCE = "prjCorveth"

OVERFLOW = 6
TYPE_MISMATCH = 13
CANNOT_CREATE = 429
NAMED_ARGUMENT = 448
ARGUMENT_COUNT = 450

EXCEPTION = 0x80020009
WRONG_THREAD = 0x8001010E

_RUN_TIME = 0x800A0000

_TEXTS = {
    _RUN_TIME + 5: "Invalid procedure call or argument",
    _RUN_TIME + OVERFLOW: "Overflow",
    _RUN_TIME + 7: "Out of memory",
    _RUN_TIME + TYPE_MISMATCH: "Type mismatch",
    _RUN_TIME + 94: "Invalid use of Null",
    _RUN_TIME + 3709: "There is no open connection",
    0x80004001: "Not implemented",
    0x80004002: "No such interface",
    0x80004003: "Invalid pointer",
    0x80004005: "Unspecified error",
    0x80020003: "Member not found",
    0x80020006: "Unknown name",
    0x8007000E: "Out of memory",
    0x80070057: "Invalid argument",
    WRONG_THREAD: "The object belongs to another thread.",
}


class Error(Exception):
    """A failure of the server.

    ``number``       the small number of a run-time or data-access error (13, 457, 3705), else the whole code
                     (0x80040001)
    ``source``       the word that names the class or component that raised it
    ``description``  its text
    ``hresult``      the code as it crossed, unsigned
    """

    def __init__(self, number: int, source: str, description: str, hresult: int | None = None):
        if hresult is None:
            hresult = number if number > 0xFFFF else _RUN_TIME + number
        super().__init__(number, source, description, hresult)
        self.number = number
        self.source = source
        self.description = description
        self.hresult = hresult

    def __str__(self) -> str:
        number = str(self.number) if self.number <= 0xFFFF else f"0x{self.number:08X}"
        return f"{self.description} ({self.source}, {number})"


def number_of(hresult: int) -> int:
    """The number that a client sees for a code: small for run-time and data-access errors."""
    hresult &= 0xFFFFFFFF
    return hresult & 0xFFFF if hresult & 0xFFFF0000 == _RUN_TIME else hresult


def from_hresult(hresult: int, what: str) -> Error:
    """A failure that came without a record of its own; `what` names what failed."""
    hresult &= 0xFFFFFFFF
    text = _TEXTS.get(hresult, f"Failure 0x{hresult:08X}")
    joint = " " if text.endswith(".") else ": "
    return Error(number_of(hresult), SOURCE, text + joint + what, hresult)
