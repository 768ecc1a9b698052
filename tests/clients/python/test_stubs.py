"""The type stubs against the server that is running, and a client that is written against them."""

import ast
import collections.abc
import datetime
import decimal
import enum
import pathlib
import unittest

import corveth
import typed_client
from corveth.prjCorveth import ctContactType
from support import ClientTest, DatabaseTest

FOLDER = pathlib.Path(corveth.__file__).parent
LIBRARIES = ("prjCorveth", "ADODB", "Corveth")
NOT_IN_BUILD = 445


def parsed(module):
    return ast.parse((FOLDER / f"{module}.pyi").read_text(encoding="utf-8")).body


def classes(base):
    """The classes of the stubs that derive from `base`, by path."""
    return {
        f"{library}.{node.name}": node
        for library in LIBRARIES
        for node in parsed(library)
        if isinstance(node, ast.ClassDef) and ast.unparse(node.bases[0]) == base
    }


def parameters(function):
    """Names, with a question mark behind those that may be left out."""
    arguments = [argument.arg for argument in function.args.args[1:]]
    optional = len(function.args.defaults)
    return [name + "?" * (i >= len(arguments) - optional) for i, name in enumerate(arguments)]


def declared(cls):
    """By name: what a member is called with (None for a property), and whether it can be assigned."""
    members = {}
    for node in cls.body:
        if isinstance(node, ast.AnnAssign):
            members[node.target.id] = (None, True)
        elif isinstance(node, ast.FunctionDef) and not node.name.startswith("_"):
            members[node.name] = (None if node.decorator_list else parameters(node), False)
    return members


def served(wrapper):
    """The same as the object's own type description tells it."""
    members = {}
    for member in type(wrapper)._description.members:
        slot = member.reader
        params = slot.params if slot else []  # what can only be assigned has no reader
        called = [p.name + "?" * p.optional for p in params] if params or (slot and slot.flag == 1) else None
        members[member.name] = (called, any(flag in member.slots for flag in (4, 8)) and not params)
    return {name: member for name, member in members.items() if not name.startswith("_")}


def evaluated(annotation):
    names = {"corveth": corveth, "datetime": datetime, "decimal": decimal, "Any": object}
    text = "Iterator" if ast.unparse(annotation).startswith("Iterator[") else ast.unparse(annotation)
    return eval(text, names | {"Iterator": collections.abc.Iterator})


class StubTest(DatabaseTest):
    def objects(self):
        """One of each class that the stubs know, by path."""
        made = {"prjCorveth.CRM": self.crm, "ADODB.Connection": self.conn}
        rs = made["ADODB.Recordset"] = self.conn.Execute("Select 1 As One")
        made["ADODB.Fields"], made["ADODB.Field"] = rs.Fields, rs.Fields("One")
        stream = made["ADODB.Stream"] = corveth.Dispatch("ADODB.Stream")
        stream.Open()
        made["Corveth.Collection"] = corveth.Dispatch("prjCorveth.ProjectTypes").ProjectItems()
        found = {path: made.get(path) or corveth.Dispatch(path) for path in classes("corveth.Object")}
        # What a failure holds on to must not be the root object: its end would close a later test's connection.
        self.addCleanup(found.clear)
        self.addCleanup(made.clear)
        return found

    def test_dispatch_knows_the_creatable_classes(self):
        overloads = [node for node in parsed("__init__") if getattr(node, "name", "") == "Dispatch"]
        typed = {}
        for node in overloads:
            argument, result = ast.unparse(node.args.args[0].annotation), ast.unparse(node.returns)
            typed[argument] = result
        creatable = corveth.Dispatch("Corveth.TypeLibrary").ClassNames(True).split()
        self.assertGreater(len(creatable), 15)
        self.assertEqual(typed, {f"Literal['{path}']": path for path in creatable} | {"str": "Any"})

    def test_every_member_is_named_as_it_is_served(self):
        objects = self.objects()
        self.assertEqual(sorted(objects), sorted(corveth.Dispatch("Corveth.TypeLibrary").ClassNames().split()))
        for path, cls in classes("corveth.Object").items():
            with self.subTest(path):
                self.assertEqual(declared(cls), served(objects[path]))

    def test_values_have_the_declared_types(self):
        objects, read = self.objects(), 0
        for path, cls in classes("corveth.Object").items():
            for node in cls.body:
                if isinstance(node, ast.AnnAssign):
                    name, annotation = node.target.id, node.annotation
                elif isinstance(node, ast.FunctionDef) and node.decorator_list and node.name != "__call__":
                    name, annotation = node.name, node.returns
                else:
                    continue
                with self.subTest(f"{path}.{name}"):
                    if f"{path}.{name}" == "prjCorveth.ProjectTask.ParentId":
                        self.assertRaises(AttributeError, getattr, objects[path], name)  # it can only be assigned
                        continue
                    if ast.unparse(annotation) == "corveth.Object":
                        try:
                            self.assertIsNone(getattr(objects[path], name))
                        except corveth.Error as error:
                            self.assertEqual(error.number, NOT_IN_BUILD)
                        continue
                    self.assertIsInstance(getattr(objects[path], name), evaluated(annotation))
                    read += 1
        self.assertGreater(read, 100)

    def test_what_the_language_does_with_an_object(self):
        for path, wrapper in self.objects().items():
            protocol = {n.name for n in classes("corveth.Object")[path].body if getattr(n, "name", "").startswith("__")}
            for name, act in (("__len__", lambda: len(wrapper)), ("__iter__", lambda: list(wrapper))):
                with self.subTest(path + name):
                    if name in protocol:
                        act()
                    else:
                        self.assertRaises(TypeError, act)
            with self.subTest(path + "__call__"):
                self.assertEqual("__call__" in protocol, type(wrapper)._read_default is not None)


