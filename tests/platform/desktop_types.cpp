#include "platform/desktop/desktop_entry.h"
#include "platform/desktop/file_type.h"
#include "platform/desktop/gio.h"
#include "platform/desktop/mime_database.h"
#include "services/standard_file_info_service.h"

#include "platform/desktop_support.h"
#include "platform/outcome.h"

#include <bit>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace corveth;
using namespace corveth::test;
using namespace std::string_literals;

namespace {

namespace fs = std::filesystem;

/// GIO looks at the folders that the environment names once in the life of a process: before a test changes them.
void settleGio() {
    if (const Gio* const gio = Gio::find()) static_cast<void>(gio->typeOf("a.txt", {}, false));
}

bool hasDatabase() {
    return !typeComment("text/plain").empty();
}
constexpr const char* noDatabase = "the package shared-mime-info is not installed";

class FileTypes : public testing::Test {
protected:
    FileTypes() { settleGio(); }

    TemporaryFolder folder_;
    const ScopedVariable language_{"LANGUAGE", "en"};
};

TEST_F(FileTypes, AreTheSameByBothWays) {
    if (!hasDatabase()) GTEST_SKIP() << noDatabase;
    struct Row {
        const char* name;
        Text file;
        Text content;
        const char* expected; ///< the type where every version of the database agrees
    };
    const Text png = "\x89PNG\r\n\x1a\n\0\0\0\rIHDR"s;
    const Row rows[] = {
        {"text", "a.txt", "hello\n", "text/plain"},
        {"capitals", "A.TXT", "hello\n", "text/plain"},
        {"picture", "a.png", png, "image/png"},
        {"picture without a name for it", "picture", png, "image/png"},
        {"a name outweighs the content", "a.png", "hello\n", "image/png"},
        {"printed", "a.pdf", "%PDF-1.7\n", "application/pdf"},
        {"printed, by content", "print", "%PDF-1.7\n", "application/pdf"},
        {"by content further in", "archive", Text(257, '\0') + "ustar\0"s + "00" + Text(300, '\0'),
         "application/x-tar"},
        {"longest extension", "a.tar.gz", "\x1f\x8b", "application/x-compressed-tar"},
        {"a name of its own", "Makefile", "all:\n", "text/x-makefile"},
        {"a pattern", "README.md.de", "hello\n", nullptr},
        {"case that matters", "a.C", "int x;\n", "text/x-c++src"},
        {"case that matters, small", "a.c", "int x;\n", "text/x-csrc"},
        {"two types for a name", "a.ogg", "OggS", nullptr},
        {"two types for a name and no bytes", "a.ts", "", nullptr},
        {"page", "a.html", "<!DOCTYPE html><html></html>", "text/html"},
        {"strict page", "a.html", "<?xml version=\"1.0\"?><html xmlns=\"http://www.w3.org/1999/xhtml\"/>", nullptr},
        {"program", "run.EXE", "MZ", nullptr},
        {"library", "a.dll", "MZ", nullptr},
        {"document", "letter.odt", "", "application/vnd.oasis.opendocument.text"},
        {"program for a shell, by content", "start", "#!/bin/sh\necho\n", "application/x-shellscript"},
        {"a link to a program must say so", "pretty.jpg.", "[Desktop Entry]\nType=Application\n", "text/plain"},
        {"unknown name, text", "a.no-such-extension", "hello\n", "text/plain"},
        {"unknown name, bytes", "a.no-such-extension", "\0\1\2\3"s, "application/octet-stream"},
        {"empty", "nothing", "", "application/x-zerosize"},
        {"hidden", ".png", "x", "image/png"},
        {"an option", "-rf", "hello\n", "text/plain"},
    };
    const Gio* const gio = Gio::find();
    for (const Row& row : rows) {
        const Text own = typeInDatabase(row.file, row.content, true);
        EXPECT_EQ(own, row.expected != nullptr ? row.expected : own) << row.name;
        EXPECT_EQ(gio != nullptr ? gio->typeOf(row.file, row.content, true) : own, own) << row.name;
        const Text path = writeFile(folder_.file(row.file), row.content);
        EXPECT_EQ(fileTypeText(path), typeComment(own)) << row.name;
    }
}

TEST_F(FileTypes, AreCalledByTheirNameInTheUsersLanguage) {
    if (!hasDatabase()) GTEST_SKIP() << noDatabase;
    struct Row {
        const char* language;
        const char* expected;
    };
    const Row rows[] = {
        {"en", "PNG image"},       {"C", "PNG image"},      {"de", "PNG-Bild"},  {"de_AT.UTF-8@euro", "PNG-Bild"},
        {"xx:fr:de", "image PNG"}, {"pt_BR", "Imagem PNG"}, {"xx", "PNG image"},
    };
    for (const Row& row : rows) {
        const ScopedVariable language("LANGUAGE", row.language);
        EXPECT_EQ(typeComment("image/png"), row.expected) << row.language;
    }
    EXPECT_EQ(typeComment("text/x-no-such-type"), "");
    EXPECT_EQ(typeComment("../mime/image/png"), "");
}

TEST_F(FileTypes, AreReadFromTheUsersFolderFirst) {
    const Text shared = folder_.file("shared");
    const Text own = folder_.file("own");
    writeFile(shared + "/mime/globs2",
              "# made by hand\n50:text/x-shared:*.x\n60:text/x-likelier:*.y\n50:text/x-own:*.y\n");
    writeFile(own + "/mime/globs2", "50:text/x-own:*.own\nbroken\n50:text/x-own:[0-9]*.log\n");
    writeFile(shared + "/mime/text/x-own.xml", "<comment>of all</comment>");
    writeFile(own + "/mime/text/x-own.xml", "<comment xml:lang=\"de\">&lt;meins&gt; &amp;amp;</comment>");
    writeFile(own + "/mime/magic", "MIME-Magic\0\n[50:text/x-own]\n>2=\0\2AB\n1>8=\0\1C+4\n[40:text/x-word]\n"
                                   ">0=\0\2\x12\x34&\0\xFF~2\n[60:text/x-far]\n>18446744073709551614=\0\2zz\n"
                                   ">9=\0\2zz+18446744073709551615\n[99:text/x-cut]\n>0=\0\xFFshort"s);
    const ScopedVariable home("XDG_DATA_HOME", own);
    const ScopedVariable folders("XDG_DATA_DIRS", "relative:" + shared + ":" + folder_.file("none"));
    struct Row {
        const char* name;
        Text file;
        Text beginning;
        const char* expected;
    };
    const Row rows[] = {
        {"shared", "a.x", "", "text/x-shared"},
        {"own", "a.own", "", "text/x-own"},
        {"likelier", "a.y", "hello", "text/x-likelier"},
        {"pattern", "7.log", "", "text/x-own"},
        {"no pattern", "a.log", "hello", "text/plain"},
        {"bytes at their place", "a", "..AB....C", "text/x-own"},
        {"within some places", "a", "..AB.......C", "text/x-own"},
        {"behind them", "a", "..AB........C", "text/plain"},
        {"one of two parts", "a", "..AB.....", "text/plain"},
        {"masked, in the order of this machine", "a", std::endian::native == std::endian::little ? "\x34x" : "x\x34",
         "text/x-word"},
        {"beginning cut short", "a", "..A", "text/plain"},
        {"a place beyond every file", "a", "zz", "text/plain"},
        {"places up to the end of every file", "a", "..........zz", "text/x-far"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(typeInDatabase(row.file, row.beginning, true), row.expected) << row.name;
    EXPECT_EQ(typeComment("text/x-own"), "of all") << "the user's folder has no English one";
    const ScopedVariable german("LANGUAGE", "de");
    EXPECT_EQ(typeComment("text/x-own"), "<meins> &amp;");
}

TEST_F(FileTypes, AreCalledByTheExtensionWithoutADatabase) {
    const ScopedVariable home("XDG_DATA_HOME", folder_.file("none"));
    const ScopedVariable folders("XDG_DATA_DIRS", folder_.file("none"));
    struct Row {
        const char* path;
        const char* expected;
    };
    const Row rows[] = {
        {"/x/report.txt", "TXT File"}, {"/x.y/report", "File"}, {".profile", "File"}, {"a.", "File"},
        {"a.åb", "åB File"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(fileTypeText(row.path), row.expected) << row.path;
}

// The programs of a test are scripts in a folder of its own.
class DesktopEntries : public testing::Test {
protected:
    DesktopEntries() {
        settleGio();
        for (const char* const name : {"viewer", "a folder/editor"})
            writeScript(programs_ + "/" + name, "");
    }

    TemporaryFolder folder_;
    const Text programs_ = folder_.file("programs");
    const ScopedVariable path_{"PATH", programs_ + ":/usr/bin:/bin"};
};

TEST_F(DesktopEntries, GiveTheCommandBeforeTheFile) {
    const Text viewer = programs_ + "/viewer";
    const Text editor = programs_ + "/a folder/editor";
    const Text entry = folder_.file("tried.desktop");
    struct Row {
        const char* name;
        Text lines;
        Text expected;
    };
    const Row rows[] = {
        {"in PATH", "Exec=viewer %f", viewer},
        {"full path with arguments", "Exec=" + viewer + " --new -x %U", viewer + " --new -x"},
        {"blanks", "Exec=\"" + editor + "\" \"--title=a b\" \"\" %u", "\"" + editor + "\" \"--title=a b\" \"\""},
        {"no place for the file", "Exec=viewer -n", viewer + " -n"},
        {"quotes and backslashes", R"(Exec=viewer "a\\"b" 'c d' e\\\\f %F)", viewer + R"( "a\"b" "c d" e\f)"},
        {"codes", "Exec=viewer 100%% %c %k %i %f", viewer + " 100% Viewer " + entry + " --icon eye"},
        {"codes of old", "Exec=viewer %d %m -%D %f", viewer + " -"},
        {"spaces and comments", "# Exec=no\n Exec = viewer %f ", viewer},
        {"another group's", "Exec=viewer %f\n[Desktop Action new]\nExec=other %f", viewer},
        {"arguments behind the file", "Exec=viewer %f --now", ""},
        {"the file as part of one", "Exec=viewer --file=%f", ""},
        {"two files", "Exec=viewer %f %f", ""},
        {"file forwarding", "Exec=viewer run --file-forwarding org.x @@u %U @@", ""},
        {"an unknown code", "Exec=viewer %z %f", ""},
        {"an open quote", "Exec=viewer \"a %f", ""},
        {"started by a message", "DBusActivatable=true", ""},
        {"a terminal", "Exec=viewer %f\nTerminal=true", ""},
        {"a folder of its own", "Exec=viewer %f\nPath=/opt", ""},
        {"not installed", "Exec=no-such-program %f", ""},
        {"not installed, full path", "Exec=/no/such/program %f", ""},
        {"a folder is no program", "Exec=/usr %f", ""},
        {"what it tries is not installed", "TryExec=no-such-program\nExec=viewer %f", ""},
        {"taken away by the user", "Exec=viewer %f\nHidden=true", ""},
        {"no application", "Exec=viewer %f\nType=Link", ""},
        {"nothing", "", ""},
    };
    const ScopedVariable language("LANGUAGE", "en");
    for (const Row& row : rows) {
        writeFile(entry, "[Desktop Entry]\nType=Application\nName=Viewer\nIcon=eye\n" + row.lines + "\n");
        const Text command = commandOfEntry(entry);
        EXPECT_EQ(command, row.expected) << row.name;
        EXPECT_EQ(splitCommandLine(command).empty(), command.empty()) << row.name;
    }
    EXPECT_EQ(commandOfEntry(folder_.file("missing.desktop")), "");

    writeFile(entry, "[Desktop Entry]\nType=Application\nName=Viewer\nName[de]=Große Lupe\nExec=viewer %c\n");
    const ScopedVariable german("LANGUAGE", "de");
    EXPECT_EQ(commandOfEntry(entry), viewer + " \"Große Lupe\"");
}

struct Association {
    const char* file;
    const char* entry;
};
/// What the folders that the next test makes say; all of these types are in every version of the database.
const Association associations[] = {
    {"chosen.txt", "chosen"},    {"fallback.png", "second"}, {"desktop.gif", "ofdesktop"}, {"added.pdf", "added"},
    {"removed.jpg", "third"},    {"cached.svg", "cached"},   {"parent.c", "chosen"},       {"below.zip", "kde/below"},
    {"shared.css", "sharedone"}, {"none.mp3", ""},           {"hidden.xml", ""},           {"alias.gz", "third"},
};

void expectAssociations(const Text& folder) {
    const Gio* const gio = Gio::find();
    for (const Association& row : associations) {
        const Text type = typeInDatabase(row.file, {}, true);
        const Text own = commandOfEntry(entryInFiles(type));
        Text expected;
        if (*row.entry != '\0') expected = fmt::format("{}/programs/viewer --{}", folder, row.entry);
        EXPECT_EQ(own, expected) << row.file << ", a " << type;
        EXPECT_EQ(gio != nullptr ? commandOfEntry(gio->entryFor(type)) : expected, expected) << row.file << ", by GIO";
        EXPECT_EQ(associatedProgram(folder + "/" + row.file), expected) << row.file;
    }
}

/// A folder that has the types of this machine, but none of its programs.
Text typesAlone(const TemporaryFolder& folder) {
    const Text alone = folder.file("types");
    fs::create_directory(alone);
    for (const char* const system : {"/usr/local/share/mime", "/usr/share/mime"}) {
        if (fs::exists(Text(system) + "/globs2")) {
            fs::create_directory_symlink(system, alone + "/mime");
            break;
        }
    }
    return alone;
}

// GIO sees these folders only in a process that was started with them.
TEST(Associations, AreTheSameByBothWays) {
    if (const char* const told = std::getenv("CORVETH_TEST_FOLDER")) return expectAssociations(told);
    if (!hasDatabase()) GTEST_SKIP() << noDatabase;
    const TemporaryFolder folder;
    writeScript(folder.file("programs/viewer"), "");
    const ScopedVariable path("PATH", folder.file("programs") + ":/usr/bin:/bin");
    const Text own = folder.file("own");
    const Text shared = folder.file("shared");
    const Text settings = folder.file("settings");
    const auto entry = [](const Text& data, const Text& id, const Text& more = {}) {
        writeFile(data + "/applications/" + id + ".desktop",
                  fmt::format("[Desktop Entry]\nType=Application\nName={}\nExec=viewer --{} %f\n{}", id, id, more));
    };
    for (const char* const id : {"chosen", "second", "ofdesktop", "added", "third", "cached", "kde/below"})
        entry(own, id);
    entry(own, "hidden", "Hidden=true\n");
    entry(shared, "sharedone");
    entry(shared, "hidden");
    entry(shared, "cached"); // the user's own is the one
    writeFile(settings + "/mimeapps.list", "[Default Applications]\ntext/plain=chosen.desktop;\n"
                                           "image/png=missing.desktop;second.desktop\nimage/gif=second.desktop\n"
                                           "application/zip=kde-below.desktop\napplication/xml=hidden.desktop\n"
                                           "[Added Associations]\napplication/pdf=added.desktop;\n"
                                           "[Removed Associations]\nimage/jpeg=second.desktop;\n");
    writeFile(settings + "/corveth-mimeapps.list", "[Default Applications]\nimage/gif=ofdesktop.desktop\n");
    writeFile(own + "/applications/mimeinfo.cache",
              "[MIME Cache]\nimage/jpeg=second.desktop;third.desktop;\nimage/svg+xml=cached.desktop;\n"
              "application/pdf=second.desktop;\napplication/x-gzip=third.desktop\n");
    writeFile(shared + "/applications/mimeinfo.cache", "[MIME Cache]\ntext/css=sharedone.desktop;\n");
    for (const Association& row : associations)
        writeFile(folder.file(row.file), "");

    const ScopedVariable home("XDG_DATA_HOME", own);
    const ScopedVariable folders("XDG_DATA_DIRS", shared + ":" + typesAlone(folder));
    const ScopedVariable config("XDG_CONFIG_HOME", settings);
    const ScopedVariable configs("XDG_CONFIG_DIRS", folder.file("none"));
    const ScopedVariable desktop("XDG_CURRENT_DESKTOP", "Corveth");
    const ScopedVariable files("CORVETH_TEST_FOLDER", folder.path().string());
    const Text report = folder.file("report");
    const Text command = fmt::format("'{}' --gtest_filter=Associations.AreTheSameByBothWays > '{}'",
                                     fs::read_symlink("/proc/self/exe").string(), report);
    EXPECT_EQ(std::system(command.c_str()), 0) << fileContent(report);
    EXPECT_THAT(fileContent(report), testing::HasSubstr("PASSED  ] 1 test."));
}

TEST(FileInfoService, TellsOfAFileWhatTheDesktopDoes) {
    const TemporaryFolder folder;
    const Text path = writeFile(folder.file("a b.txt"), "a\0b"s);
    const auto service = makeFileInfoService();
    EXPECT_EQ(service->classInfo().progId(), "Corveth.FileInfoService");

    // Late-bound clients count the fields.
    const Value record = Automation<FileProperties>::out(service->Properties(path));
    std::vector<Text> fields;
    for (const Value& field : record.getIf<Record>()->fields)
        fields.push_back(toText(field));
    std::vector<Text> expected(17);
    expected[0] = "0";
    expected[1] = "3";
    expected[2] = fileTypeText(path);
    expected[9] = "a b.txt";
    EXPECT_EQ(fields, expected);

    const Value content = service->Content(path);
    ASSERT_NE(content.getIf<Bytes>(), nullptr);
    EXPECT_EQ(*content.getIf<Bytes>(), (Bytes{std::byte{'a'}, std::byte{0}, std::byte{'b'}}));

    const Text missing = folder.file("missing");
    EXPECT_EQ(errorOf([&] { return service->Properties(missing).Size; }), 53);
    EXPECT_EQ(errorOf([&] { return service->Content(missing); }), 53);
    EXPECT_EQ(errorOf([&] { return service->Properties(folder.path().string()).Size; }), 75);
}

TEST(FileInfoService, HostPutsItsOwnInPlace) {
    Ref<FileInfoService> made;
    setFileInfoServiceFactory([&made] { return made = make<StandardFileInfoService>(); });
    EXPECT_EQ(makeFileInfoService(), made);
    setFileInfoServiceFactory({});
    EXPECT_NE(makeFileInfoService(), made);
}

} // namespace
