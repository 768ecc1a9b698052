"""The generator of stubs and class reference, on a library that has what the real one has not yet."""

import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[3] / "scripts"))

from generator import descriptions, reference, stubs
from generator.library import Class, Enumeration, Library, Member, Parameter, RecordType


def member(name, kinds, type_="none", *params, default=False, enumerator=False):
    return Member(name, tuple(kinds.split()), tuple(range(len(kinds.split()))), params, type_, default, enumerator)


COUNT = member("Count", "get", "Long")
ITEM = member("Item", "get", "Object:Part", Parameter("Key", "Variant", True, False), default=True)
PART = Class(
    "prjCorveth",
    "Part",
    False,
    (
        member("Part", "get set", "Object:Part"),
        member("Price", "get let", "Currency"),
        member("Due", "let", "Date"),
        member("Frames", "get", "Object:Frames"),
        member("Shade", "let get", "Enum:shShade"),
        member(
            "Paint",
            "method",
            "Picture",
            Parameter("Due", "Date", False, False),
            Parameter("Cost", "Currency", True, True),
            Parameter("Over", "Picture", False, True),
            Parameter("Line", "Record:tpLine", False, True),
        ),
    ),
)
LIBRARY = Library(
    (
        PART,
        Class("prjCorveth", "Parts", True, (COUNT, ITEM)),
        Class("Other", "Part", True, (member("_Each", "get", "Enumerator", enumerator=True),)),
        Class("Corveth", "Picture", True, ()),
    ),
    (Enumeration("prjCorveth", "shShade", (("None", 0), ("shDark", 1))),),
    (RecordType("prjCorveth", "tpLine", (("Text", "String"),)), RecordType("prjCorveth", "tpDay", (("Day", "Date"),))),
)
TEXT = """# Parts

What they are.

## prjCorveth.Part
One part. Or | more.

- Price: In the
  home currency.

## prjCorveth.Parts
All parts.
## Other.Part
Another one.
## Corveth.Picture
A picture.
## shShade
A "shade"
## tpLine
A line.
## tpDay
A day.
"""


def described(text, library=LIBRARY):
    with tempfile.TemporaryDirectory() as folder:
        pathlib.Path(folder, "parts.md").write_text(text, encoding="utf-8")
        return descriptions.read(pathlib.Path(folder), library)


class StubTest(unittest.TestCase):
    def test_what_a_stub_says(self):
        files = stubs.files(LIBRARY, described(TEXT))
        part, each, module = files["prjCorveth.pyi"], files["Other.pyi"], files["__init__.pyi"]
        for name, text, expected in [
            ("imports", part, "import datetime\nimport decimal\nfrom collections.abc import Iterator\n"),
            ("no import too many", each, "there.\nfrom collections.abc import Iterator\nfrom typing import Any\n\nimport"),
            ("named like its class", part, "    Part: corveth.prjCorveth.Part\n"),
            ("the text of a member", part, '    Price: decimal.Decimal\n    """In the home currency."""\n'),
            ("only assigned", part, '    Due: datetime.datetime\n    """Can only be assigned."""\n'),
            ("not in the build", part, "    def Frames(self) -> corveth.Object:\n"),
            ("an enumeration takes numbers", part, "    Shade: corveth.prjCorveth.shShade | int\n"),
            ("a word of the language", part, "    None_ = 0\n    shDark = 1\n"),
            ("a text that ends in a quote", part, '    """A "shade" """\n'),
            ("parameters", part, "        Due: datetime.date,\n        Cost: decimal.Decimal | float | corveth.ByRef = ...,\n"),
            ("nothing", part, "        Line: corveth.prjCorveth.tpLine = ...,\n    ) -> corveth.Corveth.Picture | None: ...\n"),
            ("nothing given", part, "        Over: corveth.Corveth.Picture | None = ...,\n"),
            ("by Count and Item", part, "    def __iter__(self) -> Iterator[corveth.prjCorveth.Part]: ...\n"),
            ("hidden enumerator", each, '    """Another one."""\n    def __iter__(self) -> Iterator[Any]: ...\n'),
            ("records", module, '    @overload\n    def __new__(cls, name: Literal["tpDay"], /, *, Day: datetime.date = ...)'),
        ]:
            with self.subTest(name):
                self.assertIn(expected, text)
        self.assertNotIn('Literal["prjCorveth.Part"]', module)
        for name, text in files.items():
            with self.subTest(name):
                compile(text, name, "exec")

    def test_words_of_the_language_are_refused_as_members(self):
        for wrong in (member("in", "method"), member("Go", "method", "none", Parameter("from", "Long", False, False))):
            library = Library((Class("prjCorveth", "Part", True, (wrong,)),), (), ())
            with self.subTest(wrong.name), self.assertRaisesRegex(NotImplementedError, f"prjCorveth.Part.{wrong.name}"):
                stubs.files(library, described("# P\n## prjCorveth.Part\nOne.\n", library))


class ReferenceTest(unittest.TestCase):
    def test_pages(self):
        files = reference.files(LIBRARY, described(TEXT))
        page, index = files["reference/parts.md"], files["reference.md"]
        for text, expected in [
            (page, "# Parts\n\nWhat they are.\n"),
            (page, "## prjCorveth.Part\n\nOne part. Or | more.\n\nHanded out by other objects"),
            (page, "| 0, 1 | `Price` | get, let | Currency | In the home currency. |\n"),
            (page, "| 0 | `Frames` | get | Frames (not in this build) | |\n"),
            (page, "| 0 | `Paint(Due: Date, [ByRef Cost: Currency], [Over: Picture], [Line: tpLine])` | method | "
                   "[Picture](parts.md#corvethpicture) | |\n"),
            (page, "| 0 | `Item(ByRef Key: Variant)` | get, default | [Part](parts.md#prjcorvethpart) |\n"),
            (page, "| 0 | `None` |\n| 1 | `shDark` |\n"),
            (index, "| [prjCorveth.Part](reference/parts.md#prjcorvethpart) | One part. |\n"),
        ]:  # fmt: skip
            with self.subTest(expected):
                self.assertIn(expected, text)


class DescriptionTest(unittest.TestCase):
    def test_mistakes_are_named(self):
        for name, before, after, message in [
            ("unknown class", "## tpLine", "## tpLien", r"parts.md:\d+: tpLien does not exist"),
            ("twice", "## tpLine", "## shShade", "shShade does not exist or was described before"),
            ("not described", "## tpDay\nA day.\n", "", "no file in .* describes tpDay"),
            ("unknown member", "- Price:", "- Prise:", r"parts.md:\d+: prjCorveth.Part has no member Prise"),
            ("member twice", "## prjCorveth.Parts", "- Price: x\n## prjCorveth.Parts", "Price, or it was described"),
            ("no text", "All parts.", "", "prjCorveth.Parts has no text"),
            ("text behind members", "  home currency.", "home currency.", "stands before its members"),
            ("no title", "# Parts\n", "", "the page has no title"),
        ]:
            with self.subTest(name), self.assertRaisesRegex(descriptions.Mistake, message):
                described(TEXT.replace(before, after, 1))


if __name__ == "__main__":
    unittest.main()
