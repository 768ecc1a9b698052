#!/usr/bin/env python3
"""Measures the Python client beside Python's own sqlite3 module doing the same work.

Two databases begin alike, one for each side. Every round takes the operations in another order and, in each, one or
the other side first; the ratio is taken inside the round, and its median is shown.

    PYTHONPATH=clients/python benchmarks/python_bench.py
"""

from __future__ import annotations

import argparse
import json
import pathlib
import random
import shutil
import sqlite3
import statistics
import sys
import tempfile
import time
from collections.abc import Callable
from dataclasses import dataclass

import corveth

NOTES_OF_LINK = 1000
INDIVIDUAL = 2
# Keys may have been put in behind the counter's back.
GREATEST_NUMBER = (
    "coalesce((Select Cast(substr(max(NoteId), 3) As integer) From Notes "
    "Where NoteId Between 'NT00000000' And 'NT99999999'), 0)"
)
RAISE_COUNTER = (
    f"Insert Into IdCounters (TableName, Code, LastNumber) Values ('Notes', 'NT', 1 + {GREATEST_NUMBER}) "
    "On Conflict (TableName, Code) Do Update Set LastNumber = max(LastNumber + 1, Excluded.LastNumber) "
    "Returning LastNumber"
)
LOOK = (
    f"Select 1 + max(?, {GREATEST_NUMBER}, "
    "coalesce((Select LastNumber From IdCounters Where TableName='Notes' And Code='NT'), 0))"
)
KEEP_COUNTER = (
    "Insert Into IdCounters (TableName, Code, LastNumber) Values ('Notes', 'NT', ?) "
    "On Conflict (TableName, Code) Do Update Set LastNumber = max(LastNumber, Excluded.LastNumber)"
)


def note_id(number: int) -> str:
    return f"NT{number + 1:08}"


def link_id(number: int) -> str:
    return f"CN{number + 1:08}"


def open_raw(path: pathlib.Path, synchronous: str = "FULL") -> sqlite3.Connection:
    connection = sqlite3.connect(path, isolation_level=None)
    connection.execute("PRAGMA cache_size=-65536")
    connection.execute(f"PRAGMA synchronous={synchronous}")
    return connection


