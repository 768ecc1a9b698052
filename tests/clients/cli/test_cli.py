"""The command line, run as a person would: arguments in, status and both outputs out."""

import contextlib
import json
import os
import pathlib
import shutil
import sqlite3
import struct
import subprocess
import tempfile
import unittest
import zlib

CORVETH = os.environ["CORVETH_CLI"]
DATA = pathlib.Path(__file__).parent / "data" / "contacts.jsonl"

REFUSED_DELETE = "create trigger Kept before delete on ContactMaster begin select raise(abort, 'kept!'); end"


def run(*arguments, given=None, env=None, cwd=None):
    """Status, standard output and standard error of one command."""
    done = subprocess.run(
        [CORVETH, *arguments], input=given, capture_output=True, encoding="utf-8", errors="surrogateescape", cwd=cwd,
        env={**os.environ, **(env or {})}, timeout=120, check=False)
    return done.returncode, done.stdout, done.stderr


class CommandLine(unittest.TestCase):
    """A folder of its own, with a database that holds the small example set."""

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="corveth-cli-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.loaded = cls.folder / "loaded.db"
        for command in (["init", str(cls.loaded)], ["load", str(cls.loaded), str(DATA)]):
            status, _, errors = run(*command)
            assert status == 0, errors

    def copy(self):
        """A database that the test may change."""
        target = self.folder / (self.id().rsplit(".", 1)[-1] + ".db")
        shutil.copy(self.loaded, target)
        return str(target)

    def check(self, row, database=None):
        """One row: name, arguments, status, parts of standard output, parts of standard error.

        A part that begins with "not " must not be there.
        """
        name, arguments, status, output, errors = row
        with self.subTest(name):
            arguments = [database if argument == "DB" else argument for argument in arguments]
            result = run(*arguments)
            self.assertEqual(result[0], status, result)
            for parts, text in ((output, result[1]), (errors, result[2])):
                for part in parts:
                    if part.startswith("not "):
                        self.assertNotIn(part[4:], text)
                    else:
                        self.assertIn(part, text)
            if status != 0:
                self.assertEqual(result[1], "", "a failed command prints no result")
                self.assertNotEqual(result[2], "")

    def rows(self, database, statement):
        with contextlib.closing(sqlite3.connect(database)) as connection:
            return connection.execute(statement).fetchall()

    def change(self, database, statement):
        with contextlib.closing(sqlite3.connect(database)) as connection, connection:
            connection.execute(statement)

    def dump(self, database):
        """All that the database holds, but for the counters: a number that was given once is not given again."""
        with contextlib.closing(sqlite3.connect(database)) as connection:
            return [line for line in connection.iterdump() if not line.startswith('INSERT INTO "IdCounters"')]


