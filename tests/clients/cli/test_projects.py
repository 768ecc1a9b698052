"""A project as a tree and as a chart: `tree` and `gantt`, on rows that statements have made."""

import contextlib
import datetime
import json
import pathlib
import re
import sqlite3
import unittest
import xml.etree.ElementTree as xml

from test_cli import CommandLine, run

EXAMPLES = pathlib.Path(__file__).parents[3] / "examples"
ROOT = "PT00000001"
SVG = "{http://www.w3.org/2000/svg}"
COLUMNS = {"name": "ItemName", "type": "ItemType", "start": "PlnStartDate", "finish": "PlnFinishDate",
           "duration": "PlnDuration", "work": "PlnWork", "worked": "ActWorkDuration", "percent": "PercCompleted",
           "users": "Users", "overrun": "ExptOverrun", "finished": "Finished", "project": "ProjectId"}


def day(text):
    """The day number of a date; None stays None."""
    return text and (datetime.date.fromisoformat(text) - datetime.date(1899, 12, 30)).days


def number(item):
    return f"PT{item:08}"


class Projects(CommandLine):
    """A test has a database of its own, with what it makes of the rows of one project."""

    def setUp(self):
        self.database = self.copy()

    def make(self, rows):
        """Rows of item, parent and columns; the items of the project with the key 1."""
        with contextlib.closing(sqlite3.connect(self.database)) as connection, connection:
            connection.execute("delete from Projects")
            for item, parent, given in rows:
                given = {"type": 2, "project": ROOT, **given}
                for name in ("start", "finish"):
                    if isinstance(given.get(name), str):
                        given[name] = day(given[name])
                columns = ["ID", "ParentID", *(COLUMNS[name] for name in given)]
                values = [number(item), parent if parent is None or isinstance(parent, str) else number(parent),
                          *given.values()]
                marks = ",".join("?" * len(values))
                connection.execute(f"insert into Projects ({','.join(columns)}) values ({marks})", values)

    def many(self, count):
        """`count` rows, in groups of eight tasks; a task a day."""
        rows = [(1, 1, {"type": 0, "name": "Root", "start": "2026-01-01", "finish": "2027-12-31"})]
        first = day("2026-01-01")
        for item in range(2, count + 1):
            isGroup = item % 9 == 2
            group = item if isGroup else item - (item - 2) % 9
            rows.append((item, 1 if isGroup else group, {"type": 1 if isGroup else 2, "name": f"Item {item}",
                                                         "start": first + item, "finish": first + item}))
        self.make(rows)

    def lines(self, *arguments):
        status, output, errors = run("tree", self.database, *arguments)
        self.assertEqual((status, errors), (0, ""))
        return output.splitlines()


SMALL = [
    (1, 1, {"type": 0, "name": "Walkway", "start": "2026-11-02", "finish": "2026-11-20", "duration": 120, "work": 88.5,
            "worked": 30, "percent": 33.333333, "users": 2.5, "overrun": 4}),
    (2, 1, {"type": 1, "name": "Prepare", "start": "2026-11-05", "finish": "2026-11-20"}),
    (3, 1, {"type": 1, "name": "漢字 pit", "start": "2026-11-02", "finish": "2026-11-04", "finished": -1}),
    (4, 2, {"name": "Same day, later key", "start": "2026-11-05", "finish": "2026-11-06"}),
    (5, 2, {"name": "No dates"}),
    (6, 2, {"name": "First\nof all", "start": 46331.5, "finish": "2026-11-06", "finished": -1}),
    (7, 3, {"name": ""}),
]


