"""How objects and the library live: threads, memory, the end of the process, finding the library."""

import datetime
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import threading
import unittest

import corveth
from support import WRONG_THREAD, ClientTest, DatabaseTest


def in_thread(act):
    """What `act` returned or raised in a thread of its own."""
    outcome = []

    def run():
        try:
            outcome.append(act())
        except BaseException as failure:
            outcome.append(failure)

    thread = threading.Thread(target=run)
    thread.start()
    thread.join()
    return outcome[0]


def run_python(code, **environment):
    """A process that runs `code`, with changes to the environment (None removes a variable)."""
    merged = {**os.environ, **environment}
    return subprocess.run(
        [sys.executable, "-c", code],
        env={name: value for name, value in merged.items() if value is not None},
        capture_output=True,
        text=True,
        timeout=120,
        check=False,
    )


class ThreadTest(ClientTest):
    def test_objects_belong_to_their_thread(self):
        notes = corveth.Dispatch("prjCorveth.Notes")
        notes.Add("NT1", "", "", "", "")
        note = notes(1)
        rows = [
            ("read", lambda: note.Title),
            ("set", lambda: setattr(note, "Title", "x")),
            ("call", lambda: notes.SetNoFilter()),
            ("iterate", lambda: list(notes)),
        ]
        for name, act in rows:
            with self.subTest(name):
                failure = in_thread(act)
                self.assertIsInstance(failure, corveth.Error)
                self.assertEqual((failure.number, failure.hresult), (WRONG_THREAD, WRONG_THREAD))
        self.assertEqual(note.Title, "")
        self.assertIs(in_thread(lambda: note == notes), False)

    def test_every_thread_has_objects_of_its_own(self):
        def work():
            note = corveth.Dispatch("prjCorveth.Note")
            titles = []
            for i in range(300):
                note.Title = f"{threading.get_ident()} {i}"
                titles.append(note.Title == f"{threading.get_ident()} {i}")
            return all(titles)

        outcome = []
        threads = [threading.Thread(target=lambda: outcome.append(work())) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(outcome, [True] * 4)

    def test_released_on_another_thread(self):
        held = [corveth.Dispatch("prjCorveth.Note") for _ in range(100)]
        in_thread(held.clear)
        self.assertEqual(corveth.Dispatch("prjCorveth.Note").Title, "")
        orphans = in_thread(lambda: [corveth.Dispatch("prjCorveth.Notes") for _ in range(100)])
        self.assertEqual(len(orphans), 100)
        del orphans


class MemoryTest(ClientTest):
    def test_a_call_in_the_middle_of_another(self):
        """Arguments may run code that makes calls itself, and so may a collector at any time."""
        service = corveth.Dispatch("Corveth.DbService")
        inner = []

        class Day(datetime.datetime):
            def __sub__(self, other):
                inner.append(service.ValueOrDefault(None, "the inner one's text"))
                return super().__sub__(other)

        notes = corveth.Dispatch("prjCorveth.Notes")
        note = notes.Add("outer ID", "CN1", Day(2024, 2, 29), Day(2024, 3, 1), "outer note")
        self.assertEqual((note.ID, note.LinkId, note.Title, note.Note), ("outer ID", "CN1", "2024-03-01", "outer note"))
        self.assertEqual(inner, ["the inner one's text"] * 2)

    @unittest.skipIf("libasan" in os.environ.get("LD_PRELOAD", ""), "the sanitizer keeps back what was freed")
    def test_no_text_is_leaked(self):
        with open("/proc/self/statm", encoding="ascii") as statm:

            def pages():
                statm.seek(0)
                return int(statm.read().split()[1])

            notes = corveth.Dispatch("prjCorveth.Notes")
            service = corveth.Dispatch("Corveth.DbService")
            conn = corveth.Dispatch("ADODB.Connection")
            notes.Add("NT1", "", "", "title " * 200, "")
            data, text = b"x" * 2000, "x" * 2000
            rows = [
                ("property", lambda: setattr(notes(1), "Title", notes(1).Title)),
                ("text", lambda: service.ValueOrDefault(None, text)),
                ("bytes", lambda: service.ValueOrDefault(None, data)),
                ("by reference", lambda: service.ValueOrDefault(corveth.ByRef(text), corveth.ByRef(data))),
                ("failing by reference", lambda: service.ValueOrDefault(corveth.ByRef(text), corveth.ByRef(data), 1)),
                ("failure", lambda: conn.Open(f"Provider=SQLite;{text}=1")),
            ]

            def work(act):
                for _ in range(1000):
                    try:
                        act()
                    except corveth.Error:
                        pass

            for name, act in rows:
                with self.subTest(name):
                    work(act)
                    before = pages()
                    work(act)
                    self.assertLess(pages() - before, 250)  # a leak of 2,000 bytes a round is 488 at least

    def test_no_object_is_leaked(self):
        """A process that let go of everything says that the library may be unloaded."""
        rows = [
            ("nothing", "", 0),
            ("an object held", "held = new('prjCorveth.Note')", 1),
            ("an object", "new('prjCorveth.Note')", 0),
            ("a collection and its members", "notes(1), list(notes), notes == notes(1), hash(notes)", 0),
            ("an enumerator left midway", "next(iter(notes))", 0),
            ("an enumerator held", "held = iter(notes)", 1),
            ("objects as arguments", "notes.AddItem(notes(1)); service.ValueOrDefault(None, notes)", 0),
            ("by reference", "service.ValueOrDefault(corveth.ByRef(), corveth.ByRef(notes))", 0),
            ("by reference and held", "held = notes; service.ValueOrDefault(corveth.ByRef(), corveth.ByRef(notes))", 1),
            ("failing by reference", "fails(lambda: service.ValueOrDefault(1, corveth.ByRef(notes), 1))", 0),
            ("failures", "fails(lambda: notes.AddItem(service)); fails(lambda: new('prjCorveth.None'))", 0),
        ]
        for name, code, expected in rows:
            with self.subTest(name):
                result = run_python(
                    "import corveth, ctypes, gc, os\n"
                    "new = corveth.Dispatch\n"
                    "def fails(act):\n"
                    "    try: act()\n"
                    "    except corveth.Error: return\n"
                    "    raise AssertionError\n"
                    "service, notes = new('Corveth.DbService'), new('prjCorveth.Notes')\n"
                    "notes.Add('NT1', '', '', '', '')\n" + code + "\n"
                    "del service, notes\n"
                    "gc.collect()\n"
                    "print(ctypes.CDLL(os.environ['CORVETH_SERVER']).DllCanUnloadNow())"
                )
                self.assertEqual((result.stdout, result.stderr), (f"{expected}\n", ""))


class ProcessTest(DatabaseTest):
    def test_the_end_of_the_process(self):
        rows = [
            ("objects in globals", "pass"),
            ("in a cycle", "cycle = [crm, conn]; cycle.append(cycle); del crm, conn"),
            ("in a transaction", "conn.BeginTrans()"),
            ("of another thread", "import threading; t = threading.Thread(target=lambda: globals().update("
             "n=corveth.Dispatch('prjCorveth.Notes'))); t.start(); t.join()"),
            ("in a daemon", "import threading, time; e = threading.Event(); threading.Thread(daemon=True, target="
             "lambda: [globals().update(n=corveth.Dispatch('prjCorveth.Notes')), e.set(), time.sleep(60)]).start(); "
             "e.wait()"),
        ]  # fmt: skip
        for name, code in rows:
            with self.subTest(name):
                result = run_python(
                    "import corveth\n"
                    "conn = corveth.Dispatch('ADODB.Connection')\n"
                    f"conn.Open({self.connection_string!r})\n"
                    "crm = corveth.Dispatch('prjCorveth.CRM')\n"
                    "crm.UseConnection(conn)\n"
                    "notes = corveth.Dispatch('prjCorveth.Notes')\n"
                    "enumerator = iter(notes)\n" + code + "\nprint('done')"
                )
                self.assertEqual((result.stdout, result.stderr, result.returncode), ("done\n", "", 0))


class FindingTest(unittest.TestCase):
    CODE = "import corveth; print(type(corveth.Dispatch('prjCorveth.Note')).__name__)"
    FAILING = "import corveth\ntry: corveth.Dispatch('prjCorveth.Note')\nexcept corveth.Error as e: print(e.number, e)"

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.server = pathlib.Path(os.environ["CORVETH_SERVER"]).resolve()
        self.module = self.folder / "moved" / "corveth"
        shutil.copytree(pathlib.Path(corveth.__file__).parent, self.module)

    def outside(self, code, **environment):
        """Runs `code` with the copied module, without server variable and registration of this machine."""
        return run_python(
            code,
            **{"CORVETH_SERVER": None, "PYTHONPATH": str(self.module.parent), "XDG_DATA_HOME": str(self.folder)}
            | environment,
        )

    def test_where_the_library_is_found(self):
        def beside(folder):
            folder.mkdir(parents=True, exist_ok=True)
            for library in (self.server, *self.server.parent.glob("libcorveth.so*")):
                (folder / library.name).symlink_to(library)

        with self.subTest("nowhere"):
            result = self.outside(self.FAILING)
            self.assertRegex(result.stdout, r"429 .*prjCorveth.so was not found.*CORVETH_SERVER")
        with self.subTest("registered"):
            entry_points = "import ctypes, sys; sys.exit(ctypes.CDLL(sys.argv[1]).DllRegisterServer())"
            subprocess.run(
                [sys.executable, "-c", entry_points, str(self.server)],
                env=os.environ | {"XDG_DATA_HOME": str(self.folder)},
                check=True,
            )
            self.assertEqual(self.outside(self.CODE).stdout, "Note\n")
        registration = self.folder / "corveth" / "registration.json"
        for name, text in [
            ("registered, but gone", registration.read_text().replace(str(self.server), "/nowhere/prjCorveth.so")),
            ("no registration at all", "{"),
            ("another shape", '{"classes": [{"server": 7}]}'),
        ]:
            with self.subTest(name):
                registration.write_text(text)
                self.assertRegex(self.outside(self.FAILING).stdout, "429 .*prjCorveth.so was not found")
        with self.subTest("beside the module"):
            beside(self.module)
            code = "import corveth._library as l; print(l.find())"
            self.assertEqual(self.outside(code).stdout, f"{self.module / self.server.name}\n")
            self.assertEqual(self.outside(self.CODE).stdout, "Note\n")
        with self.subTest("in the checkout's build folder"):
            checkout = self.folder
            (checkout / "src" / "server").mkdir(parents=True)
            (checkout / "CMakeLists.txt").touch()
            beside(checkout / "build")
            code = "import corveth._library as l; print(l.find())"
            self.assertEqual(self.outside(code).stdout, f"{checkout / 'build' / self.server.name}\n")
        with self.subTest("named"):
            result = self.outside(self.CODE, CORVETH_SERVER=str(self.server))
            self.assertEqual(result.stdout, "Note\n")

    def test_a_library_that_is_none(self):
        no_library = self.folder / "prjCorveth.so"
        no_library.write_text("this is text")
        for name, path in [("missing", str(self.folder / "missing.so")), ("no library", str(no_library))]:
            with self.subTest(name):
                result = self.outside(self.FAILING, CORVETH_SERVER=path)
                self.assertRegex(result.stdout, "429 .*" + path)


if __name__ == "__main__":
    unittest.main()
