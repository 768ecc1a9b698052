#include "cli/commands.h"
#include "cli/names.h"
#include "cli/text_table.h"
#include "cli/value_text.h"
#include "common/late_bound.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <functional>
#include <string>

namespace corveth::cli {

namespace {

enum Status { done = 0, failed = 1, wrongUse = 2 };

constexpr const char* databaseHelp =
    "A database's file, or a connection string: Provider=PostgreSQL;Host=...;Database=...";
constexpr const char* classHelp = "A class: Contact, prjCorveth.Contact, ADODB.Recordset";

constexpr const char* valueHelp =
    "A value is a text; it is converted to what the member takes: numbers, True and False, dates (2024-01-31),\n"
    "names of enumerations (ctCompany), the key of a row where an object is wanted, a JSON object for a record.\n"
    "@file:PATH stands for what a file holds (a picture, bytes or text), @@ for a plain @.\n"
    "A dotted name goes through an object property: OfficeAddress.City=Oslo. -- ends the options.";

constexpr const char* jsonHelp =
    "In JSON, numbers, true, false and texts stand as such; Empty and Null are null, money is an exact text, a date "
    "an\n"
    "ISO text, bytes {\"bytes\": COUNT}, an object {\"object\": CLASS}, what fails {\"error\": {...}}.";

constexpr const char* loadHelp =
    "Each line is one JSON object, and the whole file is one transaction: a line that fails is named and undoes all.\n"
    "\n"
    "  {\"class\": \"Contact\", \"as\": \"acme\", \"set\": {\"ContactType\": 0, \"FirstName\": \"Acme\"}}\n"
    "  {\"class\": \"Contact\", \"set\": {\"ContactType\": 2, \"FirstName\": \"Kari\", \"Company.ID\": \"@acme\"}}\n"
    "\n"
    "class  the class of the record\n"
    "key    the key of a record that is there already; a new one without\n"
    "set    its properties, in order; a dotted name goes through an object property\n"
    "call   then these: [[\"METHOD\", ARGUMENT, ...], ...]; an object as an argument is a record's fields,\n"
    "       a dotted method is one of an object property\n"
    "as     a label for the key that the record gets\n"
    "\n"
    "A text @LABEL stands for a label's key, @file:PATH for what a file holds, @@ for a plain @.\n"
    "A new record takes its class's defaults before its properties.\n"
    "\n"
    "With --keep-keys the lines are what `corveth dump` wrote, of whatever engine, and the rows keep their keys; a "
    "key\n"
    "that is there already, or a dump that is cut off, undoes all.";

constexpr const char* dumpHelp =
    "A line says what it is, then each row is a JSON object on a line of its own, and the last line counts them:\n"
    "\n"
    "  {\"corveth\": \"dump\", \"format\": 1, \"schema\": 2}\n"
    "  {\"table\": \"Notes\", \"row\": {\"NoteId\": \"NT00000001\", \"Creation\": \"2024-02-29 10:00:00\"}}\n"
    "  {\"rows\": 1}\n"
    "\n"
    "All rows are of one moment, and nothing is rounded. A column that is left out is Null; an amount is a text, "
    "bytes\n"
    "are base64, a date is a text, or a day number where the text would not be exact.\n"
    "FILE gets its name when the dump is complete; a file that is there is replaced only when it is a dump or empty.";

constexpr const char* holidaysHelp =
    "Comma-separated values are a date (2024-12-25), a name and hours, which are 0 where there are none; a first line\n"
    "with the names of the fields (date, name, hours) may tell another order:\n"
    "\n"
    "  2024-12-25,Christmas Day\n"
    "  2024-12-24,\"Christmas Eve, shops close\",4\n"
    "\n"
    "Of an iCalendar file all-day events are taken, each of their days, and those that come back every year, for ten\n"
    "years from now where they have no end; events with times are passed over, as is a day that is named again.\n"
    "A day that the calendar has already is replaced. A line that cannot be understood is named and undoes all.\n"
    "\n"
    "A project that has days of its own is no longer planned with those of the default calendar.";

constexpr const char* extractHelp =
    "Without -o it goes to standard output or, when that is a terminal, to a file of the attachment's own name in the\n"
    "current folder. The file gets its name when it is complete; one that is there is kept unless --replace is given.";

constexpr const char* openHelp =
    "The copy is in a folder of your own; its path is printed, and the program goes on by itself. Without --save, what "
    "is\nchanged there stays there; `corveth set DB Attachment ATTACHMENT Data=@file:PATH` stores it.\n"
    "A program that hands the file to one that runs already ends at once: on a terminal you are asked when you have "
    "done.";

constexpr const char* treeHelp =
    "A row comes below its parent, in order of planned start; hours of work and of duration, the percentage that is "
    "done.\nRows that do not hang together with the rest come last, with a remark that says why.\n"
    "In JSON each item has its children in it, named as the members of ProjectTask; \"apart\" lists the others.";

constexpr const char* ganttHelp =
    "A row is drawn from its planned start to its planned finish, what is done in a stronger colour; days that are "
    "not\n"
    "worked on in the project's calendar are shaded. The picture is light or dark as its viewer is. A file that is\n"
    "there is kept unless --replace is given.";

constexpr const char* checkHelp =
    "link       a row whose link names nothing\n"
    "orphan     a row whose owner is gone\n"
    "duplicate  rows that are there twice\n"
    "counter    a counter behind the keys that it counts: for information, the next key puts it right\n"
    "integrity  what the engine finds wrong with the database\n"
    "\n"
    "The exit status is 1 when there are problems.";

/// The commands and their options; `request` receives what is parsed, `run` the command chosen.
class CommandLine {
public:
    CommandLine() : app_("Works with the records of a Corveth database through its automation server.", "corveth") {
        app_.set_version_flag("--version", "corveth " CORVETH_VERSION);
        app_.require_subcommand(1);
        app_.footer("Exit status: 0 done, 1 the operation failed, 2 wrong use.");
        addLibraryCommands();
        addRecordCommands();
    }

