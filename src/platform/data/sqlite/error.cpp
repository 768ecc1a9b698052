#include "platform/data/sqlite/error.h"

#include <sqlite3.h>

namespace corveth::data::sqlite {

namespace {

constexpr const char* source = "ADODB.Connection";

int primary(int code) noexcept {
    return code & 0xff;
}

bool isAboutTheFile(int code) noexcept {
    switch (primary(code)) {
    case SQLITE_PERM:
    case SQLITE_BUSY:
    case SQLITE_READONLY:
    case SQLITE_IOERR:
    case SQLITE_CORRUPT:
    case SQLITE_FULL:
    case SQLITE_CANTOPEN:
    case SQLITE_PROTOCOL:
    case SQLITE_NOTADB:
        return true;
    default:
        return false;
    }
}

} // namespace

Text words(sqlite3* database, int code) {
    // The message of the connection may be about another call than the code.
    const bool isCurrent = database != nullptr && primary(sqlite3_extended_errcode(database)) == primary(code);
    Text text = isCurrent ? sqlite3_errmsg(database) : sqlite3_errstr(code);
    text += " (SQLite " + std::to_string(code) + ")";
    // Puzzling for who only wants to read.
    if (code == SQLITE_READONLY_DIRECTORY) text += ": files beside it are needed for reading too";
    return text;
}

Text wordsWithFile(sqlite3* database, int code) {
    const char* file = database == nullptr ? nullptr : sqlite3_db_filename(database, "main");
    if (file == nullptr || !isAboutTheFile(code)) return words(database, code);
    return words(database, code) + ": \"" + file + "\"";
}

void fail(sqlite3* database, int code) {
    throw Error(errors::engine, source, wordsWithFile(database, code));
}

void failOpening(const Text& path, const Text& why) {
    throw Error(errors::engine, source, "The database \"" + path + "\" cannot be opened: " + why);
}

} // namespace corveth::data::sqlite