class RawNotes:
    """Notes as somebody keeps them who uses the module itself."""

    def __init__(self, path: pathlib.Path):
        self.connection = open_raw(path)
        self._counter = open_raw(path, "NORMAL")  # its own commit waits for no disk: the insert that follows does
        self._given = 0  # the last number in the open transaction

    def load(self, key: str) -> tuple | None:
        return self.connection.execute("Select * From Notes Where NoteId=?", (key,)).fetchone()

    def list(self, link: str) -> list[tuple]:
        return self.connection.execute("Select * From Notes Where LinkId=?", (link,)).fetchall()

    def save(self, key: str, link: str, title: str, text: str) -> None:
        found = self.load(key)
        if found is None:
            self.connection.execute(
                "Insert Into Notes (NoteId, Creator, Creation, LinkId, LinkType, Title, Note) "
                "Values (?, '', ?, ?, 'Contact', ?, ?)",
                (self._new_id(), 25569 + int(time.time()) // 86400, link, title, text),
            )
        elif found[1:5] != (link, "Contact", title, text):
            self.connection.execute("Update Notes Set Title=?, Note=? Where NoteId=?", (title, text, found[0]))

    def _new_id(self) -> str:
        if not self.connection.in_transaction:
            return f"NT{self._counter.execute(RAISE_COUNTER).fetchall()[0][0]:08}"
        # The database is this connection's alone: the counter can be raised once, at the end.
        self._given = self.connection.execute(LOOK, (self._given,)).fetchone()[0]
        return f"NT{self._given:08}"

    def commit(self) -> None:
        if self._given:
            self.connection.execute(KEEP_COUNTER, (self._given,))
            self._given = 0
        self.connection.execute("Commit")


class World:
    """Both databases, and what each side reaches its own through."""

    def __init__(self, folder: pathlib.Path, notes: int, contacts: int):
        self.notes, self.links = notes, max(1, notes // NOTES_OF_LINK)
        ours, raw = folder / "ours.db", folder / "raw.db"
        corveth.Dispatch("Corveth.Schema").Create(f"Provider=SQLite;Data Source={ours}")
        self._fill(ours, contacts)
        shutil.copy(ours, raw)
        self.connection = corveth.Dispatch("ADODB.Connection")
        self.connection.Open(f"Provider=SQLite;Data Source={ours}")
        self.crm = corveth.Dispatch("prjCorveth.CRM")
        self.crm.UseConnection(self.connection)
        self.raw = RawNotes(raw)

    def _fill(self, path: pathlib.Path, contacts: int) -> None:
        database = open_raw(path)
        database.execute("Begin")
        database.executemany(
            "Insert Into Notes Values (?, ?, 'Contact', ?, ?, '', 45000)",
            (
                (note_id(i), link_id(i % self.links), f"Call back about order {i}", f"Wants a quote by Friday, {i}. " * 4)
                for i in range(self.notes)
            ),
        )
        database.execute("Insert Into IdCounters Values ('Notes', 'NT', ?)", (self.notes,))
        for i in range(contacts):
            key = link_id(i)
            database.execute(
                "Insert Into ContactMaster (ContactId, CompanyId, FirstName, LastName, ContactName, ContactType) "
                "Values (?, '', 'Astrid', ?, ?, 2)",
                (key, f"Nygård {i}", f"Astrid Nygård {i}"),
            )
            database.execute("Insert Into ContactDetails (ContactId, Phone) Values (?, '22 11 00 11')", (key,))
        database.execute("Commit")
        database.execute("PRAGMA wal_checkpoint(TRUNCATE)")
        database.close()


# One turn of each operation, for ours and for the raw side. Each returns what it read or wrote, which must be the same.


@dataclass
class Operation:
    name: str
    count: int
    """Operations a turn."""
    limit: float | None
    ours: Callable
    raw: Callable
    is_new: bool = False
    """Adds notes, which go again after the turn."""


def load_ours(world: World, numbers: random.Random, count: int) -> int:
    size = 0
    for _ in range(count):
        note = corveth.Dispatch("prjCorveth.Note")
        note.ID = note_id(numbers.randrange(world.notes))
        note.Populate()
        size += len(note.Title) + len(note.Note) + len(note.LinkId)
    return size


def load_raw(world: World, numbers: random.Random, count: int) -> int:
    size = 0
    for _ in range(count):
        row = world.raw.load(note_id(numbers.randrange(world.notes)))
        size += len(row[3]) + len(row[4]) + len(row[1])
    return size


def texts(numbers: random.Random) -> tuple[str, str]:
    number = numbers.randrange(1_000_000)
    return f"Call back, {number}", f"Wants a quote by Friday and asked for the price list of the year, {number}"


def saves(is_new: bool, in_transaction: bool) -> tuple[Callable, Callable]:
    def save_ours(key, link, title, text, _world):
        note = corveth.Dispatch("prjCorveth.Note")
        note.ID = key
        note.LinkId, note.Title, note.Note = link, title, text
        note.Update()

    def save_raw(key, link, title, text, world):
        world.raw.save(key, link, title, text)

    def turn(save, world, numbers, count):
        size = 0
        for _ in range(count):
            row = numbers.randrange(world.notes)
            title, text = texts(numbers)
            save("" if is_new else note_id(row), link_id(row % world.links), title, text, world)
            size += len(title) + len(text)
        return size

    def ours(world, numbers, count):
        if not in_transaction:
            return turn(save_ours, world, numbers, count)
        world.connection.BeginTrans()
        size = turn(save_ours, world, numbers, count)
        world.connection.CommitTrans()
        return size

    def raw(world, numbers, count):
        if not in_transaction:
            return turn(save_raw, world, numbers, count)
        world.raw.connection.execute("Begin Immediate")
        size = turn(save_raw, world, numbers, count)
        world.raw.commit()
        return size

    return ours, raw


def list_ours(world: World, numbers: random.Random, count: int) -> int:
    size = 0
    for _ in range(count):
        notes = corveth.Dispatch("prjCorveth.Notes")
        notes.SetLinkFilter(link_id(numbers.randrange(world.links)))
        notes.Populate()
        for note in notes:
            size += len(note.Title) + len(note.Note)
    return size


def list_raw(world: World, numbers: random.Random, count: int) -> int:
    size = 0
    for _ in range(count):
        for row in world.raw.list(link_id(numbers.randrange(world.links))):
            size += len(row[3]) + len(row[4])
    return size


def contacts_ours(_world: World, _numbers: random.Random, _count: int) -> int:
    contacts = corveth.Dispatch("prjCorveth.Contacts")
    contacts.InitializeAsType(INDIVIDUAL)
    return sum(len(contact.LastName) + len(contact.Phone) + contact.IsUsed for contact in contacts)


def contacts_raw(world: World, _numbers: random.Random, _count: int) -> int:
    database, size = world.raw.connection, 0
    for (key,) in database.execute("Select ContactId From Contacts Where ContactType>0 Order By ContactId").fetchall():
        row = database.execute("Select * From Contacts Where ContactId=?", (key,)).fetchone()
        used = database.execute("Select ContactId From ContactMaster Where CompanyId=?", (key,)).fetchone()
        size += len(row[5]) + len(row[18]) + (used is None)
    return size


OPERATIONS = [
    Operation("load a note by key", 200, 3.0, load_ours, load_raw),
    Operation("save a new note, autocommit", 20, 2.0, *saves(True, False), is_new=True),
    Operation("save a new note, 500 in a transaction", 500, 2.0, *saves(True, True), is_new=True),
    Operation("save an existing note, autocommit", 20, 2.0, *saves(False, False)),
    Operation("save an existing note, 500 in a transaction", 500, 2.0, *saves(False, True)),
    Operation("list the 1,000 notes of a link, read two texts each", 1, None, list_ours, list_raw),
    Operation("list 1,000 contacts, read three properties each", 1, None, contacts_ours, contacts_raw),
]


class Series:
    """The figures of one operation."""

    def __init__(self, operation: Operation):
        self.operation = operation
        self.ours: list[float] = []
        self.raw: list[float] = []
        self._numbers = random.Random(7), random.Random(7)

    def add_round(self, world: World, ours_first: bool) -> None:
        operation = self.operation
        sides = [(operation.ours, self.ours, self._numbers[0]), (operation.raw, self.raw, self._numbers[1])]
        sizes = set()
        for run, times, numbers in sides if ours_first else reversed(sides):
            start = time.perf_counter()
            sizes.add(run(world, numbers, operation.count))
            times.append((time.perf_counter() - start) / operation.count)
        if len(sizes) != 1:
            raise SystemExit(f"python_bench: {operation.name}: the two sides did not do the same {sizes}")
        if operation.is_new:
            clear = f"Delete From Notes Where NoteId > '{note_id(world.notes - 1)}'"
            world.connection.Execute(clear)
            world.raw.connection.execute(clear)

    def result(self) -> dict:
        ratios = [ours / raw for ours, raw in zip(self.ours[1:], self.raw[1:])]  # the first prepares statements
        lower, median, upper = statistics.quantiles(ratios, n=4, method="inclusive") if len(ratios) > 1 else ratios * 3
        return {
            "name": self.operation.name,
            "ours_us": statistics.median(self.ours[1:]) * 1e6,
            "raw_us": statistics.median(self.raw[1:]) * 1e6,
            "median": median,
            "lower_quartile": lower,
            "upper_quartile": upper,
            "goal": self.operation.limit,
        }


def show(results: list[dict]) -> None:
    print(f"{'operation':<52} {'ours':>12} {'sqlite3':>12} {'ratio':>6} {'middle half':>13} {'goal':>5}")
    for row in results:
        goal, half = row["goal"], f"{row['lower_quartile']:.2f} .. {row['upper_quartile']:.2f}"
        over = "  over" if goal is not None and row["median"] > goal else ""
        print(
            f"{row['name']:<52} {row['ours_us']:>9.1f} us {row['raw_us']:>9.1f} us {row['median']:>6.2f} {half:>13} "
            f"{'' if goal is None else format(goal, '.1f'):>5}{over}"
        )


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rounds", type=int, default=31, help="how often each operation is measured (%(default)s)")
    parser.add_argument("--filter", default="", help="only operations whose name holds this text")
    parser.add_argument("--notes", type=int, default=100_000, help="notes in the database (%(default)s)")
    parser.add_argument("--contacts", type=int, default=1_000, help="contacts in the database (%(default)s)")
    parser.add_argument("--json", action="store_true", help="for tools instead of people")
    options = parser.parse_args()
    if min(options.rounds, options.notes, options.contacts) < 1:
        parser.error("rounds, notes and contacts are at least 1")
    chosen = [Series(operation) for operation in OPERATIONS if options.filter in operation.name]
    if not chosen:
        parser.error(f"no operation's name holds {options.filter!r}")

    with tempfile.TemporaryDirectory(prefix="corveth-") as folder:
        world = World(pathlib.Path(folder), options.notes, options.contacts)
        orders = random.Random(1)
        for _ in range(options.rounds + 1):
            for series in orders.sample(chosen, len(chosen)):
                series.add_round(world, orders.random() < 0.5)
    results = [series.result() for series in chosen]
    if options.json:
        json.dump(results, sys.stdout, indent=2)
        print()
    else:
        show(results)


if __name__ == "__main__":
    main()