    void parse(int argc, char** argv) {
        if (argc > 1) requireCommand(argv[1]);
        std::vector<std::string> words;
        bool areOptionsOver = false;
        for (int i = 1; i < argc; ++i) {
            const std::string word = argv[i];
            if (!areOptionsOver && word == "--") {
                areOptionsOver = true;
            } else {
                words.push_back(areOptionsOver || needsMark(word) ? mark + word : word);
            }
        }
        std::ranges::reverse(words); // as the parser takes them
        app_.parse(words);
        for (std::string* text : {&request_.database, &request_.className, &request_.key, &request_.method,
                                  &request_.file, &request_.statement, &request_.output, &request_.today})
            unmark(*text);
        for (std::string& text : request_.arguments)
            unmark(text);
    }
    int reportHelp(const CLI::ParseError& error) { return app_.exit(error); }
    [[nodiscard]] Result run() const { return run_(request_); }

private:
    using Command = std::function<Result(const Request&)>;

    /// The parser itself would only say that a command is required.
    void requireCommand(const std::string& word) const {
        if (word.starts_with('-')) return;
        std::vector<std::string> names;
        for (const auto* sub : app_.get_subcommands([](const CLI::App*) { return true; })) {
            if (sub->get_name() == word) return;
            names.push_back(sub->get_name());
        }
        throw WrongUse("\"" + word + "\" is no command" + didYouMean(word, names));
    }

    CLI::App* add(const char* name, const char* what, Command command) {
        auto* sub = app_.add_subcommand(name, what);
        sub->callback([this, command = std::move(command)] { run_ = command; });
        return sub;
    }
    void addText(CLI::App* sub, const char* name, std::string& target, const char* what) {
        sub->add_option(name, target, what)->required()->type_name("");
    }
    void addTexts(CLI::App* sub, const char* name, const char* what) {
        sub->add_option(name, request_.arguments, what)
            ->expected(0, CLI::detail::expected_max_vector_size)
            ->type_name("");
    }
    void addJson(CLI::App* sub, const char* what = "Writes JSON") { sub->add_flag("--json", request_.asJson, what); }
    void addDatabase(CLI::App* sub) { addText(sub, "DB", request_.database, databaseHelp); }
    void addClass(CLI::App* sub) { addText(sub, "CLASS", request_.className, classHelp); }
    void addKey(CLI::App* sub, const char* what) { addText(sub, "KEY", request_.key, what); }

