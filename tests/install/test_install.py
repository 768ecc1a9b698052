"""What `cmake --install` gives, after the tree was moved: a program in C++ builds against it, and every client works.

The tree stands outside of any checkout, and nothing in the environment tells where it is.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).parent
SOURCE = HERE.parents[1]
BUILD = pathlib.Path(os.environ["CORVETH_SERVER"]).parent
CMAKE = os.environ["CORVETH_CMAKE"]
COMPILER = os.environ["CORVETH_COMPILER"]

CONSUMED = "Astrid Nygård: 1\nCall back\nADODB.Connection: no such column: Missing (SQLite 1)\n"


class InstalledTree(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="corveth-install-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.environment = {
            "PATH": os.environ["PATH"], "HOME": str(cls.folder), "TMPDIR": str(cls.folder), "LC_ALL": "C.UTF-8",
            "CCACHE_DIR": os.environ.get("CCACHE_DIR", str(cls.folder / "ccache")), "PYTHONDONTWRITEBYTECODE": "1"}
        first = cls.folder / "first"
        cls.run_tool(CMAKE, "--install", BUILD, "--prefix", first)
        cls.tree = cls.folder / "moved" / "tree"
        cls.tree.parent.mkdir()
        first.rename(cls.tree)
        cls.library = next(cls.tree.rglob("libcorveth.so")).parent
        cls.program = cls.tree / "bin" / "corveth"

    @classmethod
    def run_tool(cls, *command, given=None, **environment):
        done = subprocess.run(
            [str(word) for word in command], input=given, capture_output=True, encoding="utf-8", timeout=300,
            env=cls.environment | {name: str(value) for name, value in environment.items()}, cwd=cls.folder, check=False)
        if done.returncode != 0:
            raise AssertionError(f"{command} ended with {done.returncode}\n{done.stdout}{done.stderr}")
        return done.stdout

    def path(self, name):
        """A database of the running test."""
        return self.folder / f"{self.id().rsplit('.', 1)[-1]}-{name}.db"

    def test_a_program_builds_through_cmake(self):
        build = self.folder / "build-cmake"
        self.run_tool(CMAKE, "-G", "Ninja", "-S", HERE / "consumer", "-B", build, f"-DCMAKE_PREFIX_PATH={self.tree}",
                      f"-DCMAKE_CXX_COMPILER={COMPILER}", "-DCMAKE_BUILD_TYPE=Debug")
        self.assertIn(str(self.library), (build / "CMakeCache.txt").read_text(encoding="utf-8"))
        self.run_tool(CMAKE, "--build", build)
        self.assertEqual(self.run_tool(build / "consumer", self.path("one")), CONSUMED)

    def test_a_program_builds_through_pkg_config(self):
        program = self.folder / "consumer"
        flags = self.run_tool("pkg-config", "--cflags", "--libs", "corveth", PKG_CONFIG_PATH=self.library / "pkgconfig")
        self.run_tool(COMPILER, "-std=c++20", HERE / "consumer" / "main.cpp", *flags.split(), "-o", program)
        self.assertEqual(self.run_tool(program, self.path("one"), LD_LIBRARY_PATH=self.library), CONSUMED)

    def test_all_headers_stand_on_their_own(self):
        include = self.tree / "include"
        headers = sorted(str(path.relative_to(include)) for path in include.rglob("*.h"))
        for present, name in [(True, "corveth/session/note.h"), (False, "corveth/platform/data/sqlite/session.h"),
                              (False, "corveth/session/failure.h"), (False, "corveth/server/module.h")]:
            self.assertEqual(name in headers, present, name)
        for header in headers:  # a header of another product that has the name of one of ours must not come between
            for name in re.findall(r'^#include "(.*)"', (include / header).read_text(encoding="utf-8"), re.MULTILINE):
                self.assertTrue((include / header).parent.joinpath(name).is_file(), f"{header} includes {name}")
        text = "".join(f"#include <{header}>\n" for header in headers)
        self.run_tool(COMPILER, "-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only",
                      f"-I{include}", "-x", "c++", "-", given=text)

    def test_the_command_line_works(self):
        database = self.path("customers")
        self.assertRegex(self.run_tool(self.program, "--version"), r"^corveth \d+\.\d+\.\d+\n$")
        self.run_tool(self.program, "init", database)
        self.run_tool(self.program, "load", database, SOURCE / "examples" / "contacts.jsonl")
        listed = json.loads(self.run_tool(self.program, "list", "--json", database, "Notes", "SetLinkFilter=CN00000001"))
        self.assertTrue(listed and all(note["LinkId"] == "CN00000001" for note in listed), listed)
        self.run_tool(self.program, "register")  # tells which server was loaded
        registered = json.loads((self.folder / ".local/share/corveth/registration.json").read_text(encoding="utf-8"))
        self.assertEqual({entry["server"] for entry in registered["classes"].values()},
                         {str(self.library / "prjCorveth.so")})
        self.run_tool(self.program, "unregister")

    def test_the_python_module_works(self):
        module = next(self.tree.rglob("corveth/__init__.py")).parent.parent
        code = """if True:
            import sys, corveth, corveth._library
            place = "Provider=SQLite;Data Source=" + sys.argv[1]
            corveth.Dispatch("Corveth.Schema").Create(place)
            connection = corveth.Dispatch("ADODB.Connection")
            connection.Open(place)
            crm = corveth.Dispatch("prjCorveth.CRM")
            crm.UseConnection(connection)
            contact = corveth.Dispatch("prjCorveth.Contact")
            contact.ContactType, contact.FirstName = 1, "Astrid"
            contact.UpdateContact()
            crm.Contacts.InitializeAsType(1)
            print(corveth.__file__, corveth._library.server().path, [c.FirstName for c in crm.Contacts], sep="\\n")
        """
        printed = self.run_tool(sys.executable, "-c", code, self.path("one"), PYTHONPATH=module)
        self.assertEqual(printed.splitlines(), [
            str(module / "corveth" / "__init__.py"), str(self.library / "prjCorveth.so"), "['Astrid']"])

    def test_what_is_only_read_is_where_others_look_for_it(self):
        module = next(self.tree.rglob("corveth/__init__.py")).parent.relative_to(self.tree)
        sources = {
            "share/man/man1/corveth.1": SOURCE / "clients/cli/corveth.1",
            "share/bash-completion/completions/corveth": SOURCE / "clients/cli/completion/corveth.bash",
            "share/zsh/site-functions/_corveth": SOURCE / "clients/cli/completion/_corveth",
            "share/doc/corveth/docs/reference.md": SOURCE / "docs/reference.md",
            module / "py.typed": SOURCE / "clients/python/corveth/py.typed",
        }
        sources |= {f"share/corveth/schema/{path.name}": path for path in SOURCE.glob("schema/*.sql")}
        sources |= {module / path.name: path for path in SOURCE.glob("clients/python/corveth/*.pyi")}
        for name, source in sources.items():
            with self.subTest(str(name)):
                self.assertEqual((self.tree / name).read_bytes(), source.read_bytes())
        self.assertIn("check", self.run_tool(
            "bash", "-c", 'source "$0"; COMP_WORDS=(corveth che) COMP_CWORD=1; _corveth corveth che; echo "${COMPREPLY[@]}"',
            self.tree / "share/bash-completion/completions/corveth", PATH=f"{self.program.parent}:{os.environ['PATH']}"))

    def test_nothing_names_where_it_came_from(self):
        for path in self.tree.rglob("*"):
            if path.is_file():
                content = path.read_bytes()
                if content.startswith(b"\x7fELF"):  # not what a debugger reads, but what the loader does
                    content = self.run_tool("readelf", "--dynamic", path).encode()
                for place in (self.folder / "first", SOURCE):
                    self.assertNotIn(str(place).encode(), content, path)


if __name__ == "__main__":
    unittest.main()