class Usage(CommandLine):
    def test_usage(self):
        commands = ("init register unregister classes introspect typelib show set list call load dump attach attachments "
                    "extract open tree gantt holidays sql check").split()
        for command in commands:
            self.check(("help of " + command, [command, "--help"], 0, ["Usage: corveth " + command, "--help"], []))
        for row in [
            ("version", ["--version"], 0, ["corveth 1.2"], []),
            ("help", ["--help"], 0, commands, []),
            ("no command", [], 2, [], ["subcommand is required"]),
            ("unknown command", ["shwo"], 2, [], ["shwo"]),
            ("unknown option", ["show", "DB", "Contact", "CN00000001", "--jsno"], 2, [], ["--jsno"]),
            ("argument missing", ["show", "DB", "Contact"], 2, [], ["KEY"]),
            ("too many arguments", ["show", "DB", "Contact", "CN00000001", "more"], 2, [], ["more"]),
            ("no NAME=VALUE", ["set", "DB", "Note", "NT00000001", "Title"], 2, [], ["NAME=VALUE"]),
            ("no name before =", ["set", "DB", "Note", "NT00000001", "=x"], 2, [], ["NAME=VALUE"]),
        ]:
            self.check(row, str(self.loaded))

    def test_the_server_is_named_by_the_environment(self):
        status, output, errors = run("classes", env={"CORVETH_SERVER": "/nowhere/prjCorveth.so"})
        self.assertEqual((status, output), (1, ""))
        self.assertIn("/nowhere/prjCorveth.so", errors)

    def test_a_full_output_is_a_failure(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            done = subprocess.run([CORVETH, "typelib"], stdout=full, stderr=subprocess.PIPE, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"standard output", done.stderr)

    def test_registration_comes_and_goes(self):
        home = self.folder / "home"
        home.mkdir()
        env = {"HOME": str(home), "XDG_DATA_HOME": str(home / "share")}
        self.assertEqual(run("register", env=env)[0], 0)
        registered = [path for path in home.rglob("*") if path.is_file()]
        self.assertTrue(any("prjCorveth.Contact" in path.read_text() for path in registered), registered)
        self.assertEqual(run("unregister", env=env)[0], 0)
        self.assertEqual([path for path in home.rglob("*") if path.is_file()], [])


class TypeInformation(CommandLine):
    def test_introspection(self):
        for row in [
            ("classes", ["classes"], 0, ["prjCorveth.Contact\n", "ADODB.Connection\n", "not Enumerator"], []),
            ("by name", ["introspect", "Notes"], 0,
             ["Slot  Name", "   1  LinkId         let", "Item           get default", "Index: Integer by reference",
              "enumerator hidden", "sKey: String by reference optional", "Object:Note"], []),
            ("by identifier", ["introspect", "ADODB.Recordset"], 0, ["MoveNext"], []),
            ("a class without members", ["introspect", "FINANCIAL"], 0, ["Slot"], []),
            ("unknown", ["introspect", "Contakt"], 1, [], ["error 429", "Contakt", "did you mean Contact?"]),
            ("interface text", ["typelib"], 0, ["library prjCorveth {", "coclass Contact {", "ctCompany = 0"], []),
        ]:
            self.check(row)

    def test_json(self):
        library = json.loads(run("typelib", "--json")[1])
        self.assertEqual([library["library"], library["version"]], ["prjCorveth", "1.2"])
        classes = {entry["name"]: entry for entry in library["classes"]}
        self.assertEqual(json.loads(run("introspect", "Note", "--json")[1]), classes["Note"])
        self.assertEqual([(m["slot"], m["name"], m["kind"]) for m in classes["Notes"]["members"]][:3],
                         [(1, "LinkId", "let"), (2, "LinkId", "get"), (3, "UpdateNotes", "method")])
        self.assertEqual("\n".join(json.loads(run("classes", "--json")[1])) + "\n", run("classes")[1])


class Databases(CommandLine):
    def test_what_is_no_database(self):
        (self.folder / "text.db").write_text("This is no database. " * 200)
        (self.folder / "empty.db").touch()
        self.change(self.folder / "foreign.db", "create table Notes (x)")
        newer = self.copy()
        self.change(newer, "update SchemaVersion set Version = Version + 1")
        before = {path: path.read_bytes() for path in self.folder.glob("*.db")}
        for name, file in [("missing", "missing.db"), ("text", "text.db"), ("empty", "empty.db"),
                           ("foreign", "foreign.db"), ("newer schema", newer), ("folder", ".")]:
            for command in (["list", file, "Contacts", "InitializeAsType=0"], ["load", file, str(DATA)],
                            ["sql", file, "Select 1"]):
                with self.subTest(name, command=command[0]):
                    status, output, errors = run(*command, cwd=self.folder)
                    self.assertEqual((status, output), (1, ""))
                    self.assertRegex(errors, r"^corveth: error (0x)?[0-9A-F]+ \(.+\): .+")
        self.assertFalse((self.folder / "missing.db").exists(), "opening makes no file")
        self.assertEqual({path: path.read_bytes() for path in self.folder.glob("*.db")}, before)

    def test_init(self):
        (self.folder / "other.txt").write_text("somebody's notes")
        for name, file, status in [("new", "new.db", 0), ("again", "new.db", 1), ("a file of another kind", "other.txt", 1),
                                   ("no such folder", "no/such/folder.db", 1), ("odd name", "it's \"odd\"; a=b.db", 0)]:
            with self.subTest(name):
                self.assertEqual(run("init", file, cwd=self.folder)[0], status)
                if status == 0:
                    self.assertEqual(run("sql", file, "Select Count(*) As N From Notes", cwd=self.folder)[0], 0)
        self.assertEqual((self.folder / "other.txt").read_text(), "somebody's notes")
        self.assertEqual((self.folder / "new.db").stat().st_mode & 0o777, 0o600)

    def test_connection_strings(self):
        for row in [
            ("as given", ["show", f"provider=SQLite;data source={self.loaded}", "Note", "NT00000001"], 0, ["Lift 4"], []),
            ("unknown keywords, all named", ["list", "Provider=SQLite;Data Source=x;Colour=1;Shape=2", "Notes", "SetNoFilter"],
             1, [], ["Colour", "Shape"]),
            ("without its provider", ["init", "Host=db.example;Database=x"], 1, [], ['"Provider" is missing']),
        ]:
            self.check(row)


class Showing(CommandLine):
    def test_show(self):
        for row in [
            ("every property", ["show", "DB", "Contact", "CN00000001"], 0,
             ["FirstName       Sigrid\n", "LastName        Åsen\n", "DOB             1981-03-09\n", "ContactType     2\n",
              "OfficeAddress   (Address)\n", "Company         (Company)\n", "Tasks           (Tasks)\n", "IsUsed          True\n",
              "Title\n", "not NewEnum"], []),
            ("by identifier, key in small letters", ["show", "DB", "prjCorveth.Note", "nt00000001"], 0,
             ["Note      Door sensor replaced.\n          Check again in May.\n"], []),
            ("a class without key", ["show", "DB", "Address", ""], 0, ["City\n"], []),
            ("no such row", ["show", "DB", "Contact", "CN99999999"], 1, [], ["error 3021", "Contact", "CN99999999"]),
            ("empty key", ["show", "DB", "Note", ""], 1, [], ["Note"]),
            ("a quote in the key", ["show", "DB", "Note", "x' Or '1'='1"], 1, [], ["x' Or '1'='1"]),
            ("a key for a list", ["show", "DB", "Notes", "NT00000001"], 1, [], ["Notes has no key"]),
            ("unknown class", ["show", "DB", "Nots", "NT00000001"], 1, [], ["429", "Nots", "did you mean Note"]),
        ]:
            self.check(row, str(self.loaded))

    def test_show_json(self):
        record = json.loads(run("show", str(self.loaded), "Contact", "CN00000003", "--json")[1])
        self.assertEqual({name: record[name] for name in ("ID", "FirstName", "ContactType", "ShowInTaskList", "IsUsed",
                                                          "HomeAddress", "Picture", "DOB")},
                         {"ID": "CN00000003", "FirstName": "美玲", "ContactType": 1, "ShowInTaskList": 1, "IsUsed": True,
                          "HomeAddress": {"object": "Address"}, "Picture": {"object": "Picture"}, "DOB": ""})

    def test_list(self):
        for row in [
            ("companies", ["list", "DB", "Contacts", "InitializeAsType=ctCompany"], 0,
             ["ID          ToString", "CM00000001  Bryggeheis AS", "not Sigrid"], []),
            ("everybody else", ["list", "DB", "Contacts", "InitializeAsType=3"], 0, ["CN00000003", "not CM00000001"], []),
            ("of one company", ["list", "DB", "Contacts", "SetCompanyFilter=CM00000001"], 0,
             ["CN00000001", "CN00000002", "@joao", "not CN00000003"], []),
            ("empty", ["list", "DB", "Contacts", "SetCompanyFilter=CM00000002"], 0, [], []),
            ("notes", ["list", "DB", "Notes", "SetLinkFilter=CN00000001"], 0,
             ["ID          Title    Note", "NT00000001  Lift 4   Door sensor replaced.\\nCheck again in May."], []),
            ("filter without argument", ["list", "DB", "Notes", "SetNoFilter"], 0, ["NT00000003"], []),
            ("the last argument keeps commas", ["list", "DB", "Notes", "SetLinkFilter=a,b"], 0, [], []),
            ("a property before", ["list", "DB", "Notes", "LinkId=CN00000001", "SetNoFilter"], 0, ["NT00000002"], []),
            ("no filter", ["list", "DB", "Notes"], 1, [], ["error 0x80040001 (Note): Error updating Note."]),
            ("unknown filter", ["list", "DB", "Notes", "SetLinkFiltre=x"], 1, [], ["438", "did you mean SetLinkFilter?"]),
            ("unknown name of an enumeration", ["list", "DB", "Contacts", "InitializeAsType=ctNobody"], 1, [],
             ["error 13", "ctNobody", "ctCompanyContact (2)"]),
            ("no list", ["list", "DB", "Note"], 1, [], ["Note is no list"]),
        ]:
            self.check(row, str(self.loaded))

    def test_tables_are_aligned_by_width(self):
        statement = ("Select FirstName, ContactType, ContactId From ContactMaster Where ContactType In (1, 2) "
                     "Order By ContactId Desc")
        self.assertEqual(run("sql", str(self.loaded), statement)[1],
                         "FirstName  ContactType  ContactId\n"
                         "---------  -----------  ----------\n"
                         "美玲                 1  CN00000003\n"
                         "João                 2  CN00000002\n"
                         "Sigrid               2  CN00000001\n")

    def test_list_json(self):
        notes = json.loads(run("list", str(self.loaded), "Notes", "SetLinkFilter=CN00000001", "--json")[1])
        self.assertEqual([(note["ID"], note["Note"]) for note in notes],
                         [("NT00000001", "Door sensor replaced.\nCheck again in May."), ("NT00000002", "")])
        self.assertEqual(run("list", str(self.loaded), "Notes", "SetLinkFilter=none", "--json")[1], "[]\n")


class Changing(CommandLine):
    def test_set(self):
        database = self.copy()
        for row in [
            ("new note", ["set", "DB", "Note", "", "LinkId=CM00000002", "Title=a=b, c"], 0, ["NT00000004\n"], []),
            ("new company", ["set", "DB", "Contact", "", "FirstName=Ny", "ContactType=ctCompany"], 0, ["CM00000003\n"], []),
            ("new person", ["set", "DB", "Contact", "", "FirstName=Ole", "ContactType=2", "Company.ID=CM00000003",
                            "DOB=2/29/2000", "HomeAddress.City=Bodø"], 0, ["CN00000004\n"], []),
            ("existing", ["set", "DB", "Contact", "CN00000002", "LastName=Costa e Silva"], 0, ["CN00000002\n"], []),
            ("options end", ["set", "DB", "Note", "NT00000002", "--", "Title=--json"], 0, ["NT00000002\n"], []),
            ("options end before an option", ["set", "DB", "--", "Note", "NT00000002", "Note=[a,b]"], 0, [], []),
            ("plain at sign", ["set", "DB", "Contact", "CN00000003", "IMAddress=@@mei"], 0, ["CN00000003\n"], []),
            ("text of a file", ["set", "DB", "Note", "NT00000003", f"Note=@file:{DATA}"], 0, ["NT00000003\n"], []),
        ]:
            self.check(row, database)
        self.assertEqual(self.rows(database, "select NoteId, LinkType, Title from Notes where NoteId > 'NT00000001' "
                                             "and NoteId <> 'NT00000003' order by 1"),
                         [("NT00000002", "Contact", "--json"), ("NT00000004", "Company", "a=b, c")])
        self.assertEqual(self.rows(database, "select ContactId, ContactName, CompanyId, DOB, City1, DisplayAs1, IMAddress "
                                             "from Contacts where ContactId > 'CN00000001' order by 1"),
                         [("CN00000002", "João da Costa e Silva", "CM00000001", None, "", "Home", "@joao"),
                          ("CN00000003", "美玲 陳", "", None, "", "Home", "@mei"),
                          ("CN00000004", "Ole", "CM00000003", 36585.0, "Bodø", "Home", "")])
        self.assertEqual(self.rows(database, "select DisplayAs1 from Contacts where ContactId = 'CM00000003'"), [("Office",)],
                         "the type that the defaults depend on is set before them, wherever it was given")
        self.assertEqual(self.rows(database, "select Note from Notes where NoteId = 'NT00000003'"),
                         [(DATA.read_text(encoding="utf-8"),)])

    def test_a_key_of_two_parts(self):
        database = self.copy()
        both = "CN00000001 CM00000002"
        for row in [
            ("new", ["set", "DB", "Participant", "", "Role=Lead", "ID=CN00000001", "LinkId=CM00000002"], 0, [both + "\n"], []),
            ("existing", ["set", "DB", "Participant", both, "Rate=2.5"], 0, [both + "\n"], []),
            ("existing, by its properties", ["set", "DB", "Participant", "", "ID=CN00000001", "LinkId=CM00000002", "Amount=7"],
             0, [both + "\n"], []),
            ("shown", ["show", "DB", "Participant", both.lower()], 0, ["Sigrid", "Lead", "2.5", "7", "100"], []),
            ("half of it", ["show", "DB", "Participant", "CN00000001"], 1, [],
             ["there is no Participant with the key \"CN00000001\""]),
        ]:
            self.check(row, database)
        self.assertEqual(self.rows(database, "select Role, Rate, Amount, Billable, Availability from Participants"),
                         [("Lead", 2.5, 7.0, -1, 100.0)])
        self.check(("deleted", ["call", "DB", "Participant", both, "DeleteParticipant"], 0, [], []), database)
        self.assertEqual(self.rows(database, "select * from Participants"), [])

    def test_refused_changes_leave_everything(self):
        database = self.copy()
        before = self.dump(database)
        for row in [
            ("unknown property", ["set", "DB", "Note", "NT00000001", "Titel=x"], 1, [], ["438", "Titel", "did you mean Title?"]),
            ("unknown inner property", ["set", "DB", "Contact", "CN00000001", "OfficeAddress.Town=x"], 1, [],
             ["Address has no member Town"]),
            ("through a text", ["set", "DB", "Contact", "CN00000001", "Title.X=x"], 1, [], ["Contact.Title is no object"]),
            ("read-only", ["set", "DB", "Contact", "CN00000001", "IsUsed=True"], 1, [], ["IsUsed cannot be set"]),
            ("a method", ["set", "DB", "Note", "NT00000001", "Update=x"], 1, [], ["Update cannot be set"]),
            ("no number", ["set", "DB", "Contact", "CN00000001", "ShowInTaskList=much"], 1, [], ["error 13", "much"]),
            ("too great", ["set", "DB", "Contact", "CN00000001", "ShowInTaskList=256"], 1, [], ["error 6"]),
            ("no date", ["set", "DB", "Contact", "CN00000001", "DOB=13/13/2000"], 1, [], ["Error saving Contact", "13/13/2000"]),
            ("no such row", ["set", "DB", "Note", "NT99999999", "Title=x"], 1, [], ["NT99999999"]),
            ("no label", ["set", "DB", "Note", "NT00000001", "Title=@home"], 1, [], ["home", "@@"]),
            ("no file", ["set", "DB", "Note", "NT00000001", "Title=@file:/no/such"], 1, [], ["error 53", "/no/such"]),
            ("no picture", ["set", "DB", "Contact", "CN00000001", f"Picture=@file:{DATA}"], 1, [], ["error 481"]),
            ("nothing saves it", ["set", "DB", "Address", "", "City=x"], 1, [], ["Address"]),
            ("broken text", ["set", "DB", "Note", "NT00000001", "Title=\udcff"], 1, [], ["error 5"]),
            ("a quote in an ID", ["set", "DB", "Contact", "CN00000001", "Company.ID=x' Or '1'='1"], 1, [], ["x' Or '1'='1"]),
        ]:
            self.check(row, database)
        self.assertEqual(self.dump(database), before)

    def test_pictures(self):
        database = self.copy()
        rows = b"".join(bytes([value, 0, 255 - value, 0]) for value in (10, 20))
        header = struct.pack("<2sIHHI", b"BM", 54 + len(rows), 0, 0, 54)
        bitmap = header + struct.pack("<IiiHHIIiiII", 40, 1, 2, 1, 24, 0, len(rows), 0, 0, 0, 0) + rows
        file = self.folder / "portrait.bmp"
        file.write_bytes(bitmap)
        self.check(("set", ["set", "DB", "Contact", "CN00000001", f"Picture=@file:{file}"], 0, ["CN00000001"], []), database)
        (stored,), = self.rows(database, "select Pic from Contacts where ContactId = 'CN00000001'")
        self.assertEqual(zlib.crc32(stored), zlib.crc32(bitmap))
        self.check(("sql", ["sql", "DB", "Select Pic From Contacts Where ContactId='CN00000001'"], 0,
                    [f"({len(bitmap)} bytes)"], []), database)
        self.check(("removed", ["set", "DB", "Contact", "CN00000001", "Picture="], 0, [], []), database)
        self.assertEqual(self.rows(database, "select Pic from Contacts where ContactId = 'CN00000001'"), [(None,)])

    def test_call(self):
        database = self.copy()
        for row in [
            ("a method", ["call", "DB", "Note", "NT00000002", "DeleteNote"], 0, [], []),
            ("an argument", ["call", "DB", "Note", "NT00000003", "DeleteNote", "True"], 0, [], []),
            ("a result", ["call", "DB", "Contacts", "", "Add", "CN00000001", "key"], 0, ["FirstName       Sigrid"], []),
            ("a property", ["call", "DB", "Notes", "", "Count"], 0, ["0\n"], []),
            ("an object by its key", ["call", "DB", "Notes", "", "AddItem", "NT00000001"], 0, [], []),
            ("an object that is not there", ["call", "DB", "Notes", "", "AddItem", "NT99999999"], 1, [],
             ["there is no Note with the key \"NT99999999\""]),
            ("in brackets", ["call", "DB", "Notes", "", "SetLinkFilter", "[a,b]"], 0, [], []),
            ("a company with its members", ["call", "DB", "Contact", "CM00000001", "DeleteContact"], 0, [], []),
            ("unknown method", ["call", "DB", "Note", "NT00000001", "Delete"], 1, [], ["did you mean DeleteNote?"]),
            ("too many arguments", ["call", "DB", "Note", "NT00000001", "DeleteNote", "True", "True"], 1, [],
             ["error 450", "DeleteNote"]),
            ("no Boolean", ["call", "DB", "Note", "NT00000001", "DeleteNote", "maybe"], 1, [], ["error 13", "bSelf"]),
            ("not in this build", ["call", "DB", "Contact", "CN00000003", "Expenses"], 1, [], ["error 445"]),
            ("no record to delete", ["call", "DB", "Contact", "", "DeleteContact", "True"], 1, [], ["error 3021"]),
        ]:
            self.check(row, database)
        self.assertEqual(self.rows(database, "select NoteId from Notes"), [("NT00000001",)])
        self.assertEqual(self.rows(database, "select ContactId from ContactMaster order by 1"),
                         [("CM00000002",), ("CN00000003",)])

    def test_a_message_box_makes_the_command_fail(self):
        database = self.copy()
        self.change(database, REFUSED_DELETE)
        before = self.rows(database, "select * from Contacts")
        status, output, errors = run("call", database, "Contact", "CN00000001", "DeleteContact")
        self.assertEqual((status, output), (1, ""))
        self.assertIn("message box: prjCorveth: kept!", errors.replace("\r\n", "\n"))
        self.assertEqual(self.rows(database, "select * from Contacts"), before)

    def test_sql(self):
        database = self.copy()
        for row in [
            ("change", ["sql", "DB", "Update Notes Set Title=\"x\" Where NoteId='NT00000001'"], 0, ["1 row affected\n"], []),
            ("rows", ["sql", "DB", "Select NoteId, Null As Nil From Notes Where Title='x'"], 0,
             ["NoteId      Nil\n", "NT00000001\n"], []),
            ("error", ["sql", "DB", "Select Nonsense From Notes"], 1, [], ["Nonsense"]),
            ("empty", ["sql", "DB", ""], 1, [], ["error 0x80040E0C"]),
            ("two statements", ["sql", "DB", "Delete From Notes; Delete From Notes"], 1, [], ["3142"]),
        ]:
            self.check(row, database)
        statement = "Select NoteId, NoteId, Creation, Null As N, 1.5 As R, 7 As I From Notes Where NoteId='NT00000001'"
        row, = json.loads(run("sql", database, statement, "--json")[1])
        self.assertRegex(row.pop("Creation"), r"^\d{4}-\d\d-\d\d$")
        self.assertEqual(row, {"NoteId": "NT00000001", "NoteId (2)": "NT00000001", "N": None, "R": 1.5, "I": 7})


class Loading(CommandLine):
    def test_the_example(self):
        self.assertEqual(self.rows(self.loaded, "select ContactId, ContactName, CompanyId, City2 from Contacts order by 1"),
                         [("CM00000001", "Bryggeheis AS", "", ""), ("CM00000002", "Kvern & Møll", "", ""),
                          ("CN00000001", "Sigrid Åsen", "CM00000001", "Tromsø"),
                          ("CN00000002", "João da Costa", "CM00000001", ""), ("CN00000003", "美玲 陳", "", "")])
        self.assertEqual(self.rows(self.loaded, "select LinkId, LinkType, Title from Notes order by NoteId"),
                         [("CN00000001", "Contact", "Lift 4"), ("CN00000001", "Contact", "Invoice"),
                          ("CM00000001", "Company", "Contract")])

    def test_standard_input_and_report(self):
        database = str(self.folder / "input.db")
        run("init", database)
        status, output, errors = run("load", database, "-", "--json", given=DATA.read_text(encoding="utf-8").rstrip("\n"))
        self.assertEqual(status, 0, errors)
        report = json.loads(output)
        self.assertEqual((report["records"], report["keys"]["joao"], report["keys"]["lift"]), (8, "CN00000002", "NT00000001"))

    def test_calls_come_before_the_save(self):
        database = self.copy()
        lines = ('{"class": "Contact", "set": {"FirstName": "Anne", "HomeAddress.City": "Ås"}, '
                 '"call": [["LoadPictureFromDB"]]}\n')
        status, output, errors = run("load", database, "-", given=lines)
        self.assertEqual((status, output), (0, "1 record loaded\n"), errors)

    def test_a_line_that_fails_undoes_all(self):
        database = self.copy()
        before = self.dump(database)
        good = '{"class": "Note", "as": "first", "set": {"Title": "kept out"}}'
        for name, line, expected in [
            ("no JSON", "{'class': 1}", "no JSON"),
            ("cut short", '{"class": "Note"', "no JSON"),
            ("no object", "[1]", "must be a JSON object"),
            ("no class", '{"set": {}}', '"class" is missing'),
            ("class of another kind", '{"class": 1}', '"class" must be a text'),
            ("unknown class", '{"class": "Nte"}', "did you mean Note?"),
            ("unknown word", '{"class": "Note", "sets": {}}', '"sets" is none of'),
            ("unknown property", '{"class": "Note", "set": {"Titl": ""}}', "did you mean Title?"),
            ("unknown label", '{"class": "Note", "set": {"LinkId": "@nobody"}}', "nobody"),
            ("label given twice", '{"class": "Note", "as": "first"}', 'the label "first" is given twice'),
            ("label that reads as a file", '{"class": "Note", "as": "file:x"}', "cannot be a label"),
            ("property given twice", '{"class": "Note", "set": {"Title": "a", "Title": "b"}}', '"Title" is given twice'),
            ("Null", '{"class": "Note", "set": {"Title": null}}', "error 94"),
            ("list as a value", '{"class": "Note", "set": {"Title": ["a"]}}', "error 13"),
            ("object as a value", '{"class": "Note", "set": {"Title": {"a": 1}}}', "error 13"),
            ("nested without end", '{"class": "Note", "set": {"Title": ' + "[" * 100000, "nested more than"),
            ("broken text", '{"class": "Note", "set": {"Title": "\udcff"}}', "no JSON"),
            ("calls of another kind", '{"class": "Note", "call": ["Update"]}', '"call" must be a list'),
            ("unknown method", '{"class": "Note", "call": [["Updat"]]}', "did you mean Update?"),
            ("number without bounds", '{"class": "Note", "set": {"Title": 1e999}}', "number overflow"),
            ("no record to delete", '{"class": "Contact", "call": [["deletecontact"]]}', "error 3021"),
            ("number too great", '{"class": "Contact", "set": {"ContactType": 3000000000}}', "error 6"),
            ("NUL in a text", '{"class": "Note", "set": {"Title": "a\\u0000b"}}', "error"),
            ("quote in an ID", '{"class": "Contact", "set": {"ID": "x\'"}}', "error"),
        ]:
            with self.subTest(name):
                status, output, errors = run("load", database, "-", given=f"{good}\n\n{line}\n{good}\n")
                self.assertEqual((status, output), (1, ""))
                self.assertIn("line 3: ", errors)
                self.assertIn(expected, errors)
        self.assertEqual(self.dump(database), before)

    def test_a_message_box_undoes_the_load(self):
        database = self.copy()
        self.change(database, REFUSED_DELETE)
        lines = ('{"class": "Note", "set": {"Title": "a"}}\n'
                 '{"class": "Contact", "set": {"ID": "CN00000001"}, "call": [["DeleteContact", true]]}\n')
        status, _, errors = run("load", database, "-", given=lines)
        self.assertEqual(status, 1)
        self.assertIn("line 2: ", errors)
        self.assertEqual(self.rows(database, "select count(*) from Notes"), [(3,)])

    def test_files_that_cannot_be_read(self):
        for row in [
            ("missing", ["load", "DB", "/no/such.jsonl"], 1, [], ["error 53", "/no/such.jsonl"]),
            ("a folder", ["load", "DB", str(self.folder)], 1, [], ["error 75", str(self.folder)]),
        ]:
            self.check(row, str(self.loaded))


class Checking(CommandLine):
    def test_a_database_without_problems(self):
        database = self.copy()
        self.assertEqual(run("check", database), (0, "No problems found.\n", ""))
        self.assertEqual(run("check", database, "--json"), (0, "[]\n", ""))
        self.change(database, "insert into Notes (NoteId) values ('NT00000900')")
        status, output, errors = run("check", database)
        self.assertEqual((status, errors), (0, ""))
        self.assertRegex(output, r"counter +Notes +NT +stands at \d+, behind the key NT00000900\n"
                                 r"No problems found\.\n$")

    def test_problems(self):
        database = self.copy()
        self.change(database, "insert into Notes (NoteId, LinkId) values ('NT00000001\n', 'CN99999999')")
        before = pathlib.Path(database).read_bytes()
        status, output, errors = run("check", database)
        self.assertEqual((status, errors), (1, "corveth: 1 problem found\n"))
        self.assertEqual([line.split(maxsplit=3) for line in output.splitlines()][2:],
                         [["link", "Notes", "NT00000001\\n", 'LinkId "CN99999999" names no item']])
        status, output, _ = run("check", "--json", f"Provider=SQLite;Data Source={database}")
        self.assertEqual((status, [finding["key"] for finding in json.loads(output)]), (1, ["NT00000001\n"]))
        self.assertEqual(pathlib.Path(database).read_bytes(), before)

    def test_what_the_engine_finds(self):
        database = self.copy()
        (page,), = self.rows(database, "select rootpage from sqlite_master where name = 'Notes_LinkId'")
        (size,), = self.rows(database, "pragma page_size")
        with open(database, "r+b") as file:
            file.seek((page - 1) * size)
            file.write(struct.pack(">BHHHB", 10, 0, 0, size, 0))  # a leaf of an index, without entries
        status, output, errors = run("check", database)
        self.assertEqual(status, 1, errors)
        self.assertRegex(output, r"\nintegrity .*wrong # of entries in index Notes_LinkId\n")

    def test_what_cannot_be_checked(self):
        for row in [
            ("no file", ["check", str(self.folder / "none.db")], 1, [], ["there is no such file"]),
            ("no database", ["check", str(DATA)], 1, [], ["file is not a database"]),
        ]:
            self.check(row)


if __name__ == "__main__":
    unittest.main()