class Trees(Projects):
    def test_the_table(self):
        self.make(SMALL)
        lines = self.lines("pt00000001")
        self.assertEqual(lines[0].split(), "ID Name Type Start Finish Duration Work Done Percent Resources Overrun "
                                           "Finished".split())
        self.assertEqual([re.sub(" +", " ", line.removeprefix("PT0000000")) for line in lines[2:]], [
            "1 Walkway Project 2026-11-02 2026-11-20 120 88.5 30 33.33 2.5 4",
            "3 ├─ 漢字 pit Group 2026-11-02 2026-11-04 0 0 0 0 0 0 partly",
            "7 │ └─ (no name) Task 0 0 0 0 0 0",
            "2 └─ Prepare Group 2026-11-05 2026-11-20 0 0 0 0 0 0",
            "4 ├─ Same day, later key Task 2026-11-05 2026-11-06 0 0 0 0 0 0",
            "6 ├─ First\\nof all Task 2026-11-05 12:00:00 2026-11-06 0 0 0 0 0 0 yes",
            "5 └─ No dates Task 0 0 0 0 0 0",
        ])
        aligned = [line.index("2026-11-") for line in lines if "Group" in line]
        self.assertEqual(aligned[0] + 2, aligned[1], "a wide character takes two cells of a terminal, one of a text")
        self.assertEqual([line.split()[0] for line in self.lines(number(2))[2:]],
                         [number(item) for item in (2, 4, 6, 5)])

    def test_for_tools(self):
        self.make(SMALL)
        top = json.loads(run("tree", "--json", self.database, ROOT)[1])
        self.assertEqual([child["ItemName"] for child in top["children"]], ["漢字 pit", "Prepare"])
        self.assertEqual([child["ID"] for child in top["children"][1]["children"]], [number(4), number(6), number(5)])
        self.assertEqual(top["apart"], [])
        del top["children"], top["apart"]
        self.assertEqual(top, {
            "ID": ROOT, "ParentId": ROOT, "ItemName": "Walkway", "ItemType": 0, "PlannedStartDate": "2026-11-02",
            "PlannedFinishDate": "2026-11-20", "ActualStartDate": None, "ActualFinishDate": None,
            "PlannedDuration": 120.0, "PlannedWork": 88.5, "ActualWorked": 30.0, "RemainingWork": 0.0,
            "ExpectedOverrun": 4.0, "ResourceCount": 2.5, "CompletedPercentage": 33.333333, "Finished": False})

    def test_what_does_not_hang_together(self):
        """Every row comes once; those apart from the tree with a remark."""
        root = (1, 1, {"type": 0, "name": "Root"})
        other = (90, 90, {"type": 0, "name": "Other", "project": number(90)})
        missing = "its parent PT00000077 is not there"
        circle = "its parents go in a circle: PT00000003, PT00000004, PT00000003"
        for name, rows, asked, expected in [
            ("a parent that is not there", [root, (2, 77, {}), (3, 2, {})], 1, [(1, ""), (2, missing), (3, "")]),
            ("no parent", [root, (2, None, {}), (3, "", {})], 1, [(1, ""), (2, "has no parent"), (3, "has no parent")]),
            ("a circle", [root, (3, 4, {}), (4, 3, {}), (5, 4, {})], 1, [(1, ""), (3, circle), (4, ""), (5, "")]),
            ("below a circle, and earlier", [root, (2, 3, {"start": 1}), (3, 4, {}), (4, 3, {})], 1,
             [(1, ""), (3, circle), (2, ""), (4, "")]),
            ("a task that is its own parent", [root, (2, 2, {})], 1, [(1, ""), (2, "is its own parent")]),
            ("a circle that is asked for", [root, (3, 4, {}), (4, 3, {})], 3, [(3, circle), (4, "")]),
            ("a long circle", [root, *((item, item % 30 + 2, {}) for item in range(2, 32))], 1,
             [(1, ""), (2, "its parents go in a circle: PT00000002, PT00000004, PT00000006, PT00000008, PT00000010, "
                           "PT00000012, PT00000014, PT00000016, PT00000018, ...")]),
            ("of another project", [root, other, (2, 1, {"project": number(90)}), (3, 2, {"project": None})], 1,
             [(1, ""), (2, ""), (3, "")]),
            ("below a row of another project", [root, other, (2, 90, {})], 1,
             [(1, ""), (2, "its parent PT00000090 is not there")]),
            ("a project without a project", [(1, 1, {"type": 0, "project": None}), (2, 1, {})], 1, [(1, ""), (2, "")]),
        ]:
            with self.subTest(name):
                self.make(rows)
                _, _, *lines = self.lines(number(asked))
                told = [(int(line[2:10]), re.sub(r".*?((its|has|is) .*)?$", r"\1", line)) for line in lines]
                self.assertEqual(told[:len(expected)], expected)
                self.assertEqual(len({key for key, _ in told}), len(told))
        self.make([root, (2, 77, {"name": "Stray"}), (3, 2, {})])
        stray = json.loads(run("tree", "--json", self.database, ROOT)[1])["apart"]
        self.assertEqual([(row["ItemName"], row["remark"], len(row["children"])) for row in stray],
                         [("Stray", missing, 1)])

    def test_failures(self):
        self.make(SMALL)
        for command in ("tree", "gantt"):
            for row in [
                ("no such item", [command, "DB", "PT99999999"], 1, [],
                 ['error 3021 (ProjectTask): there is no project, group or task with the key "PT99999999"']),
                ("none", [command, "DB", ""], 1, [], ['with the key ""']),
                ("a quote", [command, "DB", "x' Or '1'='1"], 1, [], ["x' Or '1'='1"]),
                ("no database", [command, "nothing.db", ROOT], 1, [], ["nothing.db"]),
            ]:
                self.check(row, self.database)
        self.make([(1, 1, {"type": 0}), *((item, item - 1, {}) for item in range(2, 1100))])
        self.check(("too deep", ["tree", "DB", ROOT], 1, [], ["more than 1000 levels"]), self.database)

    def test_a_large_project_takes_few_statements(self):
        self.many(500)
        trace = self.folder / "trace"
        status, output, _ = run("tree", f'Provider=SQLite;Data Source="{self.database}";Trace File="{trace}"', ROOT)
        self.assertEqual(status, 0)
        self.assertEqual([line.split()[0] for line in output.splitlines()[2:]],
                         [number(item) for item in range(1, 501)])
        self.assertLessEqual(len(trace.read_text().splitlines()), 6)


