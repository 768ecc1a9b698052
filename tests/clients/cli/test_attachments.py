"""Files kept with an item: `attach`, `attachments`, `extract` and `open`."""

import contextlib
import json
import os
import pathlib
import pty
import resource
import signal
import sqlite3
import stat
import subprocess
import time
import unittest

from test_cli import CORVETH, CommandLine, run

LIMIT = 5 * 1024 * 1024


def on_terminal(*arguments, cwd, typed=b"", env=None):
    """Status and output of a command that has a terminal for everything."""
    leader, follower = pty.openpty()
    with subprocess.Popen([CORVETH, *arguments], stdin=follower, stdout=follower, stderr=follower, cwd=cwd,
                          env={**os.environ, **(env or {})}) as process:
        os.close(follower)
        os.write(leader, typed)
        output = b""
        try:
            while piece := os.read(leader, 65536):
                output += piece
        except OSError:  # the other end is closed
            pass
        status = process.wait()
    os.close(leader)
    return status, output


class Attachments(CommandLine):
    """A test has a database and a folder of its own."""

    def setUp(self):
        self.database = self.copy()
        self.here = self.folder / (self.id().rsplit(".", 1)[-1] + ".files")
        self.here.mkdir()

    def file(self, name, content):
        path = self.here / name
        path.write_bytes(content)
        return path

    def attach(self, name, content, item="CN00000001"):
        status, key, errors = run("attach", self.database, item, "--", str(self.file(name, content)))
        self.assertEqual((status, errors), (0, ""))
        return key.rstrip("\n")

    def extracted(self, key):
        return subprocess.run([CORVETH, "extract", self.database, key], capture_output=True, check=True).stdout

    def stored(self):
        return self.rows(self.database,
                         "select AttachmentID, LinkID, AttachmentTitle, Data from Attachments order by 1")


