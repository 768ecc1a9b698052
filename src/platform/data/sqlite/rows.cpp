#include "platform/data/sqlite/rows.h"

#include "platform/data/column_value.h"
#include "platform/data/sqlite/error.h"
#include "platform/data/stored_value.h"

#include <sqlite3.h>

namespace corveth::data::sqlite {

namespace {

TextView viewOf(const char* text) noexcept {
    return text == nullptr ? TextView{} : TextView(text);
}

} // namespace

Rows::Rows(SessionState& session, sqlite3* database, sqlite3_stmt* statement)
    : session_(session),
      database_(database),
      statement_(statement),
      isReadOnly_(sqlite3_stmt_readonly(statement) != 0) {
    describe();
}

Rows::~Rows() {
    sqlite3_finalize(statement_);
}

void Rows::describe() {
    columns_.clear();
    const int count = sqlite3_column_count(statement_);
    columns_.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        ResultColumn column;
        column.name = viewOf(sqlite3_column_name(statement_, i));
        // A literal without a name would be called after its parameter.
        if (column.name.find('?') != Text::npos) column.name = "Expr" + std::to_string(1000 + i);
        column.kind = kindOfDeclaredType(viewOf(sqlite3_column_decltype(statement_, i)));
        column.originTable = viewOf(sqlite3_column_table_name(statement_, i));
        column.originColumn = viewOf(sqlite3_column_origin_name(statement_, i));
        columns_.push_back(std::move(column));
    }
}

void Rows::prepareAnew(sqlite3* database) {
    sqlite3_stmt* statement = nullptr;
    const int code =
        sqlite3_prepare_v3(database, sqlite3_sql(statement_), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    if (code != SQLITE_OK) session_.failed(code);
    sqlite3_finalize(statement_);
    statement_ = statement;
    database_ = database;
    recompilations_ = 0;
    describe();
}

void Rows::bind(std::span<const Parameter> parameters) {
    int number = 0;
    for (const auto& parameter : parameters) {
        ++number;
        int code = SQLITE_OK;
        if (const auto* text = std::get_if<TextView>(&parameter)) {
            code = sqlite3_bind_text64(statement_, number, text->data() == nullptr ? "" : text->data(), text->size(),
                                       SQLITE_STATIC, SQLITE_UTF8);
        } else if (const auto* integer = std::get_if<std::int64_t>(&parameter)) {
            code = sqlite3_bind_int64(statement_, number, *integer);
        } else if (const auto* real = std::get_if<double>(&parameter)) {
            code = sqlite3_bind_double(statement_, number, *real);
        } else if (const auto* bytes = std::get_if<std::span<const std::byte>>(&parameter)) {
            code = bytes->empty()
                       ? sqlite3_bind_zeroblob(statement_, number, 0)
                       : sqlite3_bind_blob64(statement_, number, bytes->data(), bytes->size(), SQLITE_STATIC);
        } else {
            code = sqlite3_bind_null(statement_, number);
        }
        if (code != SQLITE_OK) fail(database_, code);
    }
}

RunResult Rows::run(std::span<const Parameter> parameters, std::vector<Value>* cells) {
    sqlite3* const database = session_.usable(!isReadOnly_);
    const bool isElsewhere = database != database_;
    if (isElsewhere) prepareAnew(database);
    bind(parameters);
    // A statement that is not reset holds its read transaction, which blocks checkpoints.
    struct Reset {
        sqlite3_stmt* statement;
        ~Reset() { sqlite3_reset(statement); }
    } const reset{statement_};

    const auto changesBefore = isReadOnly_ ? 0 : sqlite3_total_changes64(database_);
    RunResult result{0, isElsewhere};
    int code = sqlite3_step(statement_);
    const int recompilations = sqlite3_stmt_status(statement_, SQLITE_STMTSTATUS_REPREPARE, 0);
    if (recompilations != recompilations_) {
        recompilations_ = recompilations;
        result.recompiled = true;
        session_.schemaChanged();
        describe();
    }
    for (; code == SQLITE_ROW; code = sqlite3_step(statement_)) {
        if (cells != nullptr) readRow(*cells);
    }
    if (code != SQLITE_DONE) session_.failed(code);
    if (!isReadOnly_ && sqlite3_total_changes64(database_) != changesBefore) {
        // What a view's triggers did is in the total only.
        result.affected = sqlite3_changes64(database_);
        if (result.affected == 0) result.affected = sqlite3_total_changes64(database_) - changesBefore;
    }
    return result;
}

void Rows::readRow(std::vector<Value>& cells) {
    // Every value is moved when the rows outgrow their room, so that grows in long steps, in longer ones while it is
    // small.
    constexpr std::size_t small = 256;
    const std::size_t growth = cells.size() < small ? 16 : 4;
    if (cells.capacity() - cells.size() < columns_.size()) cells.reserve(cells.size() * growth + columns_.size());
    int column = 0;
    for (const auto& info : columns_)
        readCell(cells, column++, info.kind);
}

void Rows::readCell(std::vector<Value>& cells, int column, ColumnKind kind) const {
    // Asked for once: each call with the column's number would look it up again. It is not protected from other
    // threads, which a connection without a mutex is not either.
    sqlite3_value* const value = sqlite3_column_value(statement_, column);
    switch (sqlite3_value_type(value)) {
    case SQLITE_INTEGER:
        cells.push_back(storedValue(std::int64_t{sqlite3_value_int64(value)}, kind));
        break;
    case SQLITE_FLOAT:
        cells.push_back(storedValue(sqlite3_value_double(value), kind));
        break;
    case SQLITE_TEXT: {
        const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
        if (text == nullptr) fail(database_, SQLITE_NOMEM);
        cells.emplace_back(TextView(text, static_cast<std::size_t>(sqlite3_value_bytes(value))));
        break;
    }
    case SQLITE_BLOB: {
        const auto* bytes = static_cast<const std::byte*>(sqlite3_value_blob(value));
        cells.emplace_back(Bytes(bytes, bytes + sqlite3_value_bytes(value)));
        break;
    }
    default:
        cells.emplace_back(Null{});
        break;
    }
}

} // namespace corveth::data::sqlite
