"""The texts of docs/descriptions, one file a page.

    # Title of the page

    What the page is about.

    ## prjCorveth.Note

    What the class is.

    - Update: what the member does,
      continued.
"""

from __future__ import annotations

import re
from dataclasses import dataclass, field
from pathlib import Path

from generator.library import Described, Library

_MEMBER = re.compile(r"- (\w+): (.*)")


class Mistake(Exception):
    """A text that does not suit what it describes."""


@dataclass
class Entry:
    subject: Described
    text: str = ""
    members: dict[str, str] = field(default_factory=dict)

    @property
    def summary(self) -> str:
        """The first sentence."""
        return re.split(r"(?<=[.])\s", self.text, maxsplit=1)[0]


@dataclass
class Page:
    name: str
    title: str = ""
    text: str = ""
    entries: list[Entry] = field(default_factory=list)


@dataclass
class Descriptions:
    pages: list[Page]

    def __post_init__(self) -> None:
        self._places = {entry.subject.path: (page, entry) for page in self.pages for entry in page.entries}

    def page(self, subject: Described) -> Page:
        return self._places[subject.path][0]

    def entry(self, subject: Described) -> Entry:
        return self._places[subject.path][1]


def read(folder: Path, library: Library) -> Descriptions:
    """Mistake when a file describes what is not there, or twice, or something is not described."""
    subjects = {subject.path: subject for subject in library.everything}
    pages = [_Parser(path, subjects).read() for path in sorted(folder.glob("*.md"))]
    if subjects:
        raise Mistake(f"no file in {folder.name} describes {', '.join(subjects)}")
    return Descriptions(pages)


class _Parser:
    """Reads one file; takes what it describes out of `subjects`."""

    def __init__(self, path: Path, subjects: dict[str, Described]):
        self._path = path
        self._subjects = subjects
        self._page = Page(path.stem)
        self._member = ""
        self._number = 0

    def read(self) -> Page:
        for self._number, line in enumerate(self._path.read_text(encoding="utf-8").splitlines(), 1):
            self._take(line)
        if not self._page.title:
            raise self._mistake("the page has no title")
        for entry in self._page.entries:
            if not entry.text:
                raise self._mistake(f"{entry.subject.path} has no text")
        self._page.text = self._page.text.strip()
        return self._page

    def _take(self, line: str) -> None:
        entry = self._page.entries[-1] if self._page.entries else None
        if line.startswith("# "):
            self._page.title = line[2:]
        elif line.startswith("## "):
            self._begin(line[3:])
        elif entry is None:
            self._page.text += line + "\n"
        elif match := _MEMBER.fullmatch(line):
            self._begin_member(entry, *match.groups())
        elif line.startswith("  ") and self._member:
            entry.members[self._member] += " " + line.strip()
        elif line:
            if self._member:
                raise self._mistake("text of a class stands before its members")
            entry.text = f"{entry.text} {line}".lstrip()

    def _begin(self, path: str) -> None:
        self._member = ""
        subject = self._subjects.pop(path, None)
        if subject is None:
            raise self._mistake(f"{path} does not exist or was described before")
        self._page.entries.append(Entry(subject))

    def _begin_member(self, entry: Entry, name: str, text: str) -> None:
        self._member = name
        if name not in entry.subject.names or name in entry.members:
            raise self._mistake(f"{entry.subject.path} has no member {name}, or it was described before")
        entry.members[name] = text

    def _mistake(self, text: str) -> Mistake:
        return Mistake(f"{self._path.parent.name}/{self._path.name}:{self._number}: {text}")
