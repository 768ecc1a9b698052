"""Collections: iteration, length, truth, identity."""

import unittest

import corveth
from corveth import _binary, _object, _typeinfo
from support import DatabaseTest


def collection_class(members):
    """A wrapper class for prjCorveth.Notes that is described by these members only."""
    notes = corveth.Dispatch("prjCorveth.Notes")
    functions = _binary.Functions(_binary.word_at(notes._this.value))
    return _object._make_class(_typeinfo.Description("Notes", "prjCorveth.Notes", members), functions)


def collection_of(cls, wrapper):
    """A second wrapper, of the class `cls`, of the same object."""
    _binary.add_ref(wrapper._this.value)
    same = object.__new__(cls)
    _object._set_this(same, type(wrapper._this)(wrapper._this.value))
    return same


class CollectionTest(DatabaseTest):
    def setUp(self):
        super().setUp()
        for title in ("one", "two", "three"):
            self.add_note(title)

    def test_iteration(self):
        notes = self.notes()
        fields = self.conn.Execute("Select Title, Note From Notes").Fields
        cases = [
            ("enumerator", lambda: [n.Title for n in notes], ["one", "two", "three"]),
            ("again", lambda: [n.Title for n in notes], ["one", "two", "three"]),
            ("nested", lambda: sum(1 for _ in notes for _ in notes), 9),
            ("of data access", lambda: [f.Name for f in fields], ["Title", "Note"]),
            ("empty", lambda: list(corveth.Dispatch("prjCorveth.Notes")), []),
            ("contains", lambda: notes.Item(2) in notes, True),
            ("contains no stranger", lambda: corveth.Dispatch("prjCorveth.Note") in notes, False),
            ("the member itself", lambda: [n.Title for n in notes.NewEnum], ["one", "two", "three"]),
        ]
        for name, act, expected in cases:
            with self.subTest(name):
                self.assertEqual(act(), expected)

    def test_members_appended_meanwhile_are_visited(self):
        notes = self.notes()
        titles = []
        for note in notes:
            titles.append(note.Title)
            if len(titles) < 5:
                notes.Add("", "", "", f"more {len(titles)}", "")
        self.assertEqual(titles[2:5], ["three", "more 1", "more 2"])

    def test_an_iterator_that_ended_stays_so(self):
        notes = self.notes()
        iterator = iter(notes)
        self.assertEqual(len(list(iterator)), 3)
        notes.Add("", "", "", "later", "")
        self.assertEqual(list(iterator), [])

    def test_without_an_enumerator_by_position(self):
        """As a class that describes no enumerator, but Item as its default member and Count."""
        notes = self.notes()
        described = type(notes)._description
        rows = [
            ("Item and Count", lambda member: member.name != "NewEnum", ["one", "two", "three"]),
            ("no Count", lambda member: member.name not in ("NewEnum", "Count"), TypeError),
            ("no default member", lambda member: member.name not in ("NewEnum", "Item"), TypeError),
        ]
        for name, keep, expected in rows:
            cls = collection_class([member for member in described.members if keep(member)])
            same = collection_of(cls, notes)
            with self.subTest(name):
                if expected is TypeError:
                    with self.assertRaisesRegex(TypeError, "prjCorveth.Notes"):
                        iter(same)
                else:
                    self.assertEqual([note.Title for note in same], expected)

    def test_what_is_no_collection(self):
        note = corveth.Dispatch("prjCorveth.Note")
        for name, act in [("iterated", lambda: iter(note)), ("counted", lambda: len(note))]:
            with self.subTest(name), self.assertRaisesRegex(TypeError, "prjCorveth.Note"):
                act()

    def test_length_and_truth(self):
        empty = corveth.Dispatch("prjCorveth.Notes")
        self.assertEqual((len(empty), bool(empty)), (0, True))
        self.assertEqual((len(self.notes()), bool(corveth.Dispatch("prjCorveth.Note"))), (3, True))

    def test_identity(self):
        notes = self.notes()
        first, again, second = notes(1), notes.Item(1), notes(2)
        self.assertEqual(first, again)
        self.assertEqual(hash(first), hash(again))
        self.assertNotEqual(first, second)
        self.assertNotEqual(first, "one")
        self.assertEqual(len({first, again, second}), 2)


if __name__ == "__main__":
    unittest.main()
