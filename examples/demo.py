"""Looks after the example customers through the automation server, as a client in Python does.

Usage: demo.py DATABASE (a file that does not exist yet)
"""

import inspect
import json
import pathlib
import sys
import textwrap
from collections.abc import Callable

import corveth

EXAMPLES = pathlib.Path(__file__).with_name("contacts.jsonl")
connection_string = f"Provider=SQLite;Data Source={sys.argv[1]}" if len(sys.argv) == 2 else sys.exit(__doc__)
conn: corveth.ADODB.Connection
crm: corveth.prjCorveth.CRM


def open_database() -> None:
    global conn, crm
    corveth.Dispatch("Corveth.Schema").Create(connection_string)
    conn = corveth.Dispatch("ADODB.Connection")
    conn.Open(connection_string)
    crm = corveth.Dispatch("prjCorveth.CRM")
    crm.UseConnection(conn)


def load_examples() -> None:
    service = corveth.Dispatch("Corveth.DbService")
    ids: dict[str | None, str] = {}
    conn.BeginTrans()
    for line in EXAMPLES.read_text(encoding="utf-8").splitlines():
        row = json.loads(line)
        record = corveth.Dispatch("prjCorveth." + row["class"])
        for name, value in row["set"].items():
            *path, last = name.split(".")
            target = record
            for part in path:
                target = getattr(target, part)
            if isinstance(value, str) and value.startswith("@"):
                value = value[1:] if value.startswith("@@") else ids[value[1:]]
            setattr(target, last, value)
        if row["class"] == "Contact":
            record.UpdateContact()
        else:
            record.Update()
        ids[row.get("as")] = service.LastId
    conn.CommitTrans()


def list_people() -> None:
    members = corveth.Dispatch("prjCorveth.Contacts")
    members.SetCompanyFilter("CM00000001")
    members.Populate()
    for member in members:
        print(member.ID, member.ToString, member.JobTitle, sep="  ")


def show_contact() -> None:
    contact = corveth.Dispatch("prjCorveth.Contact")
    contact.ID = "CN00000001"
    print(contact.ToString, contact.Company.ToString, contact.OfficeAddress.Email, sep="\n")
    notes = corveth.Dispatch("prjCorveth.Notes")
    notes.SetLinkFilter(contact.ID)
    notes.Populate()
    for position in range(1, notes.Count + 1):
        print(notes(position).ID, notes(position).Title, notes(position).Note, sep="  ")


def change_note() -> None:
    note = corveth.Dispatch("prjCorveth.Note")
    note.ID = "NT00000004"
    note.Populate()
    note.Title, note.Note = "Quote sent", "Nøstet walkway: 184 000 kr, valid until the end of the month."
    note.Update()
    rs = conn.Execute("Select Title, Note From Notes Where NoteId='NT00000004'")
    print(rs.Fields("Title").Value, rs.Fields("Note").Value, sep=": ")


def report_work() -> None:
    site = corveth.Dispatch("prjCorveth.ProjectTask")
    site.ItemType = corveth.prjCorveth.ptType.PROJECT
    site.Populate()
    site.ItemName = "New dimmer racks"
    site.Update()
    for name, hours in (("Take the old ones out", 8), ("Mount twelve racks", 24)):
        task = corveth.Dispatch("prjCorveth.ProjectTask")
        task.ParentId, task.ItemType = site.ID, corveth.prjCorveth.ptType.Task
        task.Populate()
        task.ItemName, task.PlannedWork = name, hours
        task.Update()
    task.ActualWorked = 20
    task.Update()
    site.Populate()
    print(f"{task.ItemName}: {task.CompletedPercentage:.1f} %, {task.RemainingWork:g} h remain")
    print(f"{site.ItemName}: {site.CompletedPercentage:.1f} % of {site.PlannedWork:g} h, "
          f"{site.PlannedDuration:g} working hours long")


def delete_company() -> None:
    company = corveth.Dispatch("prjCorveth.Contact")
    company.ID = "CM00000005"
    company.DeleteContact(True)
    companies = corveth.Dispatch("prjCorveth.Contacts")
    companies.InitializeAsType(corveth.prjCorveth.ctContactType.ctCompany)
    print(len(companies), "companies are left:", ", ".join(company.ToString for company in companies))


def run(step: Callable[[], None]) -> None:
    """Prints the lines of a step as one would type them, then does them."""
    source = textwrap.dedent("".join(inspect.getsourcelines(step)[0][1:]))
    print()
    for line in source.splitlines():
        if not line.startswith("global"):
            print("..." if line.startswith((" ", "else")) else ">>>", line)
    step()


for step in (open_database, load_examples, list_people, show_contact, change_note, report_work, delete_company):
    run(step)