class NamesTest(ClientTest):
    def test_enumerations_are_those_of_the_stubs(self):
        stubs = classes("IntEnum")
        self.assertIn("prjCorveth.ctContactType", stubs)
        for path, cls in stubs.items():
            found = evaluated(ast.parse(f"corveth.{path}").body[0].value)
            values = {n.targets[0].id: n.value.value for n in cls.body if isinstance(n, ast.Assign)}
            with self.subTest(path):
                self.assertTrue(issubclass(found, enum.IntEnum))
                self.assertEqual({member.name: member.value for member in found}, values)

    def test_modules_hold_the_names_of_their_library(self):
        note = corveth.Dispatch("prjCorveth.Note")
        self.assertIsInstance(note, corveth.prjCorveth.Note)
        self.assertNotIsInstance(note, corveth.prjCorveth.Notes)
        self.assertIs(corveth.prjCorveth.Note, corveth.prjCorveth.Note)
        self.assertIs(corveth.prjCorveth.tpInvoiceDetails, corveth.Record)
        self.assertIn("Recordset", dir(corveth.ADODB))
        contact = corveth.Dispatch("prjCorveth.Contact")
        contact.ContactType = ctContactType.ctOthers
        self.assertEqual(contact.ContactType, ctContactType.ctOthers)
        for name, message in [
            ("Contct", "prjCorveth has no member 'Contct'; the closest is 'Contact'"),
            ("Recordset", "prjCorveth has no member 'Recordset'"),
            ("_hidden", "module 'corveth.prjCorveth' has no attribute '_hidden'"),
        ]:
            with self.subTest(name), self.assertRaisesRegex(AttributeError, message):
                getattr(corveth.prjCorveth, name)
        with self.assertRaisesRegex(TypeError, "made by corveth.Dispatch"):
            corveth.prjCorveth.Note()


class TypedClientTest(DatabaseTest):
    def test_runs_as_it_is_typed(self):
        self.crm = None  # its end closes the shared connection
        conn, self.crm = typed_client.open_database(self.connection_string)
        self.assertRegex(typed_client.save_contact("Kari", ctContactType.ctIndividual), "^CN0+1$")
        self.assertRegex(typed_client.save_contact("Ola", ctContactType.ctOthers), "^CN0+2$")
        self.assertEqual(typed_client.contacts(ctContactType.ctIndividual), ["Kari, Oslo", "Ola, Oslo"])
        self.assertEqual(typed_client.save_notes("CN00000001", "a", "b"), ["a", "b", "last"])
        self.assertEqual(typed_client.titles(conn), ["b", "Title"])
        self.assertRegex(typed_client.others(), r"^\d{4} 1$")


if __name__ == "__main__":
    unittest.main()
