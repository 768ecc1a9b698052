#include "platform/data/sqlite/error.h"

#include <sqlite3.h>

namespace corveth::data::sqlite {

namespace {
constexpr const char* source = "ADODB.Connection";
}

Text words(sqlite3* database, int code) {
    // The message of the connection may be about another call than the code.
    const bool isCurrent = database != nullptr && (sqlite3_extended_errcode(database) & 0xff) == (code & 0xff);
    const char* message = isCurrent ? sqlite3_errmsg(database) : sqlite3_errstr(code);
    return Text(message) + " (SQLite " + std::to_string(code) + ")";
}

void fail(sqlite3* database, int code) {
    throw Error(errors::engine, source, words(database, code));
}

void failOpening(const Text& path, const Text& why) {
    throw Error(errors::engine, source, "The database \"" + path + "\" cannot be opened: " + why);
}

} // namespace corveth::data::sqlite
