// Lines of a dump: a line is refused with a sentence, or what is read of it is written so that it reads the same again.

#include "support.h"

#include "platform/automation/error.h"
#include "platform/base64.h"
#include "services/dump_line.h"

#include <algorithm>
#include <array>

using namespace corveth;
using fuzz::require;

namespace {

const data::Definition& definition() {
    static const data::Definition all = [] {
        data::Definition read;
        read.read("fuzz", "create table T (Id char(10) not null primary key, X text, L integer, S smallint, B byte, "
                          "R real, C currency, D date, F boolean, O blob);\n");
        return read;
    }();
    return all;
}

void checkBase64(const Text& text) {
    if (const auto bytes = parseBase64(text)) {
        Text again;
        appendBase64(again, *bytes);
        require(again == text, "the same bytes are the same text", text);
    }
}

void checkRow(const DumpLine& row, const Text& line) {
    require(row.table == definition().findTable("T"), "the only table", line);
    require(row.values.size() == row.table->columns.size(), "a value for each column", line);
    Text written;
    appendRowLine(written, *row.table, row.values);
    require(written.ends_with('\n') && std::ranges::count(written, '\n') == 1, "a row is one line", written);
    written.pop_back();
    const DumpLine again = readDumpLine(written, definition());
    Text second;
    appendRowLine(second, *again.table, again.values);
    require(second == written + "\n", "what was written reads the same", written);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Text line = fuzz::textOf(data, size);
    checkBase64(line);
    try {
        const DumpLine read = readDumpLine(line, definition());
        if (read.kind == DumpLine::Kind::row) checkRow(read, line);
    } catch (const Error& error) {
        constexpr std::array numbers = {errors::invalidCall, errors::noSuchItem, errors::dataTypeMismatch,
                                        errors::application};
        require(std::ranges::find(numbers, error.number) != numbers.end() && !error.description.empty(),
                "a sentence says what is wrong", error.description);
    }
    return 0;
}
