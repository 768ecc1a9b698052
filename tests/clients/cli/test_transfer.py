"""Moving a database: `dump`, and `load --keep-keys`."""

import base64
import fcntl
import json
import os
import pathlib
import pty
import shutil
import signal
import stat
import struct
import subprocess
import termios
import time

from test_cli import CORVETH, CommandLine, run

HEADER = '{"corveth": "dump", "format": 1, "schema": 2}'


class Moving(CommandLine):
    def new(self, name):
        """An empty database beside the test's copy of the loaded one."""
        database = str(self.folder / (self.id().rsplit(".", 1)[-1] + name))
        status, _, errors = run("init", database)
        self.assertEqual(status, 0, errors)
        return database

    def test_a_database_moves_with_its_keys(self):
        source, target = self.copy(), self.new(".target.db")
        self.change(source, "update ContactMaster set Pic = zeroblob(1000) where ContactId = 'CN00000001'")
        self.change(source, "insert into Notes (NoteId, Title, Creation) "
                            "values ('NT00000500', 'æ\n\"漢\" 😀', 45351.12345678901)")
        status, lines, errors = run("dump", source)
        self.assertEqual((status, errors), (0, ""))
        first, *rows, last = [json.loads(line) for line in lines.splitlines()]
        self.assertEqual((first, last), (json.loads(HEADER), {"rows": len(rows)}))
        self.assertEqual([row["row"] for row in rows if row["table"] == "Notes"][-1],
                         {"NoteId": "NT00000500", "Title": "æ\n\"漢\" 😀", "Creation": 45351.12345678901})
        pictures = [row["row"]["Pic"] for row in rows if "Pic" in row["row"]]
        self.assertIn(bytes(1000), map(base64.b64decode, pictures))

        self.assertEqual(run("load", "--keep-keys", target, "-", given=lines), (0, f"{len(rows)} rows loaded\n", ""))
        self.assertEqual(self.dump(target), self.dump(source))
        self.assertEqual(run("set", target, "Note", "", "Title=x")[1], "NT00000501\n")

        again = self.new(".again.db")
        file = str(self.folder / "moved.jsonl")
        pathlib.Path(file).write_text(lines, encoding="utf-8")
        status, output, _ = run("load", again, "--keep-keys", "--json", file)
        self.assertEqual((status, json.loads(output)), (0, {"rows": len(rows)}))
        self.assertEqual(run("dump", again)[1], lines)

    def test_a_dump_takes_its_name_when_it_is_complete(self):
        folder = self.folder / "files"
        folder.mkdir()
        target = folder / "service.jsonl"
        rows = str(len(run("dump", str(self.loaded))[1].splitlines()) - 2)
        self.assertEqual(run("dump", str(self.loaded), "-o", str(target)), (0, f"{rows} rows dumped\n", ""))
        whole = target.read_text(encoding="utf-8")
        self.assertEqual(whole, run("dump", str(self.loaded), "-o", "-")[1])
        self.assertEqual(stat.S_IMODE(target.stat().st_mode), 0o600)

        link = folder / "link"
        link.symlink_to(target)
        broken = str(self.folder / "broken.db")
        shutil.copy(self.loaded, broken)
        self.change(broken, "update Notes set Title = zeroblob(1) where NoteId = 'NT00000002'")
        database = pathlib.Path(self.copy())
        other = folder / "other.txt"
        other.write_text("Dear diary", encoding="utf-8")
        (folder / "empty").touch()
        for name, source, file, status, expected in [
            ("an older dump", self.loaded, target, 0, ""),
            ("a link to one", self.loaded, link, 0, ""),
            ("an empty file", self.loaded, folder / "empty", 0, ""),
            ("a row that no line can say", broken, target, 1, 'Notes: the row "NT00000002" cannot be dumped: its'),
            ("the same, to a new file", broken, folder / "new", 1, "holds no text"),
            ("no database", folder / "none.db", target, 1, "there is no such file"),
            ("another file", self.loaded, other, 1, "is no dump that could be replaced"),
            ("the database", database, database, 1, "is no dump that could be replaced"),
            ("a folder", self.loaded, folder, 1, "Is a directory"),
            ("no folder", self.loaded, folder / "none" / "x", 1, "No such file or directory"),
        ]:
            with self.subTest(name):
                result = run("dump", str(source), "--output", str(file))
                self.assertEqual((result[0], result[1]), (status, "" if status else f"{rows} rows dumped\n"), result)
                self.assertIn(expected, result[2])
        self.assertEqual(sorted(path.name for path in folder.iterdir()), ["empty", "link", "other.txt", target.name])
        self.assertTrue(link.is_symlink())
        for path in (target, folder / "empty"):
            self.assertEqual(path.read_text(encoding="utf-8"), whole)
        self.assertEqual(other.read_text(encoding="utf-8"), "Dear diary")
        self.assertEqual(run("check", str(database))[0], 0)

    def test_an_interrupted_dump_leaves_nothing(self):
        folder = self.folder / "interrupted"
        folder.mkdir()
        database = self.copy()
        self.change(database, "update ContactMaster set Pic = zeroblob(4000000)")
        for number in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(number), subprocess.Popen([CORVETH, "dump", "-o", folder / "x", database]) as process:
                while process.poll() is None and not list(folder.iterdir()):
                    time.sleep(0.001)
                process.send_signal(number)
                self.assertEqual(process.wait(), -number)
                self.assertEqual(list(folder.iterdir()), [])

    def test_an_output_that_ends_early_is_a_failure(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            done = subprocess.run([CORVETH, "dump", self.loaded], stdout=full, stderr=subprocess.PIPE, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"No space left on device", done.stderr)

        reading, writing = os.pipe()
        os.close(reading)
        with os.fdopen(writing, "wb") as closed:
            done = subprocess.run([CORVETH, "dump", self.loaded], stdout=closed, stderr=subprocess.PIPE, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"standard output: Broken pipe", done.stderr)

    def test_what_cannot_be_loaded_changes_nothing(self):
        database = self.copy()
        before = self.dump(database)
        new = '{"table": "Notes", "row": {"NoteId": "NT00000900", "Title": "x"}}'
        for name, arguments, lines, expected in [
            ("records", ["--keep-keys"], ["", '{"class": "Note"}'], "line 2: this makes a record that gets a new key: "
             "load it without --keep-keys"),
            ("a record behind rows", ["--keep-keys"], [HEADER, new, '{"class": "Note"}'], "line 3: \"class\" makes"),
            ("a dump for new keys", [], [HEADER, new], "line 1: this is of a dump: load it with --keep-keys"),
            ("rows for new keys", [], ['{"class": "Note"}', new], "line 2: this is of a dump: load it with --keep"),
            ("no beginning", ["--keep-keys"], [new], "line 1: a dump begins with a line that says so"),
            ("a key that is there", ["--keep-keys"], [HEADER, new.replace("900", "001"), '{"rows": 1}'],
             'line 2: Notes has a row with the key "NT00000001" already'),
            ("cut off", ["--keep-keys"], [HEADER, new], "the dump is cut off"),
            ("no text", ["--keep-keys"], [HEADER, new, '{"table": "\udcff"}'], "line 3: a text is not well-formed"),
            ("no JSON", ["--keep-keys"], [HEADER, new, "", new + ","], "line 4: no JSON"),
        ]:
            with self.subTest(name):
                status, output, errors = run("load", *arguments, database, "-", given="\n".join(lines) + "\n")
                self.assertEqual((status, output), (1, ""))
                self.assertIn(expected, errors)
        self.assertEqual(self.dump(database), before)

    def test_other_tables_are_refused(self):
        older = self.copy()
        self.change(older, "update SchemaVersion set Version = 7")
        for command in (["dump", older], ["load", "--keep-keys", older, os.devnull]):
            status, output, errors = run(*command)
            self.assertEqual((status, output), (1, ""))
            self.assertIn("are of version 7, newer than this build's", errors)

    def test_a_terminal_is_told_how_far_it_is(self):
        dump = str(self.folder / "progress.jsonl")
        target = self.new(".db")
        for name, command, parts in [
            ("dump", ["dump", str(self.loaded), "-o", dump], ["\rdump  [", " %  ", " rows\x1b[K", "\r\x1b[K"]),
            ("load", ["load", "--keep-keys", target, dump], ["\rload  [", " %  ", " rows\x1b[K", "\r\x1b[K"]),
            ("records", ["load", self.new("2.db"), str(pathlib.Path(__file__).parent / "data" / "contacts.jsonl")],
             ["\rload  [", " records\x1b[K", "\r\x1b[K"]),
            ("not over the lines themselves", ["dump", str(self.loaded)], None),
        ]:
            with self.subTest(name):
                shown = self.on_terminal(command, both=parts is None)
                for part in parts or []:
                    self.assertIn(part, shown)
                if parts is None:
                    self.assertNotIn("\x1b", shown)

    def on_terminal(self, command, both):
        """What a terminal of 40 columns is sent as standard error, or as both outputs."""
        ours, theirs = pty.openpty()
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 40, 0, 0))
        output = theirs if both else subprocess.DEVNULL
        with subprocess.Popen([CORVETH, *command], stderr=theirs, stdout=output) as process:
            os.close(theirs)
            shown = b""
            while True:
                try:
                    piece = os.read(ours, 65536)
                except OSError:  # the other side is closed
                    break
                shown += piece
            self.assertEqual(process.wait(), 0, shown)
        os.close(ours)
        lines = [line for line in shown.decode().split("\r") if line.endswith("\x1b[K")]
        self.assertTrue(all(len(line.removesuffix("\x1b[K")) < 40 for line in lines), lines)
        return shown.decode()