class Keeping(Attachments):
    def test_a_file_comes_back(self):
        for name, content in [
            ("note.txt", b"Call back\r\n"),
            ("empty", b""),
            ("every byte.bin", bytes(range(256))),
            ("as large as may be.bin", b"\0\xff" * (LIMIT // 2)),
            ("tilbud på «heis» 漢.txt", b"x"),
            ("-rf", b"x"),
            ("it's 100% \"odd\" & $HOME;.txt", b"x"),
            ("n" * 251 + ".txt", b"x"),
        ]:
            with self.subTest(name):
                before = len(self.stored())
                key = self.attach(name, content)
                self.assertEqual(self.stored()[before:], [(key, "CN00000001", name, content)])
                self.assertEqual(self.extracted(key), content)
                target = self.folder / "target"
                self.assertEqual(run("extract", self.database, key, "-o", str(target))[0], 0)
                self.assertEqual(target.read_bytes(), content)
                target.unlink()

    def test_what_it_belongs_to(self):
        file = str(self.file("a.txt", b"a"))
        for name, item, expected in [
            ("a contact", "CN00000001", ("CN00000001", "Contact")),
            ("in small letters", "cn00000001", ("CN00000001", "Contact")),
            ("a company", "CM00000001", ("CM00000001", "Company")),
            ("a note, whose type has no name", "nt00000001", ("NT00000001", "None")),
            ("of a kind that this build has no class for", "bg00000001", ("BG00000001", "Bug")),
            ("no such contact", "CN99999999", 'error 3021 (Contact): there is no Contact with the key "CN99999999"'),
            ("no such note", "NT99999999", 'there is no item with the key "NT99999999"'),
            ("no such type", "XX00000001", 'there is no item with the key "XX00000001"; a key begins with the letters'),
            ("none", "", "there is no item"),
            ("a quote", "CN' Or '1'='1", "CN' Or '1'='1"),
        ]:
            with self.subTest(name):
                before = self.stored()
                status, key, errors = run("attach", self.database, item, file)
                if isinstance(expected, tuple):
                    self.assertEqual((status, errors), (0, ""))
                    row = self.rows(self.database, f"select LinkID, LinkType from Attachments "
                                                   f"where AttachmentID = '{key.strip()}'")
                    self.assertEqual(row, [expected])
                else:
                    self.assertEqual((status, key), (1, ""))
                    self.assertIn(expected, errors)
                    self.assertEqual(self.stored(), before)

    def test_what_is_no_file_that_may_be_kept(self):
        self.file("large", b"\0" * (LIMIT + 1))
        with open(self.here / "huge", "wb") as huge:
            huge.truncate(3 << 30)
        os.mkfifo(self.here / "pipe")
        self.file("private", b"").chmod(0)
        rows = [
            ("one byte too many", "large", "large: Attachment Limitation: File size cannot exceed 5 MB."),
            ("gigabytes", "huge", "5 MB"),
            ("missing", "none", "error 53"),
            ("a folder", ".", "Is a directory"),
            ("a pipe", "pipe", "error 75"),
            ("a device", "/dev/zero", "error 75"),
            ("no name", "", "File not found: no file is named"),
            ("a name that is no text", b"\xff.txt", ".txt: a text is not well-formed UTF-8"),
        ]
        if os.geteuid() != 0:
            rows.append(("unreadable", "private", "private: Permission denied"))
        for name, file, expected in rows:
            with self.subTest(name):
                status, output, errors = run("attach", self.database, "CN00000001", file, cwd=self.here)
                self.assertEqual((status, output), (1, ""))
                self.assertIn(expected, errors)
        self.assertEqual(self.stored(), [])

    def test_what_the_library_passes_over_is_told(self):
        self.change(self.database, "create trigger Full before insert on Attachments "
                                   "begin select raise(abort, 'no room!'); end")
        file = str(self.file("a.txt", b"a"))
        status, output, errors = run("attach", self.database, "CN00000001", file)
        self.assertEqual((status, output), (1, ""))
        self.assertIn("the attachment could not be saved: saving", errors)
        self.assertIn("no room!", errors)
        log = self.here / "log"
        source = f'Provider=SQLite;Data Source="{self.database}";Log="{log}"'
        self.assertIn("the log may tell why", run("attach", source, "CN00000001", file)[2])
        self.assertIn("no room!", log.read_text())

    def test_an_interruption_leaves_nothing_behind(self):
        file = str(self.file("a.txt", b"a"))
        temporary = self.here / "temporary"
        temporary.mkdir()
        with contextlib.closing(sqlite3.connect(self.database, isolation_level=None)) as writer:
            writer.execute("begin immediate")  # which the command waits for
            with subprocess.Popen([CORVETH, "attach", self.database, "CN00000001", file],
                                  env={**os.environ, "TMPDIR": str(temporary)}) as process:
                while not list(temporary.iterdir()) and process.poll() is None:
                    time.sleep(0.01)
                process.send_signal(signal.SIGINT)
            writer.execute("rollback")
        self.assertEqual(process.returncode, -signal.SIGINT)
        self.assertEqual(list(temporary.iterdir()), [])
        self.assertEqual(self.stored(), [])

    def test_the_list(self):
        first = self.attach("note.txt", b"Call back")
        second = self.attach("b\tb", bytes(123456))
        other = self.attach("c", b"c", "CN00000002")
        self.change(self.database, "update Attachments set AttachmentType = 'Text', "
                                   "AttachmentDate = (select Min(AttachmentDate) from Attachments)")
        status, table, errors = run("attachments", self.database, "cn00000001")
        self.assertEqual((status, errors), (0, ""))
        lines = table.splitlines()
        self.assertEqual(lines[0].split(), ["AttachmentID", "AttachmentTitle", "AttachmentType", "AttachmentSize",
                                            "AttachmentDate"])
        self.assertRegex(lines[2], f"^{first}    note.txt         Text                         9  20..-..-.. ..:..:..$")
        self.assertRegex(lines[3], f"^{second}    b\\\\tb             Text                    123456  ")
        self.assertEqual(len(lines), 4)
        listed = json.loads(run("attachments", "--json", self.database, "CN00000002")[1])
        self.assertEqual([list(entry)[0] for entry in listed], ["AttachmentID"])
        self.assertEqual({**listed[0], "AttachmentDate": ""}, {
            "AttachmentID": other, "AttachmentTitle": "c", "AttachmentType": "Text", "AttachmentSize": 1,
            "AttachmentDate": "", "LinkId": "CN00000002", "LinkType": "Contact"})
        self.change(self.database, "update Attachments set LinkID = 'CN88888888' where LinkID = 'CN00000002'")
        for row in [
            ("none", ["attachments", "DB", "CN00000003"], 0, ["not Attachment"], []),
            ("none, for tools", ["attachments", "--json", "DB", "CN00000003"], 0, ["[]"], []),
            ("of an item that is gone", ["attachments", "DB", "CN88888888"], 0, [other], []),
            ("no such item", ["attachments", "DB", "CN99999999"], 1, [], ["CN99999999"]),
        ]:
            self.check(row, self.database)


class Extracting(Attachments):
    def test_a_terminal_gets_no_bytes(self):
        content = b"\x1b[31mred\x07" + bytes(range(256)) * 4000
        key = self.attach("red.bin", content)
        folder = self.here / "out"
        folder.mkdir()
        status, shown = on_terminal("extract", self.database, key, cwd=folder)
        self.assertEqual(status, 0)
        self.assertTrue(shown.endswith(b"1,024,009 bytes written to red.bin\r\n"), shown[-200:])
        self.assertIn(b"extract  [", shown, "how far it is")
        self.assertNotIn(b"red\x07", shown)
        self.assertEqual((folder / "red.bin").read_bytes(), content)

        for output in ("-", "/dev/stdout"):
            status, shown = on_terminal("extract", self.database, key, "-o", output, cwd=folder)
            self.assertEqual(status, 2, output)
            self.assertIn(b"is a terminal", shown)
            self.assertNotIn(b"red\x07", shown)
        self.assertEqual(self.extracted(key), content)

    def test_a_title_stays_in_the_folder(self):
        key = self.attach("a.txt", b"content")
        for title, name in [("../../x", ".._.._x"), ("/etc/passwd", "_etc_passwd"), ("..", "__"), ("", "_"),
                            ("-rf", "-rf"), ("a\nb\x1b[2J", "a_b_[2J"), ("y" * 300 + ".txt", "y" * 251 + ".txt")]:
            with self.subTest(title):
                folder = self.here / "inner" / "most"
                folder.mkdir(parents=True)
                quoted = title.replace("'", "''")
                self.change(self.database, f"update Attachments set AttachmentTitle = '{quoted}'")
                status, shown = on_terminal("extract", self.database, key, cwd=folder)
                self.assertEqual(status, 0, shown)
                made = [path for path in self.here.rglob("*") if path.is_file() and path.name != "a.txt"]
                self.assertEqual(made, [folder / name])
                self.assertEqual(made[0].read_bytes(), b"content")
                made[0].unlink()
                folder.rmdir()
                folder.parent.rmdir()

    def test_what_is_there_is_kept(self):
        key = self.attach("a.txt", b"new")
        folder = self.here / "out"
        (folder / "inner").mkdir(parents=True)
        (folder / "inner" / "a.txt").write_bytes(b"old")
        (folder / "here").write_bytes(b"old")
        (folder / "empty").touch()
        (folder / "link").symlink_to("here")
        (folder / "nowhere").symlink_to("none")
        for name, arguments, status, words, file, content in [
            ("a file", ["-o", "here"], 1, "error 58 (corveth): File already exists: here is kept", "here", b"old"),
            ("an empty one", ["-o", "empty"], 1, "File already exists", "empty", b""),
            ("a link", ["-o", "link"], 1, "File already exists", "here", b"old"),
            ("a link to nowhere", ["-o", "nowhere"], 1, "File already exists", "here", b"old"),
            ("in a folder", ["--output", "inner"], 1, "inner/a.txt is kept", "inner/a.txt", b"old"),
            ("a new one", ["-o", "fresh"], 0, "", "fresh", b"new"),
            ("through the link", ["-o", "link", "--replace"], 0, "", "here", b"new"),
            ("replaced", ["--replace", "-o", "inner/"], 0, "", "inner/a.txt", b"new"),
            ("no such folder", ["-o", "none/x"], 1, "No such file or directory", "here", b"new"),
            ("a full device", ["-o", "/dev/full"], 1, "No space left on device", "here", b"new"),
            ("no such attachment", ["-o", "x"], 1, "there is no Attachment", "here", b"new"),
        ]:
            with self.subTest(name):
                wanted = "AT99999999" if name == "no such attachment" else key
                result = run("extract", self.database, wanted, *arguments, cwd=folder)
                self.assertEqual((result[0], words in result[2]), (status, True), result)
                self.assertEqual((folder / file).read_bytes(), content)
        self.assertEqual(sorted(path.name for path in folder.iterdir()),
                         ["empty", "fresh", "here", "inner", "link", "nowhere"])
        self.assertTrue((folder / "link").is_symlink())
        mask = os.umask(0o022)
        os.umask(mask)
        self.assertEqual(stat.S_IMODE((folder / "fresh").stat().st_mode), 0o666 & ~mask)

    def test_what_cannot_be_written_leaves_nothing(self):
        key = self.attach("a.bin", bytes(1000000))
        folder = self.here / "out"
        folder.mkdir()
        (folder / "old").write_bytes(b"old")
        for name in ("new", "old"):
            done = subprocess.run(
                [CORVETH, "extract", "--replace", "-o", name, self.database, key], cwd=folder, capture_output=True,
                preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (500000, 500000)), check=False)
            self.assertEqual((done.returncode, done.stdout), (1, b""))
            self.assertIn(b"File too large", done.stderr)
        self.assertEqual([path.name for path in folder.iterdir()], ["old"])
        self.assertEqual((folder / "old").read_bytes(), b"old")
        with open("/dev/full", "wb") as full:
            done = subprocess.run([CORVETH, "extract", self.database, key], stdout=full, stderr=subprocess.PIPE,
                                  check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"standard output: No space left on device", done.stderr)


class Opening(Attachments):
    def setUp(self):
        super().setUp()
        self.runtime = self.here / "run"
        self.runtime.mkdir(mode=0o700)
        self.programs = self.here / "bin"
        self.programs.mkdir()
        # Whatever programs the machine has, there are none.
        self.env = {"XDG_DATA_DIRS": str(self.here / "nothing"), "XDG_RUNTIME_DIR": str(self.runtime),
                    "TMPDIR": str(self.here), "DISPLAY": ":77", "PATH": f"{self.programs}:{os.environ['PATH']}",
                    "XDG_DATA_HOME": str(self.here / "share"), "XDG_CONFIG_HOME": str(self.here / "config")}

    def program(self, name, text):
        path = self.programs / name
        path.write_text("#!/bin/sh\n" + text + "\n")
        path.chmod(0o700)
        return path

    def copy_of(self, name):
        found = [path for path in self.here.rglob(name) if path.parent not in (self.here, self.programs)]
        self.assertEqual(len(found), 1, found)
        return found[0]

    def open(self, *arguments):
        return run("open", self.database, *arguments, env=self.env)

    def test_a_changed_copy_is_stored(self):
        set_data = f'"{CORVETH}" set "{self.database}" Attachment {{}} Data=@file:/dev/null AttachmentSize=0 >/dev/null'
        gone = f'"{CORVETH}" call "{self.database}" Attachment {{}} DeleteAttachment >/dev/null; echo >> "$0"'
        for name, script, status, expected, changed in [
            ("untouched", ":", 0, ": not changed", None),
            ("changed", 'echo "# more" >> "$0"', 0, " bytes stored", "# more\n"),
            ("changed by others", set_data + '; echo >> "$0"', 1, "was changed by somebody else meanwhile", ""),
            ("deleted", gone, 1, "there is no Attachment", None),
            ("taken away", 'rm "$0"', 1, "File not found", None),
        ]:
            with self.subTest(name):
                key = f"AT{len(self.rows(self.database, 'select 1 from Attachments')) + 1:08}"
                script = "#!/bin/sh\n" + script.format(key) + "\n"
                if name == "taken away":
                    self.change(self.database, "delete from Attachments")
                key = self.attach(name + ".Exe", script.replace("{}", key).encode(), "CN00000002")
                result = self.open("--save", key)
                self.assertEqual(result[0], status, result)
                self.assertIn(expected, result[1] if status == 0 else result[2])
                self.assertIn("waiting for its end", result[2])
                row = self.rows(self.database, f"select Data, AttachmentSize, LinkID from Attachments "
                                               f"where AttachmentID = '{key}'")
                if name == "deleted":
                    self.assertEqual(row, [])
                    continue
                content = {None: script, "# more\n": script + "# more\n", "": ""}[changed].encode()
                self.assertEqual(row, [(content, len(content), "CN00000002")])
                if status != 0:
                    self.assertIn("your copy is ", result[2])

    def test_it_goes_on_by_itself(self):
        script = '#!/bin/sh\nwhile [ ! -e "$0.go" ]; do sleep 0.01; done\nrm "$0.go"; echo x > "$0.done"\n'
        key = self.attach("wait.exe", script.encode())
        status, output, errors = self.open(key)
        self.assertEqual(status, 0)
        copy = self.copy_of("wait.exe")
        self.assertRegex(output, f"^{copy}: opened in process [0-9]+\n$")
        self.assertIn(f"Attachment {key} Data=@file:", errors)
        process = int(output.split()[-1])
        os.kill(process, 0)
        (copy.parent / "wait.exe.go").touch()
        while (copy.parent / "wait.exe.go").exists() or not (copy.parent / "wait.exe.done").exists():
            pass
        # What the hint says stores it.
        copy.write_bytes(b"changed")
        hint = errors.split(": ", 2)[2].replace("corveth", f'"{CORVETH}"', 1)
        subprocess.run(["sh", "-c", hint], check=True, capture_output=True)
        self.assertEqual(self.extracted(key), b"changed")
        self.assertEqual(self.rows(self.database, "select AttachmentSize from Attachments"), [(7,)])

    def test_the_desktop_is_asked_where_it_has_no_program(self):
        opened = self.here / "opened"
        self.program("xdg-open", f'echo "$#:$1" > "{opened}.part"; mv "{opened}.part" "{opened}"')
        key = self.attach("x y.unheardof", b"content")
        status, output, _ = self.open(key)
        copy = self.copy_of("x y.unheardof")
        self.assertEqual((status, output), (0, f"{copy}: left to the desktop to open\n"))
        while not opened.exists():
            pass
        self.assertEqual(opened.read_text(), f"1:{copy}\n")
        self.assertEqual(copy.read_bytes(), b"content")

        status, output, errors = self.open("--save", key)
        self.assertEqual((status, output), (1, ""))
        self.assertIn("nobody can tell when it is done", errors)
        # On a terminal the user can.
        status, shown = on_terminal("open", "--save", self.database, key, cwd=self.here, env=self.env, typed=b"\n")
        self.assertEqual(status, 0, shown)
        self.assertIn(b"Press Enter", shown)
        self.assertTrue(shown.endswith(f"{key}: not changed\r\n".encode()), shown)

    def test_a_program_of_the_desktop(self):
        self.env["XDG_DATA_DIRS"] = "/usr/local/share:/usr/share"
        program = self.program("editor", 'printf "%s|" "$@" > "$2.arguments"; printf more >> "$2"')
        share = self.here / "share"
        (share / "applications").mkdir(parents=True)
        (share / "applications" / "editor.desktop").write_text(
            f"[Desktop Entry]\nType=Application\nName=Editor\nExec={program} --quick %f\nMimeType=text/plain;\n")
        (share / "applications" / "mimeapps.list").write_text(
            "[Default Applications]\ntext/plain=editor.desktop\n")
        for name, content, added in [("my offer.txt", b"text", b"more"), ("-rf.txt", b"x", b"more")]:
            with self.subTest(name):
                self.check_program(program, name, content, added)

    def check_program(self, program, name, content, added):
        key = self.attach(name, content)
        status, output, errors = self.open("--save", key)
        copy = self.copy_of(name)
        self.assertEqual((status, output), (0, f"{key}: {len(content + added)} bytes stored\n"), errors)
        self.assertIn(f"{copy}: opened with {program} --quick, process ", errors)
        self.assertEqual(pathlib.Path(f"{copy}.arguments").read_text(), f"--quick|{copy}|")
        self.assertEqual(self.extracted(key), content + added)

    def test_a_copy_that_cannot_be_written_is_not_opened(self):
        self.program("xdg-open", f'touch "{self.here}/opened"')
        key = self.attach("large.exe", b"#!/bin/sh\n" + bytes(1000000))
        for options in ([], ["--save"]):
            done = subprocess.run(
                [CORVETH, "open", *options, self.database, key], capture_output=True, encoding="utf-8", check=False,
                env={**os.environ, **self.env},
                preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (500000, 500000)))
            self.assertEqual((done.returncode, done.stdout), (1, ""))
            self.assertIn("nothing was opened: writing the copy", done.stderr)
            self.assertIn("File too large", done.stderr)
        self.assertEqual([path for path in self.runtime.rglob("*") if path.is_file()], [])

    def test_what_cannot_be_opened_is_told(self):
        broken = self.attach("broken.exe", b"no program")
        text = self.attach("x.unheardof", b"")
        empty = self.attach("empty.exe", b"x")
        self.change(self.database, f"update Attachments set Data = null where AttachmentID = '{empty}'")
        for name, key, env, expected in [
            ("no such attachment", "AT99999999", {}, "there is no Attachment"),
            ("no program", broken, {}, "starting the program"),
            ("no display", text, {"DISPLAY": "", "WAYLAND_DISPLAY": ""}, "no display"),
            ("no file", empty, {}, "holds no file"),
            ("nowhere for temporary files", text, {"DISPLAY": "", "XDG_RUNTIME_DIR": "", "TMPDIR": "/nowhere"},
             "nothing was opened"),
        ]:
            with self.subTest(name):
                status, output, errors = run("open", self.database, key, env={**self.env, **env})
                self.assertEqual((status, output), (1, ""))
                self.assertIn(expected, errors)


if __name__ == "__main__":
    unittest.main()
