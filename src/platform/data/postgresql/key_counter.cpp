#include "platform/data/postgresql/key_counter.h"

#include "platform/automation/convert.h"
#include "platform/data/column_value.h"
#include "platform/data/postgresql/dialect.h"

#include <algorithm>
#include <fmt/format.h>

namespace corveth::data::postgresql {

namespace {

/// As a statement calls it.
Text sequenceName(TextView counter) {
    return "corveth." + foldedName(counter);
}

/// The next number of the counter and the greatest key, of those with as many characters as the counter makes. The
/// server is to walk the index from its end, however small the table was when the plan was made: the order is that of
/// the column, not of what is selected; the bounds stand in the text, so that it can tell how many rows are between
/// them; and of the condition it believes that nearly every row meets it.
Text lookingStatement(const KeySpace& keys, const KeyForm& form, const Text& counter) {
    const Text column = foldedName(keys.column), table = foldedName(keys.table);
    return fmt::format("select nextval({}::regclass), (select {}::text from {} where {} between {} and {} and "
                       "case when length({}::text) = {} and substr({}::text, {}) !~ '[^0-9]' then 1 end is not null "
                       "order by {}.{} desc limit 1)",
                       literal(counter), column, table, column, literal(form.lowest()), literal(form.highest()), column,
                       form.lowest().size(), column, form.codeSize() + 1, table, column);
}

/// For the trace: with the values in their places.
Text shown(TextView statement, std::span<const Parameter> parameters) {
    Text marked(statement);
    for (std::size_t i = 1; i <= parameters.size(); ++i)
        marked = replaceAll(marked, "$" + std::to_string(i), "?");
    return withValues(marked, parameters);
}

constexpr const char* raisingStatement = "select corveth.next_number($1::text::regclass, $2::bigint)";

} // namespace

std::vector<Text> keyStatements() {
    return {
        // With its owner's rights, so that whoever may insert can also begin to count. One at a time: to the engine
        // "if not exists" is a question, not a promise.
        "create function corveth.make_counter(table_name text, code text) returns void language plpgsql "
        "security definer set search_path = pg_catalog, pg_temp as $$\n"
        "declare counter text := 'counter_' || lower(table_name) || '_' || lower(code);\n"
        "begin\n"
        "  perform pg_advisory_xact_lock('corveth'::regnamespace::oid::int, 0);\n"
        "  execute format('create sequence if not exists corveth.%I', counter);\n"
        "  execute format('comment on sequence corveth.%I is %L', counter, table_name || ' ' || code);\n"
        "  execute format('grant usage, select on sequence corveth.%I to public', counter);\n"
        "end $$",
        // A number above `taken`. One caller at a time: whoever sets a counter could otherwise set it back behind what
        // another was just given. Those who only take the next number do not wait; while the counter is far behind
        // there are not enough of them to come near, so it is set close to the goal and walks the rest.
        "create function corveth.next_number(counter regclass, taken bigint) returns bigint language plpgsql "
        "security definer set search_path = pg_catalog, pg_temp as $$\n"
        "declare\n"
        "  near constant bigint := 1000;\n"
        "  number bigint;\n"
        "begin\n"
        "  perform pg_advisory_lock(counter::oid::int, 0);\n"
        "  begin\n"
        "    number := nextval(counter);\n"
        "    if taken - number > near then perform setval(counter, taken); number := nextval(counter); end if;\n"
        "    while number <= taken loop number := nextval(counter); end loop;\n"
        "  exception when query_canceled or others then\n"
        "    perform pg_advisory_unlock(counter::oid::int, 0);\n"
        "    raise;\n"
        "  end;\n"
        "  perform pg_advisory_unlock(counter::oid::int, 0);\n"
        "  return number;\n"
        "end $$",
    };
}

KeyCounter::Space& KeyCounter::spaceOf(const KeySpace& keys) {
    for (auto& space : spaces_) {
        if (space.code == keys.code && std::cmp_equal(space.form.lowest().size(), keys.length) &&
            space.column == keys.column && space.table == keys.table) {
            return space;
        }
    }
    Text counter = foldCase(fmt::format("counter_{}_{}", keys.table, keys.code));
    return spaces_.emplace_back(
        Space{Text(keys.code), Text(keys.column), Text(keys.table), KeyForm(keys), std::move(counter), nullptr});
}

void KeyCounter::prepareLooking(Space& space) {
    const KeySpace keys{space.code, static_cast<std::int32_t>(space.form.lowest().size()), space.column, space.table};
    const Text statement = lookingStatement(keys, space.form, sequenceName(space.counter));
    const bool isCounted = session_.catalog().hasSequence(space.counter);
    if (!isCounted && session_.catalog().table(space.table) != nullptr) {
        // On a connection of its own: a rollback of what is going on here must not take it away again.
        const Text making =
            fmt::format("select corveth.make_counter({}, {})", literal(space.table), literal(space.code));
        ServerLink(settings_).ask(making.c_str());
    }
    space.looking = std::make_unique<Rows>(session_, statement, StatementUse{}, false);
}

Text KeyCounter::next(const KeySpace& keys, const StatementListener& listener) {
    Space& space = spaceOf(keys);
    if (space.looking == nullptr) prepareLooking(space);
    if (listener) listener(space.looking->text());
    std::vector<Value> row;
    try {
        space.looking->run({}, &row);
    } catch (const Error&) {
        space.looking.reset(); // the table or the counter may be another one next time
        throw;
    }
    auto number = static_cast<std::int64_t>(toDouble(row[0]));
    const std::int64_t taken = row[1].isNull() ? 0 : space.form.numberIn(toText(row[1]));
    if (number <= taken) number = raised(space, taken, listener);
    return space.form.key(number);
}

std::int64_t KeyCounter::raised(const Space& space, std::int64_t taken, const StatementListener& listener) {
    const Text counter = sequenceName(space.counter);
    const Parameter parameters[] = {TextView(counter), taken};
    if (raising_ == nullptr) {
        raising_ = std::make_unique<Rows>(session_, raisingStatement, StatementUse{{}, parameters}, false);
    }
    if (listener) listener(shown(raising_->text(), parameters));
    std::vector<Value> row;
    raising_->run(parameters, &row);
    return static_cast<std::int64_t>(toDouble(row[0]));
}

} // namespace corveth::data::postgresql
