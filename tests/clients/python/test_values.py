"""Values in both directions."""

import datetime
import decimal
import enum
import math
import os
import tempfile
import unittest

import corveth
from support import ClientTest, DatabaseTest

Decimal = decimal.Decimal


def date(*parts):
    return datetime.datetime(*parts)


class Colour(enum.IntEnum):
    RED = 7


class Word(str):
    pass


class EchoTest(ClientTest):
    """A variant that comes back as it went out: what the data service returns for a Null value is the default."""

    def echo(self, value):
        return corveth.Dispatch("Corveth.DbService").ValueOrDefault(None, value)

    def test_values_come_back(self):
        long_text = "0123456789abcdef" * 5000
        cases = [
            ("None", None, None),
            ("true", True, True),
            ("false", False, False),
            ("zero", 0, 0),
            ("greatest", 2**31 - 1, 2**31 - 1),
            ("least", -(2**31), -(2**31)),
            ("enumeration member", Colour.RED, 7),
            ("float", 1 / 3, 1 / 3),
            ("empty text", "", ""),
            ("accents", "Bjørn Håkan Žižek", "Bjørn Håkan Žižek"),
            ("outside the basic plane", "a\U0001f600b", "a\U0001f600b"),
            ("beyond a frame's room", long_text, long_text),
            ("subclass of text", Word("word"), "word"),
            ("currency", Decimal("1234.5678"), Decimal("1234.5678")),
            ("least currency", Decimal("-922337203685477.5808"), Decimal("-922337203685477.5808")),
            ("half to even, down", Decimal("0.00005"), Decimal("0")),
            ("half to even, up", Decimal("0.00015"), Decimal("0.0002")),
            ("date", date(2024, 2, 29), date(2024, 2, 29)),
            ("milliseconds", date(2024, 2, 29, 23, 59, 59, 999000), date(2024, 2, 29, 23, 59, 59, 999000)),
            ("to the millisecond", date(2024, 2, 29, 12, 0, 0, 1400), date(2024, 2, 29, 12, 0, 0, 1000)),
            ("over midnight", date(2024, 2, 29, 23, 59, 59, 999900), date(2024, 3, 1)),
            ("time of day", date(1899, 12, 30, 6), date(1899, 12, 30, 6)),
            ("before the first day", date(1899, 12, 28, 18, 30), date(1899, 12, 28, 18, 30)),
            ("oldest", date(100, 1, 1), date(100, 1, 1)),
            ("last", date(9999, 12, 31, 23, 59, 59), date(9999, 12, 31, 23, 59, 59)),
            ("day without time", datetime.date(2024, 2, 29), date(2024, 2, 29)),
            ("no bytes", b"", b""),
            ("bytes", bytes(range(256)), bytes(range(256))),
            ("byte array", bytearray(b"ab\0c"), b"ab\0c"),
            ("every second byte", memoryview(b"a.b.c.")[::2], b"abc"),
        ]
        for name, given, expected in cases:
            with self.subTest(name):
                result = self.echo(given)
                self.assertEqual(result, expected)
                self.assertIs(type(result), type(expected))

    def test_texts_of_every_length_through_a_property(self):
        note = corveth.Dispatch("prjCorveth.Note")
        for length in (1, 249, 250, 251, 600, 1000, 1001, 2500, 3_000_000):
            for character in ("x", "\u00f8", "\U0001f600"):
                with self.subTest(length=length, character=character):
                    note.Title = character * length
                    self.assertEqual(note.Title, character * length)

    def test_bytes_of_five_megabytes(self):
        data = bytes(range(256)) * 20_480
        stream = corveth.Dispatch("ADODB.Stream")
        stream.Type = 1
        stream.Open()
        stream.Write(data)
        stream.Position = 0
        self.assertEqual(stream.Read(), data)

    def test_an_object_comes_back_as_itself(self):
        address = corveth.Dispatch("prjCorveth.Address")
        result = self.echo(address)
        self.assertEqual(result, address)
        self.assertIsNot(result, address)
        result.City = "Oslo"
        self.assertEqual(address.City, "Oslo")

    def test_what_has_no_automation_value(self):
        zoned = datetime.datetime(2024, 1, 1, tzinfo=datetime.timezone.utc)
        cases = [
            ("33 bits", 2**31, 6),
            ("negative 33 bits", -(2**31) - 1, 6),
            ("70 bits", 2**70, 6),
            ("very many bits", 1 << 100_000, 6),
            ("currency too big", Decimal("922337203685477.5808"), 6),
            ("currency with an exponent", Decimal("1E+999999"), 6),
            ("currency without a value", Decimal("NaN"), 6),
            ("infinite", math.inf, 6),
            ("before the year 100", date(99, 12, 31), 6),
            ("lone surrogate", "a\ud800", 5),
            ("text with NUL", "a\0b", 5),
            ("zone", zoned, TypeError),
            ("list", [1], TypeError),
            ("complex", 1j, TypeError),
            ("time", datetime.time(1), TypeError),
        ]
        for name, given, expected in cases:
            with self.subTest(name):
                if expected is TypeError:
                    with self.assertRaisesRegex(TypeError, "Default"):
                        self.echo(given)
                else:
                    with self.fails(expected, "Default"):
                        self.echo(given)
        self.assertEqual(self.echo("still alive"), "still alive")


