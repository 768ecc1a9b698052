#include "session/statements.h"

#include "session/module_state.h"

namespace corveth {

namespace {

void refuseIfNeeded(const Sql& sql, const char* kind) {
    if (sql.refusal().empty()) return;
    const auto& connection = moduleState().SharedConnection;
    if (connection && connection->isOpen()) connection->traceRefused(kind, sql.text());
    raise(errors::invalidCall, sql.refusal());
}

constexpr std::int32_t idLength = 10;

} // namespace

Ref<Recordset> openRecordset(const Sql& sql, CursorType cursor, LockType lock) {
    refuseIfNeeded(sql, "open");
    // Held: the call may put another service in its place.
    const Ref<DbService> service = dbService(); // NOLINT(performance-unnecessary-copy-initialization)
    Ref<Connection> connection = moduleState().SharedConnection;
    auto cursorType = static_cast<std::int32_t>(cursor);
    auto lockType = static_cast<std::int32_t>(lock);
    Ref<Recordset> rows = service->OpenRecordset(sql.text(), connection, cursorType, lockType);
    moduleState().SharedConnection = std::move(connection);
    return rows;
}

Ref<Recordset> openDirect(const Sql& sql, CursorType cursor, LockType lock) {
    auto rows = make<Recordset>();
    openDirect(*rows, sql, cursor, lock);
    return rows;
}

void openDirect(Recordset& rows, const Sql& sql, CursorType cursor, LockType lock) {
    refuseIfNeeded(sql, "open");
    rows.open(sql.text(), moduleState().SharedConnection, cursor, lock);
}

void execute(const Sql& sql) {
    refuseIfNeeded(sql, "execute");
    moduleState().SharedConnection->execute(sql.text());
}

Text generateId(const IdSource& source) {
    const Ref<DbService> service = dbService(); // NOLINT(performance-unnecessary-copy-initialization): as above
    Ref<Connection> connection = moduleState().SharedConnection;
    Text id = service->GenerateId(source.typeCode, idLength, source.keyColumn, source.table, connection);
    moduleState().SharedConnection = std::move(connection);
    return id;
}

} // namespace corveth
