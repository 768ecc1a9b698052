#include "support/engine.h"

#include "platform/data/connection.h"
#include "services/schema.h"
#include "support/temporary_folder.h"
#include "support/test_server.h"

#include <fmt/format.h>

#include <algorithm>

namespace corveth::test {

namespace {

namespace sqlite {

class Database final : public TestDatabase {
public:
    explicit Database(bool tables) {
        if (tables) createDatabase(connectionString());
    }
    [[nodiscard]] Text connectionString() const override { return "Provider=SQLite;Data Source=" + inQuotes(name()); }
    [[nodiscard]] Text name() const override { return folder_.file(name_); }
    void rename(TextView name) override {
        std::filesystem::rename(folder_.file(name_), folder_.file(name));
        name_ = name;
    }
    void remove() override { std::filesystem::remove(name()); }

private:
    TemporaryFolder folder_;
    Text name_ = "test.db";
};

std::unique_ptr<TestDatabase> make(bool tables) {
    return std::make_unique<Database>(tables);
}

std::vector<Text> refuse(const Refusal& it) {
    const Text condition = it.condition == nullptr ? "" : Text(" when ") + it.condition;
    return {fmt::format("create trigger {} {} on {}{} begin select raise(abort, '{}'); end", it.name, it.event,
                        it.table, condition, it.words)};
}

Text allow(const Refusal& it) {
    return Text("drop trigger ") + it.name;
}

Text counter(TextView table, TextView code) {
    return fmt::format("Select LastNumber From IdCounters Where TableName='{}' And Code='{}'", table, code);
}

Text setCounter(TextView table, TextView code, int number) {
    return fmt::format("Replace Into IdCounters Values ('{}', '{}', {})", table, code, number);
}

Text noTable(TextView table) {
    return fmt::format("no such table: {}", table);
}

Text noColumn(TextView column) {
    return fmt::format("no such column: {}", column);
}

Text duplicateKey(TextView table, TextView column) {
    return fmt::format("UNIQUE constraint failed: {}.{}", table, column);
}

const Engine engine = {
    "SQLite",
    make,
    {"create table Items (Id char(10) collate nocase not null primary key, Link char(10) collate nocase, "
     "Name text default 'unnamed', Size integer, Small smallint, Tiny byte, Ratio real, Price currency, "
     "Due date, Done boolean, Data blob)",
     "create table Pieces (Item char(10) collate nocase not null, Part char(10) collate nocase not null, "
     "Quantity integer not null default 1, primary key (Item, Part))",
     "create table Numbers (Id integer primary key, Name text)"},
    nullptr,
    "explain query plan ",
    "SCAN",
    "alter table Pieces add column Remark text default 'none'",
    refuse,
    allow,
    counter,
    setCounter,
    noTable,
    noColumn,
    duplicateKey,
    "readonly",
};

} // namespace sqlite

namespace postgresql {

Text lower(TextView name) {
    Text folded(name);
    std::ranges::transform(folded, folded.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; });
    return folded;
}

std::unique_ptr<TestDatabase> make(bool tables) {
    return newServerDatabase(tables);
}

std::vector<Text> refuse(const Refusal& it) {
    const Text condition = it.condition == nullptr ? "" : fmt::format(" when ({})", it.condition);
    return {fmt::format("create function {}() returns trigger language plpgsql as "
                        "$$ begin raise exception '%', '{}'; end $$",
                        it.name, it.words),
            fmt::format("create trigger {} {} on {} for each row{} execute function {}()", it.name, it.event, it.table,
                        condition, it.name)};
}

Text allow(const Refusal& it) {
    return fmt::format("drop function {}() cascade", it.name);
}

Text sequence(TextView table, TextView code) {
    return fmt::format("corveth.counter_{}_{}", lower(table), lower(code));
}

Text counter(TextView table, TextView code) {
    return "Select last_value From " + sequence(table, code);
}

Text setCounter(TextView table, TextView code, int number) {
    return fmt::format("do $$ begin perform corveth.make_counter('{}', '{}'); perform setval('{}', {}, {}); end $$",
                       table, code, sequence(table, code), std::max(number, 1), number > 0);
}

Text noTable(TextView table) {
    return fmt::format("relation \"{}\" does not exist", lower(table));
}

Text noColumn(TextView column) {
    return fmt::format("column \"{}\" does not exist", lower(column));
}

Text duplicateKey(TextView table, TextView /*column*/) {
    return fmt::format("duplicate key value violates unique constraint \"{}_pkey\"", lower(table));
}

/// The comment is the name as other programs and clients see it.
constexpr const char* itemNames =
    "do $$ declare name text; begin foreach name in array "
    "array['Id', 'Link', 'Name', 'Size', 'Small', 'Tiny', 'Ratio', 'Price', 'Due', 'Done', 'Data'] loop "
    "execute format('comment on column items.%I is %L', lower(name), name); end loop; end $$";
constexpr const char* otherNames =
    "do $$ begin comment on column pieces.item is 'Item'; comment on column pieces.part is 'Part'; "
    "comment on column pieces.quantity is 'Quantity'; comment on column numbers.id is 'Id'; "
    "comment on column numbers.name is 'Name'; end $$";

const Engine engine = {
    "PostgreSQL",
    make,
    {"create table Items (Id citext collate \"C\" not null primary key, Link citext collate \"C\", "
     "Name text collate \"C\" default 'unnamed', Size integer, Small smallint, Tiny corveth.byte, "
     "Ratio double precision, Price corveth.currency, Due corveth.day, Done corveth.flag, Data bytea)",
     "create table Pieces (Item citext collate \"C\" not null, Part citext collate \"C\" not null, "
     "Quantity integer not null default 1, primary key (Item, Part))",
     "create table Numbers (Id integer generated by default as identity primary key, Name text collate \"C\")",
     itemNames, otherNames},
    "set enable_seqscan = off",
    "explain ",
    "Seq Scan",
    "alter table Pieces add column Remark text collate \"C\" default 'none'",
    refuse,
    allow,
    counter,
    setCounter,
    noTable,
    noColumn,
    duplicateKey,
    "read-only transaction",
};

} // namespace postgresql

bool isKnown(const Engine& engine) {
    try {
        make<Connection>()->open(Text("Provider=") + engine.name);
    } catch (const Error& error) {
        return error.description.find("is not known") == Text::npos;
    }
    return true;
}

} // namespace

Text inQuotes(TextView value) {
    Text result = "\"";
    for (const char c : value)
        result += c == '"' ? Text(2, c) : Text(1, c);
    return result + '"';
}

std::vector<Engine> engines(TextView name) {
    std::vector<Engine> all = {sqlite::engine, postgresql::engine};
    std::erase_if(all,
                  [&](const Engine& engine) { return (!name.empty() && name != engine.name) || !isKnown(engine); });
    return all;
}

} // namespace corveth::test
