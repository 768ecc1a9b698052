"""What a person reads and types beside the help: the manual page and the completion in bash."""

import os
import pathlib
import re
import subprocess
import unittest

CORVETH = os.environ["CORVETH_CLI"]
SOURCE = pathlib.Path(__file__).parents[3] / "clients" / "cli"


def help_of(*command):
    return subprocess.run([CORVETH, *command, "--help"], capture_output=True, encoding="utf-8", check=True).stdout


def commands():
    listed = help_of().partition("\nSubcommands:\n")[2].partition("\n\n")[0]
    return [line.split()[0] for line in listed.splitlines()]


class ManualPage(unittest.TestCase):
    def test_it_tells_every_command_as_the_help_does(self):
        page = (SOURCE / "corveth.1").read_text(encoding="utf-8")
        told = {}
        for heading in re.findall(r"^\.It Ic (.*)", page, re.MULTILINE):
            command, *words = heading.split()
            told[command] = {word for word in words if word.isupper() or word == "-json"}
        self.assertEqual(set(told), set(commands()))
        for command in commands():
            text = help_of(command)
            taken = set(re.findall(r"[A-Z]+", re.search(r"^Usage: \S+ \S+ \[OPTIONS\](.*)", text, re.MULTILINE)[1]))
            taken |= {option[1:] for option in re.findall(r"^  .*?(--[a-z]+) ", text, re.MULTILINE)} - {"-help"}
            self.assertEqual(told[command], taken, command)


class BashCompletion(unittest.TestCase):
    def complete(self, *words):
        """What is offered for the last word; `None` when that is left to the shell, which offers files."""
        script = (
            'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _corveth "$1" "${@: -1}" "${@: -2:1}";'
            'printf "%s\\n" "${COMPREPLY[@]}"')
        done = subprocess.run(
            ["bash", "-uc", script, "bash", str(SOURCE / "completion" / "corveth.bash"), CORVETH, *words],
            capture_output=True, encoding="utf-8", check=True)
        self.assertEqual(done.stderr, "")
        return done.stdout.split() or None

    def test_what_is_offered(self):
        classes = subprocess.run([CORVETH, "classes"], capture_output=True, encoding="utf-8", check=True).stdout
        for name, words, expected in [
            ("commands", [""], [*commands(), "--help", "--version"]),
            ("a command begun", ["intro"], ["introspect"]),
            ("options of a command", ["show", "x.db", "--"], ["--help", "--json"]),
            ("no option that the command has not", ["set", "x.db", "--"], ["--help"]),
            ("a database is a file", ["show", ""], None),
            ("classes", ["introspect", ""], [line.removeprefix("prjCorveth.") for line in classes.split()]),
            ("a class after the database", ["show", "x.db", "Contac"], ["Contact", "Contacts"]),
            ("an option takes no place", ["show", "--json", "x.db", "Compan"], ["Company"]),
            ("a class in full", ["introspect", "prjCorveth.Contacts"], ["prjCorveth.Contacts"]),
            ("a key is not known", ["show", "x.db", "Note", "N"], None),
            ("methods of the class", ["call", "x.db", "Note", "NT1", "D"], ["DeleteNote"]),
            ("properties that can be set", ["set", "x.db", "Note", "NT1", ""], ["ID=", "LinkId=", "LinkType=", "Note=", "Title="]),
            ("properties after others", ["set", "x.db", "Note", "NT1", "ID", "=", "x", "T"], ["Title="]),
            ("the value is the client's", ["set", "x.db", "Note", "NT1", "Title", "="], None),
            ("the value begun", ["set", "x.db", "Note", "NT1", "Title", "=", "T"], None),
            ("filters", ["list", "x.db", "Notes", "SetI"], ["SetIDFilter="]),
            ("methods after --json", ["call", "--json", "x.db", "Note", "NT1", "Dele"], ["DeleteNote"]),
            ("an unknown command", ["nothing", ""], None),
            ("an unknown class", ["call", "x.db", "Nothing", "", ""], None),
            ("more than it takes", ["classes", ""], None),
        ]:
            with self.subTest(name):
                self.assertEqual(self.complete(*words), expected)


if __name__ == "__main__":
    unittest.main()
