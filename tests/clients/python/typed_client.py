"""A client as a type checker sees it. The tests run it too: what the stubs promise is what the server does."""

from __future__ import annotations

from collections.abc import Iterator
from typing import Any, assert_type

import corveth
from corveth import ADODB, Corveth, prjCorveth
from corveth.prjCorveth import ctContactType


def open_database(connection_string: str) -> tuple[ADODB.Connection, prjCorveth.CRM]:
    conn = corveth.Dispatch("ADODB.Connection")
    conn.Open(connection_string)
    crm = corveth.Dispatch("prjCorveth.CRM")
    crm.UseConnection(None)
    crm.UseConnection(conn)
    return conn, crm


def save_contact(first_name: str, kind: ctContactType) -> str:
    contact = corveth.Dispatch("prjCorveth.Contact")
    contact.FirstName, contact.ContactType, contact.ShowInTaskList = first_name, kind, 1
    contact.OfficeAddress.City = "Oslo"
    contact.Picture = None
    contact.UpdateContact()
    service = corveth.Dispatch("Corveth.DbService")
    return service.LastId


def contacts(kind: ctContactType | int) -> list[str]:
    found = corveth.Dispatch("prjCorveth.Contacts")
    found.InitializeAsType(kind)
    first = found.MoveFirst()
    assert_type(first, prjCorveth.Contact)
    assert_type(iter(found), Iterator[prjCorveth.Contact])
    assert found.Item(1) == found(1) == first
    return [f"{contact.ToString}, {contact.OfficeAddress.City}" for contact in found][: len(found)]


def save_notes(link: str, *titles: str) -> list[str]:
    for title in titles:
        note = corveth.Dispatch("prjCorveth.Note")
        note.LinkId, note.Title = link, title
        note.Update()
    notes = corveth.Dispatch("prjCorveth.Notes")
    notes.SetLinkFilter(LinkId=link)
    notes.Populate()
    notes.Add("NT1", "", ParentType=corveth.ByRef("Contact"), Title="last", Note="")
    notes.Item(1).DeleteNote(bSelf=True)
    return [note.Title for note in notes]


def titles(conn: ADODB.Connection) -> list[Any]:
    rs = conn.Execute("Select Title From Notes Order By NoteId", corveth.Missing, 1)
    found = []
    while not rs.EOF:
        assert_type(rs("Title"), ADODB.Field)
        found += [rs.Fields("Title").Value, rs("Title").Name]
        rs.MoveNext()
    assert_type([field.Name for field in rs.Fields], list[str])
    return found


def others() -> str:
    details = corveth.Record("tpInvoiceDetails", SlNo="1", Qty=2)
    details.Rate = 1.5
    assert_type(details.Qty, float)
    any_class = corveth.Dispatch("prjCorveth." + "Note")
    assert_type(any_class, Any)
    desktop: Corveth.Desktop = corveth.Dispatch("Corveth.Desktop")
    try:
        any_class.Update()
    except corveth.Error as error:
        return f"{error.source}: {error.number}"
    return f"{desktop.Now:%Y} {details.SlNo}"


def refused(note: prjCorveth.Note, notes: prjCorveth.Notes, contact: prjCorveth.Contact) -> None:
    """What a type checker must refuse, never called: where it does not, the comment that expects it is an error."""
    print(note.Titel)  # type: ignore[attr-defined]
    note.Titel = "x"  # type: ignore[attr-defined]
    note.Updat()  # type: ignore[attr-defined]
    note.Title = 7  # type: ignore[assignment]
    notes.Count = 3  # type: ignore[misc]
    notes.SetLinkFilter()  # type: ignore[call-arg]
    notes.SetLinkFilter(LinkIdd="x")  # type: ignore[call-arg]
    notes.SetTypeFilter("Contact")  # type: ignore[arg-type]
    notes.AddItem(contact)  # type: ignore[arg-type]
    notes.Item("NT1")  # type: ignore[arg-type]
    contact.HomeAddress = note  # type: ignore[assignment]
    contact.Invoices.Count  # type: ignore[attr-defined]
    contact.Picture.Width  # type: ignore[union-attr]
    contact(1)  # type: ignore[operator]
    len(contact)  # type: ignore[arg-type]
    iter(note)  # type: ignore[call-overload]
    ctContactType.ctNobody  # type: ignore[attr-defined]
    prjCorveth.Nothing  # type: ignore[attr-defined]
    corveth.Record("tpInvoiceDetails", Quantity=2)  # type: ignore[call-arg]
    corveth.Record("tpInvoiceDetails").Quantity  # type: ignore[attr-defined]
    prjCorveth.Note()  # type: ignore[call-arg]
    corveth.Dispatch(7)  # type: ignore[call-overload]
