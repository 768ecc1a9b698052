"""Names, arguments and failures."""

import concurrent.futures
import copy
import pickle
import unittest

import corveth
from support import APPLICATION, ClientTest, DatabaseTest


def new(name):
    return corveth.Dispatch("prjCorveth." + name)


class NameTest(ClientTest):
    def test_names_without_case(self):
        note = new("Note")
        note.TITLE = "x"
        self.assertEqual((note.title, note.Title, note.tItLe), ("x", "x", "x"))
        self.assertEqual(corveth.Dispatch("PRJCORVETH.note").Title, "")
        self.assertEqual(new("Notes").add("NT1", parentid="CN1", PARENTTYPE="", title="t", note="").Title, "t")

    def test_unknown_members_name_the_class_and_the_closest(self):
        note, contact = new("Note"), new("Contact")
        unknown = "prjCorveth.Note has no member 'Titel'; the closest is 'Title'"
        cases = [
            ("read", lambda: note.Titel, unknown),
            ("set", lambda: setattr(note, "Titel", "x"), unknown),
            ("call", lambda: note.Updat(), "'Updat'; the closest is 'Update'"),
            ("in small letters", lambda: contact.updatecontract(), "prjCorveth.Contact.*'UpdateContact'"),
            ("nothing near", lambda: note.Xyzzy, "prjCorveth.Note has no member 'Xyzzy'"),
            ("private", lambda: setattr(note, "_hidden", 1), "'_hidden'"),
            ("class without members", lambda: new("FINANCIAL").Total, "prjCorveth.FINANCIAL has no member 'Total'"),
            ("read-only", lambda: setattr(new("Notes"), "Count", 1), "prjCorveth.Notes.Count cannot be assigned"),
            ("method", lambda: setattr(note, "update", 1), "prjCorveth.Note.Update cannot be assigned"),
            ("deleted", lambda: delattr(note, "Title"), ""),
        ]  # fmt: skip
        for name, act, words in cases:
            with self.subTest(name), self.assertRaisesRegex(AttributeError, words):
                act()
        self.assertFalse(hasattr(note, "Titel"))
        self.assertEqual(getattr(note, "Titel", 7), 7)

    def test_unknown_identifiers(self):
        for name in ["prjCorveth.Nothing", "Note", "", "prjCorveth.Note ", "a\ud800", "a\0", "ADODB.Fields"]:
            with self.subTest(name), self.fails(429):
                corveth.Dispatch(name)
        for name in [None, 7, b"prjCorveth.Note"]:
            with self.subTest(name), self.assertRaises(TypeError):
                corveth.Dispatch(name)

    def test_what_loads_itself_needs_a_connection(self):
        def elsewhere():  # a thread that has none
            with self.fails(3709):
                new("ProjectTypes")

        with concurrent.futures.ThreadPoolExecutor() as threads:
            threads.submit(elsewhere).result()

    def test_what_a_wrapper_tells_of_itself(self):
        notes = new("Notes")
        self.assertEqual(repr(notes), "<corveth prjCorveth.Notes>")
        self.assertIn("SetLinkFilter", dir(notes))
        self.assertEqual(notes.Add.__doc__.split(" -> ")[1], "Object:Note")
        self.assertIn("[sKey: String]", notes.Add.__doc__)
        self.assertIs(type(notes), type(new("Notes")))
        self.assertIsInstance(notes, corveth.Object)

    def test_a_wrapper_is_neither_copied_nor_made_by_hand(self):
        note = new("Note")
        for name, act in [
            ("copy", lambda: copy.copy(note)),
            ("deep copy", lambda: copy.deepcopy(note)),
            ("pickle", lambda: pickle.dumps(note)),
            ("made", lambda: type(note)()),
        ]:
            with self.subTest(name), self.assertRaises(TypeError):
                act()