class ConversionTest(DatabaseTest):
    """Values that a member or a column takes as its own type."""

    def setUp(self):
        super().setUp()
        self.conn.Execute("Create Table T(Id integer primary key, Txt char(20), Num integer, Dbl real, Bin blob,"
                          " Dat date, Flag boolean, Money currency)")  # fmt: skip

    def store(self, column, value):
        rs = corveth.Dispatch("ADODB.Recordset")
        rs.Open("Select * From T", self.conn, 1, 3)
        rs.AddNew()
        rs.Fields("Id").Value = rs.RecordCount + 1
        rs.Fields(column).Value = value
        rs.Update()
        rs.Close()
        rs.Open(f"Select {column} From T Where Id=(Select Max(Id) From T)", self.conn, 1, 3)
        return rs.Fields(column).Value

    def test_columns(self):
        cases = [
            ("Null", "Txt", None, None),
            ("Null number", "Num", None, None),
            ("text", "Txt", "æøå", "æøå"),
            ("number as text", "Num", "42", 42),
            ("double", "Dbl", 0.1, 0.1),
            ("date", "Dat", date(2007, 2, 13, 14, 5), date(2007, 2, 13, 14, 5)),
            ("date from its text", "Dat", "2007-02-13", date(2007, 2, 13)),
            ("flag", "Flag", True, True),
            ("any number is a flag", "Flag", 3, True),
            ("currency", "Money", Decimal("0.1"), Decimal("0.1")),
            ("bytes", "Bin", b"\0\xff", b"\0\xff"),
        ]
        for name, column, given, expected in cases:
            with self.subTest(name):
                result = self.store(column, given)
                self.assertEqual(result, expected)
                self.assertIs(type(result), type(expected))

    def test_none_by_the_type_that_is_taken(self):
        contact = corveth.Dispatch("prjCorveth.Contact")
        contact.HomeAddress = corveth.Dispatch("prjCorveth.Address")
        contact.HomeAddress = None  # an object: Nothing
        self.assertIsNone(contact.HomeAddress)
        contact.FirstName = "Kari"
        notes = corveth.Dispatch("prjCorveth.Notes")
        for name, assign in [
            ("property", lambda: setattr(contact, "FirstName", None)),
            ("enumeration", lambda: setattr(contact, "ContactType", None)),
            ("argument", lambda: notes.SetLinkFilter(None)),
            ("named argument", lambda: notes.SetLinkFilter(LinkId=None)),
        ]:
            with self.subTest(name), self.fails(94):
                assign()
        self.assertEqual(contact.FirstName, "Kari")
        notes.AddItem(None)  # Nothing: not added
        self.assertEqual(notes.Count, 0)

    def test_by_reference(self):
        affected = corveth.ByRef()
        self.conn.Execute("Insert Into T(Id, Txt) Values (1, 'a'), (2, 'b')", affected)
        self.assertEqual(affected.value, 2)
        self.conn.Execute("Delete From T Where Id=1", RecordsAffected=affected)
        self.assertEqual(affected.value, 1)
        text = corveth.ByRef("kept on failure")
        with self.fails(13):
            self.conn.Execute("Delete From T", Options=text)
        self.assertEqual(text.value, "kept on failure")

    def test_decimal_for_a_double_keeps_its_digits(self):
        with decimal.localcontext(prec=3):
            self.assertEqual(self.store("Money", Decimal("123456.7891")), Decimal("123456.7891"))


class RecordTest(unittest.TestCase):
    def test_fields(self):
        record = corveth.Record("tpInvoiceDetails", SlNo="1")
        record.Qty = 2.5
        self.assertEqual((record.slno, record.QTY), ("1", 2.5))
        record.qty = 3
        self.assertEqual(record, corveth.Record("TPINVOICEDETAILS", Qty=3, SlNo="1"))
        with self.assertRaisesRegex(AttributeError, "tpInvoiceDetails has no member 'Qyt'; the closest is 'Qty'"):
            record.Qyt


class FileTest(ClientTest):
    """Files come whole, with a record that no type library lists."""

    def test_file_comes_whole(self):
        service = corveth.Dispatch("Corveth.FileInfoService")
        content = bytes(range(256)) * 20480
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "Årsrapport.bin")
            with open(path, "wb") as file:
                file.write(content)
            self.assertEqual(bytes(service.Content(path)), content)
            properties = service.Properties(path)
            self.assertEqual((properties.Size, properties.FileName), (len(content), "Årsrapport.bin"))
            self.assertTrue(properties.TypeText)
            for wrong, number in ((path + ".not", 53), (folder, 75)):
                for ask in (service.Properties, service.Content):
                    with self.assertRaises(corveth.Error) as caught:
                        ask(wrong)
                    self.assertEqual(caught.exception.number, number)


if __name__ == "__main__":
    unittest.main()
