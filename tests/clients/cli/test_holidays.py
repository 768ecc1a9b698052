"""Days with hours of their own: `holidays`."""

import datetime
import json

from test_cli import CommandLine, run

EPOCH = datetime.date(1899, 12, 30)


def event(*properties):
    return "\r\n".join(["BEGIN:VCALENDAR", "VERSION:2.0", "BEGIN:VEVENT", *properties, "END:VEVENT", "END:VCALENDAR", ""])


class Holidays(CommandLine):
    def days(self, database, project=None):
        """Day, hours and name of a calendar's rows."""
        rows = self.rows(database, "select excDate, WorkingHour, Description, ProjectId from Holidays order by 1, rowid")
        return [(str(EPOCH + datetime.timedelta(day)), hours, name) for day, hours, name, key in rows if key == project]

    def test_what_files_say(self):
        yearly = "RRULE:FREQ=YEARLY"
        for name, text, expected, passed in [
            ("a date and a name", "2024-12-25,Christmas Day\n", [("2024-12-25", 0, "Christmas Day")], 0),
            ("a first line with names", "date,name\r\n2024-12-25,Christmas\r\n", [("2024-12-25", 0, "Christmas")], 0),
            ("in another order", "Hours,NAME,country,date\n4,Eve,NO,2024-12-24\n", [("2024-12-24", 4, "Eve")], 0),
            ("hours, quotes and blanks", '\ufeff2024-12-24 , "Eve, ""half""" , 4\n\n',
             [("2024-12-24", 4, 'Eve, "half"')], 0),
            ("a day alone", "2024-02-29", [("2024-02-29", 0, "")], 0),
            ("a quote", "2024-07-04,People's Day", [("2024-07-04", 0, "People's Day")], 0),
            ("a day named again", "2024-12-25,Christmas\n2024-12-25,Jul\n", [("2024-12-25", 0, "Christmas")], 1),
            ("nothing", "", [], 0),
            ("an all-day event", event("DTSTART;VALUE=DATE:20241225", "SUMMARY:Christmas\\, first\\nday\\\\n"),
             [("2024-12-25", 0, "Christmas, first day\\n")], 0),
            ("a folded line", event("DTSTART;VALUE=DATE:2024", " 1225", "SUMMARY:Christ", "\tmas"),
             [("2024-12-25", 0, "Christmas")], 0),
            ("several days, the end is the day behind", event("DTSTART:20241230", "DTEND;VALUE=DATE:20250102"),
             [("2024-12-30", 0, ""), ("2024-12-31", 0, ""), ("2025-01-01", 0, "")], 0),
            ("a length", event("DTSTART:20241231", "DURATION:P2D"), [("2024-12-31", 0, ""), ("2025-01-01", 0, "")], 0),
            ("a time", event("DTSTART;TZID=\"a:b\":20241225T080000", "DTEND:20241225T090000"), [], 1),
            ("cancelled", event("DTSTART:20241225", "STATUS:CANCELLED"), [], 1),
            ("an alarm's own properties", event("DTSTART:20241225", "BEGIN:VALARM", "SUMMARY:ring", "END:VALARM"),
             [("2024-12-25", 0, "")], 0),
            ("every year until", event("DTSTART:20230101", yearly + ";UNTIL=20251231T000000Z"),
             [("2023-01-01", 0, ""), ("2024-01-01", 0, ""), ("2025-01-01", 0, "")], 0),
            ("but for one", event("DTSTART:20230101", yearly + ";COUNT=3", "EXDATE;VALUE=DATE:20240101"),
             [("2023-01-01", 0, ""), ("2025-01-01", 0, "")], 0),
            ("a leap day", event("DTSTART:20200229", yearly + ";COUNT=2"),
             [("2020-02-29", 0, ""), ("2024-02-29", 0, "")], 0),
            ("a fourth Thursday", event("DTSTART:20241128", yearly + ";COUNT=2;BYMONTH=11;BYDAY=4TH"),
             [("2024-11-28", 0, ""), ("2025-11-27", 0, "")], 0),
            ("a last Monday, every second year", event("DTSTART:20240527", yearly + ";INTERVAL=2;BYDAY=-1MO;BYMONTH=5;"
                                                       "COUNT=2"),
             [("2024-05-27", 0, ""), ("2026-05-25", 0, "")], 0),
        ]:
            with self.subTest(name):
                database = self.copy()
                loaded = f"{len(expected)} {'day' if len(expected) == 1 else 'days'} loaded"
                self.assertEqual(run("holidays", database, "-", given=text),
                                 (0, f"{loaded}, 0 replaced, {passed} passed over\n", ""))
                self.assertEqual(self.days(database), expected)

    def test_an_event_without_an_end_comes_back_for_ten_years(self):
        database = self.copy()
        run("holidays", database, "-", given=event("DTSTART:20200101", "RRULE:FREQ=YEARLY"))
        last = datetime.date.today().year + 10
        self.assertEqual([day for day, _, _ in self.days(database)], [f"{year}-01-01" for year in range(2020, last + 1)])

    def test_a_line_that_is_wrong_changes_nothing(self):
        good = "2024-12-25,Christmas\n"
        for name, text, words in [
            ("no date", good + "2024-13-01,x", 'line 2: "2024-13-01" is no date; dates are written 2024-12-25'),
            ("another form", good + "12/26/2024,x", "line 2: \"12/26/2024\" is no date"),
            ("no such day", good + "2023-02-29,x", "line 2"),
            ("hours", good + "2024-12-24,x,7.5", 'line 2: "7.5" is no number of hours'),
            ("too many", good + "2024-12-24,x,25", 'line 2: "25"'),
            ("below none", good + "2024-12-24,x,-1", 'line 2: "-1"'),
            ("a comma", good + "2024-12-24,Eve, half,4", "line 2: there are 4 fields"),
            ("a quote", good + '2024-12-24,"Eve', "line 2: a quote is not closed"),
            ("other hours", good + "\n2024-12-25,Jul,4\n", "line 3: 2024-12-25 has 0 hours in line 1 and 4 here"),
            ("no text", good + "2024-12-24,\udcff\n", "line 2"),
            ("a file cut off", event("DTSTART:20241225")[:-30], "the file ends before"),
            ("no start", event("SUMMARY:x"), "line 3: the event has no DTSTART"),
            ("no day", event("DTSTART:20240230"), 'line 4: "20240230" is no day'),
            ("an end before", event("DTSTART:20241225", "DTEND:20241224"), "line 5: an event of -1 days"),
            ("no property", event("DTSTART:20241225", "Christmas"), 'line 5: "Christmas" is no property'),
            ("every month", event("DTSTART:20241225", "RRULE:FREQ=MONTHLY"), 'line 5: the rule "FREQ=MONTHLY"'),
            ("a rule's other part", event("DTSTART:20241225", "RRULE:FREQ=YEARLY;BYWEEKNO=2"), "line 5: the rule"),
            ("a day of every month", event("DTSTART:20241225", "RRULE:FREQ=YEARLY;BYMONTHDAY=1"), "line 5: the rule"),
            ("a day and a weekday", event("DTSTART:20241225", "RRULE:FREQ=YEARLY;BYMONTH=11;BYDAY=1TH;BYMONTHDAY=5"),
             "line 5: the rule"),
            ("beyond the last date", event("DTSTART:99991231", "DURATION:P5D"), "goes on beyond the year 9999"),
            ("days without end", event("DTSTART:10000101", "DURATION:P366D", "RRULE:FREQ=YEARLY;COUNT=9000"),
             "line 3: these are more than 100000 days"),
            ("further days", event("DTSTART:20241225", "RDATE:20241226"), "line 5: RDATE"),
            ("crossed", event("BEGIN:VALARM", "DTSTART:20241225"), "line 6: VEVENT ends"),
        ]:
            with self.subTest(name):
                database = self.copy()
                file = self.folder / "wrong"
                file.write_text(text, encoding="utf-8", errors="surrogateescape", newline="")
                before = self.dump(database)
                status, output, errors = run("holidays", database, str(file))
                self.assertEqual((status, output), (1, ""))
                self.assertIn(words, errors)
                self.assertEqual(self.dump(database), before)

    def test_days_that_are_there_are_replaced_in_their_calendar_only(self):
        database = self.copy()
        self.change(database, "insert into Projects (Id, ItemName) values ('PT00000001', 'Lift')")
        self.change(database, "insert into Holidays values (45651, 3, 'PT00000001', 'own'), (45651, 3, '', 'empty'), "
                              "(45651, 3, null, 'twice'), (45651.5, 3, null, 'noon'), (45652, 3, null, 'other')")
        file = self.folder / "days.csv"
        file.write_text("date,name,hours\n2024-12-25,Christmas\n2024-12-31,Eve,4\n", encoding="utf-8")
        status, output, errors = run("holidays", "--json", database, str(file))
        self.assertEqual((status, json.loads(output), errors), (0, {"loaded": 2, "replaced": 1, "passedOver": 0}, ""))
        self.assertEqual(self.rows(database, "select excDate, WorkingHour, Description from Holidays "
                                             "where ProjectId is null order by 1"),
                         [(45651, 0, "Christmas"), (45651.5, 3, "noon"), (45652, 3, "other"), (45657, 4, "Eve")])
        self.assertEqual(self.days(database, "PT00000001"), [("2024-12-25", 3, "own")])
        self.assertEqual(self.days(database, ""), [])

        self.assertEqual(run("holidays", database, str(file), "pt00000001")[1],
                         "2 days loaded, 1 replaced, 0 passed over\n")
        self.assertEqual(self.days(database, "PT00000001"), [("2024-12-25", 0, "Christmas"), ("2024-12-31", 4, "Eve")])
        self.assertEqual(len(self.rows(database, "select 1 from Holidays")), 6)

        before = self.dump(database)
        status, output, errors = run("holidays", database, str(file), "PT00000009")
        self.assertEqual((status, output), (1, ""))
        self.assertIn('there is no project with the key "PT00000009"', errors)
        self.assertEqual(self.dump(database), before)


if __name__ == "__main__":
    import unittest
    unittest.main()