    void addLibraryCommands() {
        auto* sub = add("init", "Creates a database with its tables, a file or on a server; refuses one that has some",
                        initDatabase);
        addDatabase(sub);
        add("register", "Registers the server for the current user", registerServer);
        add("unregister", "Takes the registration out again", unregisterServer);
        sub = add("classes", "Lists the classes that can be created", listClasses);
        addJson(sub, "A JSON list");
        sub = add("introspect", "Lists a class's members in slot order: name, kind, parameters, types", introspect);
        addClass(sub);
        addJson(sub, "The class as `typelib --json` writes it");
        sub = add("typelib", "Writes the type library as interface-definition text", showTypeLibrary);
        addJson(sub, "The same for tools: classes, enumerations, records");
    }

    void addRecordCommands() {
        auto* sub = add("show", "Shows one record: every readable property", showRecord);
        addDatabase(sub);
        addClass(sub);
        addKey(sub, "The record's key");
        addJson(sub);
        sub->footer("Properties that hold objects are named, not read; bytes show their length.\n" +
                    std::string(jsonHelp));

        sub = add("set", "Sets properties, saves the record and prints its key", setRecord);
        addDatabase(sub);
        addClass(sub);
        addKey(sub, "The record's key; empty (\"\") for a new record");
        addTexts(sub, "NAME=VALUE", "A property and its value");
        sub->footer(std::string(valueHelp) + "\nNothing is saved when any of it fails.");

        sub = add("list", "Runs filters, populates a list and prints its members", listMembers);
        addDatabase(sub);
        addClass(sub);
        addTexts(sub, "MEMBER=ARGUMENT", "A filter to run, or a property to set, before");
        addJson(sub);
        sub->footer("Several arguments are separated by commas: MEMBER=A,B; the last one keeps its commas.\n"
                    "A filter that loads the list itself (InitializeAsType) is not followed by Populate.\n"
                    "The table leaves out columns that are empty in every row.\n" +
                    std::string(valueHelp) + "\n" + jsonHelp);

        sub = add("call", "Calls one method, in a transaction of its own, and prints its result", callMethod);
        addDatabase(sub);
        addClass(sub);
        addKey(sub, "The record's key; empty (\"\") for a new object");
        addText(sub, "METHOD", request_.method, "The method");
        addTexts(sub, "ARGUMENT", "Its arguments, in order");
        addJson(sub);
        sub->footer(std::string(valueHelp) + "\nA result that is an object is shown like a record.\n" + jsonHelp);

        sub = add("load", "Makes records from a file of JSON lines", loadFile);
        addDatabase(sub);
        addText(sub, "FILE", request_.file, "The file; - is standard input");
        sub->add_flag("--keep-keys", request_.keepsKeys, "Takes the rows of a dump, with their keys");
        addJson(sub, "Prints the number of records, and the key of each label");
        sub->footer(loadHelp);

        sub = add("dump", "Writes all rows as JSON lines that load --keep-keys takes", dumpRows);
        addDatabase(sub);
        sub->add_option("-o,--output", request_.output, "Writes to a file instead of standard output")
            ->type_name("FILE");
        sub->footer(dumpHelp);

        addAttachmentCommands();
        addProjectCommands();

        sub = add("holidays", "Puts days with hours of their own into a working calendar", loadHolidays);
        addDatabase(sub);
        addText(sub, "FILE", request_.file, "Comma-separated values or an iCalendar file; - is standard input");
        sub->add_option("PROJECT", request_.key, "The key of a project; else it is the default calendar")
            ->type_name("");
        addJson(sub);
        sub->footer(holidaysHelp);

        sub = add("sql", "Runs one statement through the data-access layer; rows come as a table", runStatement);
        addDatabase(sub);
        addText(sub, "STATEMENT", request_.statement, "The statement");
        addJson(sub);
        sub->footer(jsonHelp);

        sub = add("check", "Looks for rows that do not fit together; reads only", checkRows);
        addDatabase(sub);
        addJson(sub);
        sub->footer(checkHelp);
    }

