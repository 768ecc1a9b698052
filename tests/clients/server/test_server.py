"""A database on a server, as its users meet it: what they type and write gives the same as with a database file."""

import datetime
import os
import pathlib
import shutil
import struct
import subprocess
import tempfile
import unittest
import uuid

import corveth

CORVETH = os.environ["CORVETH_CLI"]
EXAMPLES = pathlib.Path(__file__).parents[3] / "examples" / "contacts.jsonl"


def server(database):
    folder = os.environ.get("CORVETH_TEST_SERVER")
    if not folder:
        raise RuntimeError("CORVETH_TEST_SERVER names no server: tests/support/server run COMMAND starts one")
    return f"Provider=PostgreSQL;Host={folder};User ID=corveth;Database={database}"


def connect(source):
    conn = corveth.Dispatch("ADODB.Connection")
    conn.Open(source)
    return conn


def bitmap(pixels):
    """A bitmap of one column."""
    rows = b"".join(bytes(pixel) + b"\0" for pixel in pixels)
    header = struct.pack("<IiiHHIIiiII", 40, 1, len(pixels), 1, 24, 0, len(rows), 0, 0, 0, 0)
    return b"BM" + struct.pack("<IHHI", 14 + len(header) + len(rows), 0, 0, 14 + len(header)) + header + rows


class ServerTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="corveth-server-test-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.name = "clients_" + uuid.uuid4().hex
        self.source = server(self.name)
        self.addCleanup(self.drop)

    def drop(self):
        connect(server("postgres")).Execute(f"drop database if exists {self.name} with (force)")

    def run_corveth(self, command, database, *arguments):
        done = subprocess.run([CORVETH, command, database, *arguments], capture_output=True, encoding="utf-8",
                              timeout=120, check=False, cwd=self.folder)
        # Only what the database itself is called may differ.
        texts = [text.replace(database, "DB").replace(self.name, "DB") for text in (done.stdout, done.stderr)]
        return done.returncode, *texts


class CommandLineTest(ServerTest):
    def test_every_command_says_the_same(self):
        file = str(self.folder / "service.db")
        (self.folder / "portrait.bmp").write_bytes(bitmap([(1, 2, 3), (4, 5, 6)]))
        (self.folder / "large").write_bytes(bytes(5 * 1024 * 1024 + 1))
        (self.folder / "empty").touch()
        commands = [
            ("an empty one", 0, ["init"]),
            ("examples", 0, ["load", str(EXAMPLES)]),
            ("a record", 0, ["show", "Contact", "CN00000001"]),
            ("a record in small letters", 0, ["show", "Contact", "cn00000001", "--json"]),
            ("no record", 1, ["show", "Contact", "CN99999999"]),
            ("companies", 0, ["list", "Contacts", "InitializeAsType=ctCompany"]),
            ("members", 0, ["list", "Contacts", "SetCompanyFilter=CM00000001", "--json"]),
            ("notes", 0, ["list", "Notes", "SetNoFilter="]),
            ("a new record", 0, ["set", "Note", "", "LinkId=CN00000001", "Title=Ring tilbake", "Note=Før fredag ☎"]),
            ("a changed one", 0, ["set", "Note", "NT00000004", "Title=Sent", "Note="]),
            ("a date, a flag and a picture", 0,
             ["set", "Contact", "CN00000002", "DOB=1962-02-18", "ShowInTaskList=1", "Picture=@file:portrait.bmp"]),
            ("which is there", 0, ["show", "Contact", "CN00000002"]),
            ("no such date", 1, ["set", "Contact", "CN00000002", "DOB=18.2.1962"]),
            ("a call", 0, ["call", "Contact", "CM00000005", "DeleteContact"]),
            ("which deleted", 0, ["list", "Contacts", "InitializeAsType=ctCompany"]),
            ("a statement", 0, ["sql", "Select ContactId, DOB, ShowInTaskList, FirstName & ' ' & LastName As Name "
                                       "From Contacts Where DOB Is Not Null Or ContactId Like 'CN*1' Order By 1"]),
            ("another, for programs", 0, ["sql", "--json", "Select * From ContactMaster Order By ContactId"]),
            ("one that writes", 0, ["sql", "Update Notes Set Title=Title & '!' Where NoteId='nt00000001'"]),
            ("no text", 1, ["sql", ""]),
            ("a file", 0, ["attach", "cn00000001", "portrait.bmp"]),
            ("which is there", 0, ["sql", "Select AttachmentID, AttachmentTitle, AttachmentSize, Data, LinkID, "
                                          "LinkType From Attachments"]),
            ("no files", 0, ["attachments", "CM00000001"]),
            ("the size of a file", 0, ["set", "Attachment", "AT00000001", "AttachmentSize=3"]),
            ("an empty file", 0, ["attach", "CM00000001", "empty"]),
            ("both of one moment", 0, ["sql", "Update Attachments Set AttachmentDate=#2024-02-29 10:00:00#"]),
            ("the files", 0, ["attachments", "cn00000001"]),
            ("the files, for programs", 0, ["attachments", "--json", "CM00000001"]),
            ("for no item", 1, ["attach", "CN99999999", "portrait.bmp"]),
            ("no such file", 1, ["attach", "CN00000001", "none"]),
            ("too large a file", 1, ["attach", "CN00000001", "large"]),
            ("a file again", 0, ["extract", "AT00000001", "-o", "again.bmp", "--replace"]),
            ("not over another", 1, ["extract", "AT00000001", "-o", "again.bmp"]),
            ("no such attachment", 1, ["extract", "AT00000009"]),
            ("days off", 0, ["holidays", str(EXAMPLES.with_name("holidays.csv"))]),
            ("a project", 0, ["load", str(EXAMPLES.with_name("project.jsonl"))]),
            ("its tree", 0, ["tree", "pt00000001"]),
            ("work that is reported", 0, ["set", "ProjectTask", "PT00000024", "ActualWorked=29"]),
            ("a part of the tree, for programs", 0, ["tree", "--json", "PT00000021"]),
            ("its chart", 0, ["gantt", "PT00000001", "--today", "2026-11-18"]),
            ("no such project", 1, ["gantt", "PT99999999"]),
            ("a participant", 0, ["show", "Participant", "CN00000012 PT00000004"]),
            ("a task that goes", 0, ["call", "ProjectTask", "PT00000025", "Delete", "True"]),
            ("what is left of its group", 0, ["tree", "PT00000021"]),
            ("rows that do not fit", 1, ["check"]),
            ("made already", 1, ["init"]),
            ("everything", 0, ["dump"]),
        ]
        for name, status, (command, *arguments) in commands:
            with self.subTest(name):
                expected = self.run_corveth(command, file, *arguments)
                self.assertEqual(expected[0], status, expected)
                given = self.run_corveth(command, self.source, *arguments)
                self.assertEqual(given, expected)

    def test_what_cannot_be_reached_is_said(self):
        nobody = self.source.replace(os.environ["CORVETH_TEST_SERVER"], str(self.folder))
        for name, source, words in [
            ("no database", self.source, 'database "DB" does not exist'),
            ("no server", nobody, "Is the server running"),
            ("no user", self.source.replace("User ID=corveth", "User ID=somebody"), 'role "somebody" does not exist'),
        ]:
            with self.subTest(name):
                status, output, errors = self.run_corveth("list", source, "Notes", "SetNoFilter=")
                self.assertEqual((status, output), (1, ""), errors)
                self.assertIn(words, errors)