class Charts(Projects):
    def chart(self, *arguments, asked=ROOT):
        status, output, errors = run("gantt", self.database, asked, *arguments)
        self.assertEqual((status, errors), (0, ""))
        return xml.fromstring(output)

    @staticmethod
    def rows(chart):
        return [group for group in chart.iter(SVG + "g") if "data-id" in group.attrib]

    @staticmethod
    def boxes(element, kind):
        """Left edges and widths."""
        return [(float(box.get("x")), float(box.get("width"))) for box in element.iter(SVG + "rect")
                if box.get("class") == kind]

    @staticmethod
    def words(element):
        return [text.text for text in element.iter(SVG + "text")]

    def test_bars(self):
        start = "2026-11-02"
        self.make([
            (1, 1, {"type": 0, "name": "Root", "start": start, "finish": "2026-11-20", "percent": 50}),
            (2, 1, {"type": 1, "name": "Group", "start": start, "finish": "2026-11-10", "finished": -1}),
            (3, 2, {"name": "one day", "start": start, "finish": start, "percent": 25}),
            (4, 2, {"name": "five days", "start": start, "finish": "2026-11-06", "percent": 99.99, "overrun": 12.5}),
            (5, 2, {"name": "finished", "start": day(start) + .7, "finish": day(start) + .2, "percent": 100,
                    "finished": -1}),
            (6, 2, {"name": "no dates", "percent": 30}),
            (7, 1, {"name": "no finish", "start": "2026-11-12"}),
            (8, 1, {"name": "backwards", "start": "2026-11-13", "finish": "2026-11-12"}),
            (9, 77, {"name": "apart", "start": 1e300, "finish": 1e300}),
        ])
        chart = self.chart("--today", "2026-11-09")
        rows = self.rows(chart)
        self.assertEqual([row.get("data-id") for row in rows], [number(item) for item in (1, 2, 3, 4, 5, 6, 7, 8, 9)])
        (left, width), = self.boxes(rows[2], "plan")
        for position, kind, days, done, marks, words in [
            (0, "project", None, 19 * .5, [], ["Root", "50 %"]),
            (1, "group", None, None, [], ["Group"]),
            (2, "task", 1, .25, [], ["one day", "25 %"]),
            (3, "task", 5, 5 * .9999, ["over"], ["five days", "99 %  +12.5 h"]),
            (4, "task", 1, 1, ["check"], ["finished"]),
            (5, "task", None, None, ["mark"], ["no dates", "no dates"]),
            (6, "task", None, None, ["mark"], ["no finish", "no finish"]),
            (7, "task", None, None, ["odd"], ["backwards", "finish before start"]),
            (8, "task apart", None, None, ["mark"], ["apart", "no dates"]),
        ]:
            row = rows[position]
            with self.subTest(row.get("data-id")):
                self.assertEqual(row.get("class"), kind)
                for name, expected in (("plan", days), ("done", done)):
                    found = self.boxes(row, name)
                    self.assertEqual(len(found), expected is not None, name)
                    for x, wide in found:
                        self.assertAlmostEqual(x, left, places=1)
                        self.assertAlmostEqual(wide, expected * width, delta=.02)
                shapes = [shape.get("class") for shape in row]
                self.assertEqual([shape for shape in shapes if shape in ("over", "check", "mark", "odd")], marks)
                self.assertEqual(self.words(row), words)
        brackets = [[path.get("class") for path in row.iter(SVG + "path")].count("plan") for row in rows]
        self.assertEqual(brackets, [1, 1, 0, 0, 0, 0, 0, 0, 0])
        today, = (float(line.get("x1")) for line in chart.iter(SVG + "line") if line.get("class") == "today")
        self.assertAlmostEqual(today, left + 7.5 * width, delta=.02)
        self.assertIn("PT00000004\n2026-11-02 to 2026-11-06\n0 h of 0 h of work done, 99 %, 12.5 h beyond the plan",
                      rows[3].find(SVG + "title").text)
        self.assertIn("its parent PT00000077 is not there", rows[8].find(SVG + "title").text)

    def test_days_that_are_not_worked_on(self):
        """The default calendar and the project's own, of each the pattern and the exceptions for themselves."""
        week = [(ROOT, "WH9", *hours) for hours in [(8, 8, 8, 0, 8, 8, 0.4)]]  # no Wednesdays, no Saturdays
        usual, own = [(None, "2026-11-05", 0), ("", "2026-11-07", 4)], [(ROOT, "2026-11-03", 0)]
        for name, weeks, days, expected in [
            ("the default", [], usual, [5, 8]),
            ("its own pattern", week, usual, [4, 5]),
            ("its own exceptions", [], own, [3, 7, 8]),
            ("both its own", week, own + usual, [3, 4, 7]),
            ("of another project", [("PT00000099", "WH9", *[0] * 7)], [("PT00000099", "2026-11-03", 0)], [7, 8]),
            ("the first row of a day", [], [(None, "2026-11-03", 0), (None, "2026-11-03", 8)], [3, 7, 8]),
            ("a time of day is of no whole day", [], [(None, day("2026-11-03") + .5, 0)], [7, 8]),
        ]:
            with self.subTest(name):
                self.make([(1, 1, {"type": 0, "name": "Root", "start": "2026-11-02", "finish": "2026-11-08"}),
                           (2, 1, {"name": "Task", "start": "2026-11-02", "finish": "2026-11-02"})])
                with contextlib.closing(sqlite3.connect(self.database)) as connection, connection:
                    connection.execute("delete from WorkingHours where Id = 'WH9'")
                    connection.execute("delete from Holidays")
                    connection.executemany("insert into WorkingHours values (?2,?3,?4,?5,?6,?7,?8,?9,?1)", weeks)
                    for key, date, hours in days:
                        connection.execute("insert into Holidays values (?,?,?,null)",
                                           (day(date) if isinstance(date, str) else date, hours, key))
                for asked in (ROOT, number(2)):
                    chart = self.chart("--today", "2026-11-02", asked=asked)
                    (left, width), = self.boxes(self.rows(chart)[-1], "plan")
                    legend, = (group for group in chart.iter(SVG + "g") if group.get("class") == "legend")
                    shaded = [2 + round((x - left) / width) + more for x, wide in self.boxes(chart, "off")
                              if (x, wide) not in self.boxes(legend, "off") for more in range(round(wide / width))]
                    self.assertEqual([number for number in shaded if 2 <= number <= 8], expected)

    def test_the_axis_follows_the_span(self):
        for name, start, finish, there, missing in [
            ("days", "2026-11-02", "2026-11-13", ["November 2026", "11"], ["Nov"]),
            ("weeks", "2026-11-02", "2027-03-26", ["November 2026", "February 2027", "9", "16"], ["10"]),
            ("months", "2026-01-01", "2028-12-31", ["2026", "2028", "Feb"], ["February"]),
            ("quarters", "2020-01-01", "2028-12-31", ["2020", "Q1", "Q4"], ["Jan"]),
            ("years", "1990-01-01", "2026-12-31", ["1990", "2026"], ["Q1"]),
            ("centuries", "0100-01-01", "9999-12-30", ["1000", "9000"], ["1001"]),
        ]:
            with self.subTest(name):
                self.make([(1, 1, {"type": 0, "name": "Root", "start": start, "finish": finish})])
                chart = self.chart("--today", start)
                words = self.words(chart)
                self.assertEqual([word for word in there if word not in words], [])
                self.assertEqual([word for word in missing if word in words], [])
                self.assertLess(float(chart.get("width")), 2200)

    def test_today(self):
        self.make([(1, 1, {"type": 0, "name": "Root", "start": "2026-11-02", "finish": "2026-11-20"})])
        for name, today, label, lines in [
            ("within", "2026-11-09", "today 2026-11-09", 1),
            ("a little later", "2026-12-02", "today 2026-12-02", 1),
            ("long after", "2030-01-01", "today 2030-01-01 →", 0),
            ("long before", "1999-01-01", "← today 1999-01-01", 0),
        ]:
            with self.subTest(name):
                chart = self.chart("--today", today)
                self.assertIn(label, self.words(chart))
                drawn = [line for line in chart.iter(SVG + "line") if line.get("class") == "today"]
                self.assertEqual(len(drawn), lines)
        for wrong in ("2026-13-01", "2026-02-30", "yesterday", "2026-11-09x", "1-1-1"):
            self.check((wrong, ["gantt", "DB", ROOT, "--today", wrong], 2, [], [f'"{wrong}" is no day']), self.database)

    def test_any_name_is_drawn(self):
        long = "Handrail drives with a long lead time, and spare parts for the north side 漢字漢字漢字漢字"
        for name, shown, told in [
            ("<b>&amp; \"it's\" ]]>", "<b>&amp; \"it's\" ]]>", None),
            ("bell\a, tab\t, escape\x1b[2J\r\n", "bell\\x07, tab\\t, escape\\x1b[2J\\r\\n",
             "bell\ufffd, tab\t, escape\ufffd[2J\r\n"),
            ("\ufffe\uffff and \U0010ffff", "\ufffd\ufffd and \U0010ffff", "\ufffd\ufffd and \U0010ffff"),
            (long, long[:30], None),
            ("", "(no name)", "(no name)"),
        ]:
            with self.subTest(name):
                self.make([(1, 1, {"type": 0, "name": name, "start": "2026-11-02", "finish": "2026-11-20"})])
                row, = self.rows(self.chart())
                self.assertTrue(self.words(row)[0].startswith(shown), self.words(row))
                self.assertEqual(row.find(SVG + "title").text.removesuffix(self.tail(row)), told or name)
        self.assertTrue(len(long) > 60)
        self.make([(1, 1, {"type": 0, "name": long})])
        self.assertTrue(self.words(self.rows(self.chart())[0])[0].endswith("…"))

    @staticmethod
    def tail(row):
        """What stands below the name."""
        text = row.find(SVG + "title").text
        return text[text.index("\nProject PT"):]

    def test_a_large_project(self):
        self.many(500)
        chart = self.chart("--today", "2026-03-01")
        self.assertEqual([row.get("data-id") for row in self.rows(chart)], [number(item) for item in range(1, 501)])
        self.assertLess(float(chart.get("height")), 500 * 20)
        self.assertLess(float(chart.get("width")), 2200)
        self.assertEqual(self.words(chart).count("2026"), 13, "the axis comes again every forty rows")

    def test_the_file(self):
        self.make(SMALL)
        there = self.folder / "there.svg"
        there.write_text("old")
        arguments = ["gantt", self.database, ROOT, "--today", "2026-11-09"]
        picture = run(*arguments)[1]
        self.assertTrue(picture.startswith("<svg") and picture.endswith("</svg>\n"))
        self.assertIn("@media (prefers-color-scheme: dark)", picture)
        for name, more, status, output, errors, content in [
            ("kept", ["-o", there], 1, "", "error 58 (corveth): File already exists", "old"),
            ("replaced", ["-o", there, "--replace"], 0, f"7 rows drawn in {there}\n", "", picture),
            ("standard output", ["--output", "-"], 0, picture, "", picture),
            ("no such folder", ["-o", self.folder / "none" / "x.svg"], 1, "", "No such file or directory", picture),
        ]:
            with self.subTest(name):
                result = run(*arguments, *map(str, more))
                self.assertEqual(result[:2], (status, output))
                self.assertIn(errors, result[2])
                self.assertEqual(there.read_text(encoding="utf-8"), content)


