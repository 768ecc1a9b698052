"""What a person reads and types beside the help: the manual page, and the completion in bash and zsh."""

import os
import pathlib
import re
import shutil
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
            told[command] = {word for word in words if word.isupper() or word.startswith("-")}
        self.assertEqual(set(told), set(commands()))
        for command in commands():
            text = help_of(command)
            taken = set(re.findall(r"[A-Z]+", re.search(r"^Usage: \S+ \S+ \[OPTIONS\](.*)", text, re.MULTILINE)[1]))
            for option, value in re.findall(r"^  .*?-(-[a-z-]+)(?: ([A-Z]+))? ", text, re.MULTILINE):
                taken |= {option, value} - {"-help", ""}
            self.assertEqual(told[command], taken, command)


BASH = """
    source "$1"; shift
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
    _corveth "$1" "${@: -1}" "${@: -2:1}"
    printf "%s\\n" "${COMPREPLY[@]}"
"""

# What zsh's own completion offers to a function, as far as it is asked for.
ZSH = """
    offer() { print -rl -- ${(M)@:#$PREFIX*} }
    compadd() {
        local -a named quiet suffix
        zparseopts -D -E a=named q=quiet S:=suffix
        ((!$#named)) || set -- ${(P)1}
        offer ${^@}${suffix[2]}
    }
    _describe() { offer ${${(P)2}%%:*} }
    compset() { PREFIX=${PREFIX#*=} }
    _files() { }
    _message() { }
    file=$1; shift
    words=("$@") CURRENT=$# PREFIX=$@[-1]
    source $file
"""


class Completion(unittest.TestCase):
    """What is offered for the last word; `None` where that is left to the shell, which offers files."""

    def check(self, complete):
        classes = subprocess.run([CORVETH, "classes"], capture_output=True, encoding="utf-8", check=True).stdout
        properties = ["ID=", "LinkId=", "LinkType=", "Note=", "Title="]
        for name, words, expected in [
            ("commands", [""], [*commands(), "--help", "--version"]),
            ("a command begun", ["intro"], ["introspect"]),
            ("options of a command", ["show", "x.db", "--"], ["--help", "--json"]),
            ("an option in two words", ["load", "--k"], ["--keep-keys"]),
            ("no option that the command has not", ["set", "x.db", "--"], ["--help"]),
            ("a database is a file", ["show", ""], None),
            ("classes", ["introspect", ""], [line.removeprefix("prjCorveth.") for line in classes.split()]),
            ("a class after the database", ["show", "x.db", "Contac"], ["Contact", "Contacts"]),
            ("an option takes no place", ["show", "--json", "x.db", "Compan"], ["Company"]),
            ("a class in full", ["introspect", "prjCorveth.Contacts"], ["prjCorveth.Contacts"]),
            ("a key is not known", ["show", "x.db", "Note", "N"], None),
            ("methods of the class", ["call", "x.db", "Note", "NT1", "D"], ["DeleteNote"]),
            ("methods after an option", ["call", "--json", "x.db", "Note", "NT1", "Dele"], ["DeleteNote"]),
            ("properties that can be set", ["set", "x.db", "Note", "NT1", ""], properties),
            ("properties after others", ["set", "x.db", "Note", "NT1", "ID=x", "T"], ["Title="]),
            ("the value is the client's", ["set", "x.db", "Note", "NT1", "Title="], None),
            ("the value begun", ["set", "x.db", "Note", "NT1", "Title=T"], None),
            ("filters", ["list", "x.db", "Notes", "SetI"], ["SetIDFilter="]),
            ("an unknown command", ["nothing", ""], None),
            ("an unknown class", ["call", "x.db", "Nothing", "NT1", ""], None),
            ("more than it takes", ["classes", ""], None),
        ]:
            with self.subTest(name):
                done = subprocess.run(complete(words), capture_output=True, encoding="utf-8", check=False)
                self.assertEqual(done.stderr, "")
                self.assertEqual(done.stdout.split() or None, expected)

    def test_bash(self):
        def complete(words):
            split = [part for word in words for part in (re.split("(=)", word) if "=" in word else [word])]
            while split[-2:] == ["=", ""]:
                split.pop()
            return ["bash", "-uc", BASH, "bash", SOURCE / "completion" / "corveth.bash", CORVETH, *split]

        self.check(complete)

    @unittest.skipUnless(shutil.which("zsh"), "there is no zsh")
    def test_zsh(self):
        self.check(lambda words: ["zsh", "-fc", ZSH, "zsh", SOURCE / "completion" / "_corveth", CORVETH, *words])


if __name__ == "__main__":
    unittest.main()