class ClassesTest(ServerTest):
    def setUp(self):
        super().setUp()
        corveth.Dispatch("Corveth.Schema").Create(self.source)
        self.conn = connect(self.source)
        self.crm = corveth.Dispatch("prjCorveth.CRM")
        self.crm.UseConnection(self.conn)

    def tearDown(self):
        del self.crm, self.conn

    def test_records_and_pictures_come_back(self):
        path = self.folder / "portrait.bmp"
        path.write_bytes(bitmap([(9, 8, 7)] * 50))
        picture = corveth.Dispatch("Corveth.Picture")
        picture.Load(str(path))
        contact = corveth.Dispatch("prjCorveth.Contact")
        contact.ContactType = corveth.prjCorveth.ctContactType.ctIndividual
        contact.FirstName, contact.DOB, contact.Picture = "Åse 美玲", "1962-02-18", picture
        contact.HomeAddress.City = "Tromsø"
        contact.UpdateContact()

        again = corveth.Dispatch("prjCorveth.Contact")
        again.ID = "CN00000001"
        self.assertEqual((again.FirstName, again.DOB, again.HomeAddress.City), ("Åse 美玲", "1962-02-18", "Tromsø"))
        self.assertEqual((again.Picture.Width, again.Picture.Height), (picture.Width, picture.Height))
        again.Picture.Save(str(self.folder / "again.bmp"))
        self.assertEqual((self.folder / "again.bmp").read_bytes(), path.read_bytes())

    def test_values_have_their_types(self):
        large = os.urandom(5 << 20)
        rs = corveth.Dispatch("ADODB.Recordset")
        rs.Open("Select * From ContactMaster Where 1=2", self.conn, 1, 3)
        rs.AddNew()
        values = {"ContactId": "CN00000009", "FirstName": "", "ContactType": 2, "ShowInTaskList": 255,
                  "DOB": datetime.datetime(1962, 2, 18, 6, 30), "Pic": large}
        for name, value in values.items():
            rs.Fields(name).Value = value
        rs.Update()
        rs = self.conn.Execute("Select * From ContactMaster")
        self.assertEqual({name: rs.Fields(name).Value for name in values}, values)
        self.assertIsNone(rs.Fields("LastName").Value)

    def test_a_failure_names_the_servers_words(self):
        with self.assertRaises(corveth.Error) as caught:
            self.conn.Execute("Select * From Nowhere")
        self.assertEqual(caught.exception.source, "ADODB.Connection")
        self.assertIn('relation "nowhere" does not exist', caught.exception.description)

    def test_another_connection_takes_the_place_of_one_that_was_ended(self):
        note = corveth.Dispatch("prjCorveth.Note")
        note.Title = "kept"
        note.Update()
        connect(server("postgres")).Execute("select pg_terminate_backend(pid) from pg_stat_activity "
                                            f"where datname = '{self.name}'")
        note.ID = "NT00000001"
        with self.assertRaisesRegex(corveth.Error, "terminating connection|server closed the connection"):
            note.Populate()
        self.conn = connect(self.source)
        self.crm.UseConnection(self.conn)
        note.Populate()
        self.assertEqual(note.Title, "kept")


if __name__ == "__main__":
    unittest.main()