class Example(CommandLine):
    """The project that ships, loaded after the contacts."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.database = str(cls.folder / "example.db")
        for command in (["init", cls.database], ["load", cls.database, str(EXAMPLES / "contacts.jsonl")],
                        ["load", cls.database, str(EXAMPLES / "project.jsonl")]):
            status, _, errors = run(*command)
            assert status == 0, errors

    def test_its_figures_hang_together(self):
        top = json.loads(run("tree", "--json", self.database, ROOT)[1])
        self.assertEqual(top["apart"], [])
        groups = top["children"]
        tasks = [task for group in groups for task in group["children"]]
        self.assertEqual((len(groups), len(tasks)), (5, 30))
        methods = dict(self.rows(self.database, "select Id, CalcMethod from Projects"))
        self.assertEqual({methods[task["ID"]] for task in tasks}, {0, 1, 2, 3})
        for task in tasks:
            with self.subTest(task["ItemName"]):
                (share, allotted), = self.rows(self.database, f"select sum(Availability), sum(AllotedHrs) "
                                                              f"from Participants where LinkId = '{task['ID']}'")
                self.assertEqual(share, task["ResourceCount"] * 100)
                self.assertAlmostEqual(allotted, task["PlannedWork"], places=4)
                if methods[task["ID"]] != 3:
                    by_duration = task["ResourceCount"] * task["PlannedDuration"]
                    self.assertAlmostEqual(task["PlannedWork"], by_duration, places=4)
        for parent in (top, *groups):
            with self.subTest(parent["ItemName"]):
                below = parent["children"]
                for sums in ("PlannedWork", "ActualWorked", "RemainingWork", "ExpectedOverrun", "ResourceCount"):
                    self.assertAlmostEqual(parent[sums], sum(child[sums] for child in below), places=3, msg=sums)
                self.assertEqual(parent["PlannedStartDate"], min(child["PlannedStartDate"] for child in below))
                self.assertEqual(parent["PlannedFinishDate"], max(child["PlannedFinishDate"] for child in below))
        self.assertEqual(run("check", self.database)[:2], (0, "No problems found.\n"))

    def test_what_a_line_of_load_does_to_a_row_that_is_there(self):
        def rows():
            return self.rows(self.database, "select LinkId, ContactId, Role from Participants order by 1, 2") + \
                self.rows(self.database, "select Id, ItemName, Description from Projects order by 1")

        person = {"class": "Participant", "as": "who", "set": {"LinkId": number(31), "ID": "CN00000004"}}
        task = {"class": "ProjectTask", "key": number(31)}
        for name, lines, words in [
            ("by its key", [{**task, "key": number(31).lower(), "set": {"Description": "Mind the noise"}}], None),
            ("by a label", [person, {"class": "Participant", "key": "@who", "as": "again", "set": {"Role": "Guest"}},
                            {"class": "Participant", "key": "@again", "set": {"Comment": "Paid"}}], None),
            ("a method of an object property",
             [{**task, "call": [["Users.Remove", "CN00000004"], ["Users.UpdateParticipants"]]}], None),
            ("no such row", [{"class": "Note", "set": {"LinkId": "CN00000001"}}, {**task, "key": "PT99999999"}],
             "line 2: there is no ProjectTask with the key"),
            ("no such label", [{**task, "key": "@none"}], 'line 1: there is no label "none"'),
            ("an empty key", [{**task, "key": ""}], 'line 1: "key" must name a row'),
            ("a number", [{**task, "key": 31}], 'line 1: "key" must be a text'),
            ("no such property", [{**task, "call": [["Uses.Clear"]]}], "did you mean Users?"),
            ("a property that is no object", [{**task, "call": [["ItemName.Clear"]]}],
             "ProjectTask.ItemName is no object"),
            ("a removal without a key", [{**task, "call": [["ProjectCategory.DeleteType"]]}],
             "line 1: DeleteType needs the key of a row; this ProjectType has none"),
        ]:
            with self.subTest(name):
                before, notes = rows(), self.rows(self.database, "select count(*) from Notes")
                given = "\n".join(json.dumps(line) for line in lines)
                status, output, errors = run("load", self.database, "-", given=given)
                if words is None:
                    self.assertEqual((status, errors), (0, ""))
                    self.assertNotEqual(rows(), before)
                else:
                    self.assertEqual((status, output), (1, ""))
                    self.assertIn(words, errors)
                    self.assertEqual((rows(), self.rows(self.database, "select count(*) from Notes")), (before, notes))
        self.assertEqual(self.rows(self.database, f"select Description from Projects where Id = '{number(31)}'"),
                         [("Mind the noise",)])
        self.assertEqual(self.rows(self.database, "select * from Participants where ContactId = 'CN00000004'"), [])


if __name__ == "__main__":
    unittest.main()