    void addProjectCommands() {
        constexpr const char* item = "The key of a project, or of a group or task of one";
        auto* sub = add("tree", "Lists a project with its groups and tasks", showTree);
        addDatabase(sub);
        addText(sub, "PROJECT", request_.key, item);
        addJson(sub);
        sub->footer(treeHelp);

        sub = add("gantt", "Draws a project as a Gantt chart, in SVG", drawGantt);
        addDatabase(sub);
        addText(sub, "PROJECT", request_.key, item);
        sub->add_option("-o,--output", request_.output, "Writes to a file instead of standard output")
            ->type_name("FILE");
        sub->add_flag("--replace", request_.replaces, "Replaces a file that is there");
        sub->add_option("--today", request_.today, "The day that is marked as today, as 2026-11-23")->type_name("DATE");
        sub->footer(ganttHelp);
    }

    void addAttachmentCommands() {
        auto* sub = add("attach", "Keeps a file with an item and prints the attachment's key", attachFile);
        addDatabase(sub);
        addText(sub, "ITEM", request_.key, "The key of a contact, a company or whatever else the file belongs to");
        addText(sub, "FILE", request_.file, "The file, 5 MB at most");

        sub = add("attachments", "Lists the files that are kept with an item", listAttachments);
        addDatabase(sub);
        addText(sub, "ITEM", request_.key, "The key of the item");
        addJson(sub);

        sub = add("extract", "Writes an attachment to a file", extractAttachment);
        addDatabase(sub);
        addText(sub, "ATTACHMENT", request_.key, "The attachment's key");
        sub->add_option("-o,--output", request_.output, "The file, or a folder; - is standard output")
            ->type_name("FILE")
            ->check([](const std::string& name) { return std::string(name.empty() ? "no file is named" : ""); });
        sub->add_flag("--replace", request_.replaces, "Replaces a file that is there");
        sub->footer(extractHelp);

        sub = add("open", "Opens a copy of an attachment in the desktop's program for it", openAttachment);
        addDatabase(sub);
        addText(sub, "ATTACHMENT", request_.key, "The attachment's key");
        sub->add_flag("--save", request_.stores,
                      "Waits until the program ends, then stores the copy if it was changed");
        sub->footer(openHelp);
    }

    /// The parser takes a text in brackets apart as a list and, once an argument may be repeated, sends what follows
    /// `--` back to the command above; a mark before a text keeps it whole and in its place.
    static constexpr char mark = '\1';
    static bool needsMark(const std::string& word) { return word.starts_with('[') || word.starts_with(mark); }
    static void unmark(std::string& text) {
        if (text.starts_with(mark)) text.erase(0, 1);
    }

    CLI::App app_;
    Request request_;
    Command run_;
};

/// Every line of a description stands on its own; what else a terminal would obey is written as an escape.
void complain(std::string_view text) {
    std::string output = "corveth: ";
    while (!text.empty()) {
        const auto end = text.find('\n');
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r')) line.remove_suffix(1);
        output += onOneLine(line) + "\n";
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    std::fwrite(output.data(), 1, output.size(), stderr);
}

int misuse(const std::string& why) {
    complain(why + "\nSee corveth --help, corveth COMMAND --help.");
    return wrongUse;
}

int main(int argc, char** argv) {
    CommandLine commands;
    try {
        commands.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return commands.reportHelp(error);
        return misuse(error.what());
    } catch (const WrongUse& error) {
        return misuse(error.what());
    }
    try {
        const auto [output, complaint] = commands.run();
        const bool isWritten = std::fwrite(output.data(), 1, output.size(), stdout) == output.size();
        if (!isWritten || std::fflush(stdout) != 0) {
            complain("the result could not be written to standard output");
            return failed;
        }
        if (complaint.empty()) return done;
        complain(complaint);
        return failed;
    } catch (const WrongUse& error) {
        return misuse(error.what());
    } catch (const client::Failure& failure) {
        complain(failureText(failure));
        return failed;
    } catch (const std::exception& error) {
        complain(std::string("error 5 (corveth): ") + error.what());
        return failed;
    }
}

} // namespace

} // namespace corveth::cli

int main(int argc, char** argv) {
    try {
        return corveth::cli::main(argc, argv);
    } catch (...) { // memory is gone: there is none left to say more with
        std::fputs("corveth: out of memory\n", stderr);
        return 1;
    }
}
