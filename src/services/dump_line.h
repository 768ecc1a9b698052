#pragma once

#include "platform/automation/value.h"
#include "platform/data/definition.h"

#include <cstdint>
#include <span>

namespace corveth {

// The lines of a dump, a JSON object each: first what it is, then the rows, then their number.
//
//   {"corveth": "dump", "format": 1, "schema": 2}
//   {"table": "Notes", "row": {"NoteId": "NT00000001", "Creation": "2024-02-29 10:00:00"}}
//   {"rows": 1}
//
// A column that is left out is Null. Texts, numbers and flags stand as such, an amount is a text, bytes are base64, a
// date is its text where that reads back as the same moment, else the day number. Nothing is rounded.

/// What the messages of a dump or a load are from.
inline constexpr const char* transferSource = "Corveth.Transfer";

/// Without its line break.
[[nodiscard]] Text dumpHeader();
[[nodiscard]] Text dumpEnd(std::int64_t rows);

/// Appends the line of one row of `table`, `cells` in the order of its columns. 3464 that names the row for a cell that
/// is not of its column's type, which an engine may keep all the same.
void appendRowLine(Text& out, const data::TableDefinition& table, std::span<const Value> cells);

/// True for a table whose rows a dump has.
[[nodiscard]] bool isDumped(const data::TableDefinition& table) noexcept;

struct DumpLine {
    enum class Kind : std::uint8_t { header, row, end };

    Kind kind = Kind::header;
    const data::TableDefinition* table = nullptr; ///< of a row
    std::vector<Value> values;                    ///< of a row, one for each column
    std::int64_t rows = 0;                        ///< of the end
    std::int64_t schema = 0;                      ///< of the header: the version of its tables
};

/// Errors say what is wrong in the line: 5 for its form, 3265 for a table or column that `definition` has not, 3464 for
/// a value that the column does not take, the application's number for a dump of other tables.
[[nodiscard]] DumpLine readDumpLine(TextView line, const data::Definition& definition);

} // namespace corveth