class ArgumentTest(ClientTest):
    def test_arguments(self):
        rows = [
            ("by position", ("NT1", "CN1", "Contact", "t", "n"), {}),
            ("optional one too", ("NT1", "CN1", "Contact", "t", "n", "key"), {}),
            ("left out by name", ("NT1", "CN1", "Contact", "t", "n", corveth.Missing), {}),
            ("by name", (), dict(Note="n", Title="t", ParentType="Contact", ParentId="CN1", ID="NT1")),
            ("mixed", ("NT1", "CN1"), dict(sKey="key", Note="n", ParentType="Contact", Title="t")),
            ("converted", ("NT1", "CN1", 16, "t", "n"), {}),
        ]
        for name, args, kwargs in rows:
            with self.subTest(name):
                note = new("Notes").Add(*args, **kwargs)
                self.assertEqual((note.ID, note.LinkId, note.Title, note.Note), ("NT1", "CN1", "t", "n"))

    def test_refused_arguments(self):
        notes = new("Notes")
        cases = [
            ("too few", 449, lambda: notes.Add("NT1"), "ParentId"),
            ("too many", 450, lambda: notes.SetLinkFilter("a", "b"), "SetLinkFilter"),
            ("far too many", 450, lambda: notes.SetLinkFilter(*"a" * 100), "SetLinkFilter"),
            ("unknown name", 448, lambda: notes.SetLinkFilter(LinkIdd="a"), "LinkIdd"),
            ("given twice", 448, lambda: notes.SetLinkFilter("a", LinkId="b"), "LinkId"),
            ("no number", 13, lambda: notes.Item("NT1"), "Index"),
            ("too big", 6, lambda: notes.Item(40000), "Index"),
            ("no object", 13, lambda: notes.AddItem("text"), "Item"),
            ("of another class", 13, lambda: notes.AddItem(new("Address")), "Item"),
            ("assigned", 13, lambda: setattr(new("Contact"), "ContactType", "many"), "ContactType"),
            ("not in this build", 445, lambda: new("Contact").Invoices, "Invoices"),
        ]
        for name, number, act, word in cases:
            with self.subTest(name), self.fails(number, word):
                act()
        self.assertEqual(notes.Count, 0)

    def test_default_member(self):
        notes = new("Notes")
        notes.Add("NT1", "", "", "first", "", "a")
        self.assertEqual(notes(1).Title, "first")
        self.assertEqual(notes(Index=1).Title, "first")
        self.assertEqual(notes.Item(1), notes(1))
        with self.assertRaisesRegex(TypeError, "prjCorveth.Note has no default member"):
            notes(1)()
        for name, act in [("read", lambda: notes[1]), ("slice", lambda: notes[1:]), ("text", lambda: notes["a"])]:
            with self.subTest(name), self.assertRaisesRegex(TypeError, r"x\(1\) or x.Item\(1\)"):
                act()
        with self.assertRaises(TypeError):
            notes[1] = None


class DefaultOfDefaultTest(DatabaseTest):
    def test_arguments_go_on_to_the_default_member_of_what_a_default_yields(self):
        self.add_note("Call back")
        rs = self.conn.Execute("Select Title, LinkId From Notes")
        self.assertEqual([f.Value for f in (rs("Title"), rs.Fields("title"), rs.Fields(0))], ["Call back"] * 3)
        rs("LinkId"), rs()  # a field and all fields, from the same member
        self.assertEqual(repr(rs()), "<corveth ADODB.Fields>")
        with self.fails(3265, "Titel"):
            rs("Titel")


class FailureTest(DatabaseTest):
    def test_failures_keep_number_source_and_description(self):
        note, notes = new("Note"), new("Notes")
        note.ID = "no'quote"
        conn, rs = self.conn, corveth.Dispatch("ADODB.Recordset")
        keyed = new("Notes")
        keyed.Add("NT1", "", "", "", "", "key")
        cases = [
            ("application", lambda: notes.Populate(), APPLICATION, "Note", "Error updating Note.\r\n", APPLICATION),
            ("run time", lambda: keyed.Add("NT2", "", "", "", "", "KEY"), 457, None, "This key is already", 0x800A01C9),
            ("list", lambda: keyed.Item(2), 9, None, "Subscript out of range", 0x800A0009),
            ("data access", lambda: rs.MoveNext(), 3704, "ADODB.Recordset", "Operation is not allowed", 0x800A0E78),
            ("open twice", lambda: conn.Open("x"), 3705, "ADODB.Connection", "Operation is not allowed", 0x800A0E79),
            ("whole code", conn.CommitTrans, 0x8004D00E, "ADODB.Connection", "No transaction is active", 0x8004D00E),
            ("refused statement", lambda: note.Update(), APPLICATION, "Note", "Error updating Note.\r\n", APPLICATION),
        ]  # fmt: skip
        for name, act, number, source, text, hresult in cases:
            with self.subTest(name), self.fails(number, source=source) as caught:
                act()
            self.assertTrue(caught.exception.description.startswith(text), caught.exception.description)
            self.assertTrue(str(caught.exception).startswith(caught.exception.description))
            self.assertEqual(caught.exception.hresult, hresult)

    def test_a_failing_property_is_no_missing_attribute(self):
        rs = corveth.Dispatch("ADODB.Recordset")
        for name, act in [
            ("read", lambda: rs.EOF),
            ("looked for", lambda: hasattr(rs, "EOF")),
            ("with a default", lambda: getattr(rs, "EOF", True)),
        ]:
            with self.subTest(name), self.fails(3704):
                act()

    def test_an_error_travels(self):
        with self.fails(3704) as caught:
            corveth.Dispatch("ADODB.Recordset").MoveNext()
        error = pickle.loads(pickle.dumps(caught.exception))
        self.assertEqual(error.args, caught.exception.args)
        self.assertEqual(str(error), str(caught.exception))


if __name__ == "__main__":
    unittest.main()
