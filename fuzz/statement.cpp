// Statement text: whatever is let through is one statement for the engine, of the kind it was taken for, and has a
// place for every value that was lifted out of it.

#include "support.h"

#include "platform/data/characters.h"
#include "platform/data/column_value.h"
#include "platform/data/dialect.h"
#include "platform/data/like.h"
#include "platform/data/literals.h"
#include "platform/data/postgresql/dialect.h"
#include "platform/data/result_items.h"
#include "platform/data/sqlite/dialect.h"
#include "platform/data/sqlite/key_counter.h"
#include "platform/data/statement_facts.h"

#include <algorithm>
#include <sqlite3.h>

using namespace corveth;
using data::StatementKind;
using fuzz::require;

namespace {

/// What the engine is asked to do by a statement that it prepares.
struct Actions {
    bool writes = false, endsTransaction = false;
};

int note(void* to, int action, const char* /*first*/, const char* /*second*/, const char* /*database*/,
         const char* /*trigger*/) {
    auto& actions = *static_cast<Actions*>(to);
    switch (action) {
    case SQLITE_INSERT:
    case SQLITE_UPDATE:
    case SQLITE_DELETE:
        actions.writes = true;
        return SQLITE_OK;
    case SQLITE_TRANSACTION:
    case SQLITE_SAVEPOINT:
        actions.endsTransaction = true;
        return SQLITE_OK;
    case SQLITE_PRAGMA: // some do their work while they are prepared
        return SQLITE_DENY;
    default:
        return SQLITE_OK;
    }
}

class Engine {
public:
    static Engine& instance() {
        static Engine engine;
        return engine;
    }

    /// Looks at `sql` as the engine understands it; null when it refuses it.
    data::sqlite::Statement prepare(const Text& sql) {
        actions = {};
        sqlite3_stmt* prepared = nullptr;
        const char* tail = nullptr;
        const int code =
            sqlite3_prepare_v2(database_.get(), sql.data(), static_cast<int>(sql.size()), &prepared, &tail);
        data::sqlite::Statement statement(prepared);
        if (code != SQLITE_OK) return {};
        const TextView rest(tail, static_cast<std::size_t>(sql.data() + sql.size() - tail));
        isWhole = std::ranges::all_of(rest, [](char c) { return data::charClass(c) == data::CharClass::blank; });
        return statement;
    }

    Actions actions;
    bool isWhole = true;

private:
    Engine() : database_(data::sqlite::openDatabase(fuzz::exampleDatabase(), 0)) {
        sqlite3_set_authorizer(database_.get(), &note, &actions);
    }
    data::sqlite::Database database_;
};

/// A translation for the engine that is not at hand here.
void checkServerText(const Text& translated, StatementKind kind, std::size_t parameters) {
    require(data::statementKind(translated) == kind, "a translation for a server keeps the kind", translated);
    const auto tokens = data::tokenize(translated);
    const auto marks = std::ranges::count_if(tokens, [](const auto& token) { return token.is("$"); });
    require(static_cast<std::size_t>(marks) == parameters, "a place for every value", translated);
}

/// The translation of `sql`, whose literals may have become parameters.
void checkTranslation(const Text& sql, const data::LiteralLifter& lifter, std::size_t parameters) {
    const auto tokens = data::tokenize(sql);
    const auto facts = data::readFacts(tokens);
    for (const auto& assignment : facts.assignments)
        require(assignment.parameter < parameters, "what is stored is one of the values", sql);
    for (const auto& comparison : facts.comparisons)
        require(comparison.parameter < parameters, "what is compared is one of the values", sql);
    std::vector<data::ResultColumn> columns(sql.size() % 5);
    data::nameColumns(data::readResultItems(tokens), columns);
    checkServerText(data::translate(tokens, data::postgresql::dialect()), lifter.kind(), parameters);
    const Text translated = data::translate(tokens, data::sqlite::dialect());
    require(data::statementKind(translated) == lifter.kind(), "a translation keeps the kind", translated);

    Engine& engine = Engine::instance();
    const auto statement = engine.prepare(translated);
    if (statement == nullptr) return;
    require(engine.isWhole, "what is let through is one statement", translated);
    require(!engine.actions.endsTransaction, "what is let through leaves transactions alone", translated);
    const auto marks = static_cast<std::size_t>(sqlite3_bind_parameter_count(statement.get()));
    require(marks == parameters, "a place for every value", translated);
    const bool reads = tokens.front().isWord("select") || tokens.front().isWord("values");
    require(!reads || (!engine.actions.writes && sqlite3_stmt_readonly(statement.get()) != 0), "a query writes nothing",
            translated);
}

void checkConversions(std::span<const data::Parameter> parameters) {
    for (const auto& parameter : parameters) {
        for (auto kind = data::ColumnKind::undeclared; kind <= data::ColumnKind::bytes;
             kind = static_cast<data::ColumnKind>(static_cast<int>(kind) + 1)) {
            try {
                std::deque<Text> texts;
                (void)data::toColumnParameter(kind, parameter, "Column", texts);
                (void)data::toComparedParameter(kind, parameter, "Column", texts);
            } catch (const Error& error) {
                require(error.number != 0, "a refusal has a number");
            }
        }
    }
}

void checkDefinition(const Text& sql) {
    Engine& engine = Engine::instance();
    const auto statement = engine.prepare(sql);
    require(statement == nullptr || !engine.actions.endsTransaction, "transactions are begun and ended elsewhere", sql);
}

void checkStatement(const Text& sql) {
    data::LiteralLifter lifter;
    lifter.lift(sql);
    switch (lifter.kind()) {
    case StatementKind::empty:
    case StatementKind::transaction:
        return;
    case StatementKind::definition:
        require(lifter.text() == sql && lifter.parameters().empty(), "the engine's language passes as it is", sql);
        checkDefinition(sql);
        return;
    case StatementKind::rows:
    case StatementKind::changes:
        break;
    }
    checkConversions(lifter.parameters());
    checkTranslation(Text(lifter.text()), lifter, lifter.parameters().size());
    checkTranslation(sql, lifter, 0); // what is sent when the lifted text does not prepare
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Text sql = fuzz::textOf(data, size);
    try {
        checkStatement(sql);
    } catch (const Error& error) {
        require(!error.description.empty(), "a refusal says why", sql);
    }
    const std::size_t middle = sql.find('\n');
    if (middle != Text::npos) {
        const TextView text = TextView(sql).substr(0, middle), pattern = TextView(sql).substr(middle + 1);
        require(data::likeMatches(text, "*"), "everything is like any text", sql);
        (void)data::likeMatches(text, pattern);
    }
    return 0;
}
