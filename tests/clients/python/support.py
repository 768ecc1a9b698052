"""What the client's tests share: databases in folders of their own, and checks of failures."""

import contextlib
import pathlib
import tempfile
import unittest

import corveth

APPLICATION = 0x80040001
WRONG_THREAD = 0x8001010E


class ClientTest(unittest.TestCase):
    @contextlib.contextmanager
    def fails(self, number, *words, source=None):
        """The block raises corveth.Error with this number; its text names the words."""
        with self.assertRaises(corveth.Error) as caught:
            yield caught
        error = caught.exception
        self.assertEqual(error.number, number, error)
        if source is not None:
            self.assertEqual(error.source, source)
        for word in words:
            self.assertIn(word, error.description)


class DatabaseTest(ClientTest):
    """A fresh database with the tables of the system; `conn` is open on it and shared through `crm`."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name, "service.db")
        self.connection_string = f"Provider=SQLite;Data Source={self.path}"
        corveth.Dispatch("Corveth.Schema").Create(self.connection_string)
        self.conn = corveth.Dispatch("ADODB.Connection")
        self.conn.Open(self.connection_string)
        self.crm = corveth.Dispatch("prjCorveth.CRM")
        self.crm.UseConnection(self.conn)
        self.addCleanup(self.end)

    def end(self):
        del self.crm, self.conn

    def add_note(self, title, link="CN00000001", text=""):
        note = corveth.Dispatch("prjCorveth.Note")
        note.Title, note.LinkId, note.Note = title, link, text
        note.Update()

    def notes(self, link="CN00000001"):
        notes = corveth.Dispatch("prjCorveth.Notes")
        notes.SetLinkFilter(link)
        notes.Populate()
        return notes
