#include "services/standard_db_service.h"

#include "platform/data/field.h"
#include "platform/desktop/file_chooser.h"
#include "platform/desktop/temp_folder.h"

namespace corveth {

struct StandardDbService::Table {
    static constexpr MemberRow members[] = {
        method<&StandardDbService::OpenRecordset>("OpenRecordset", "SQL", "Connection", "CursorType", "LockType"),
        method<&StandardDbService::GenerateId>("GenerateId", "TypeCode", "Length", "KeyColumn", "TableName",
                                               "Connection"),
        method<&StandardDbService::ValueOrDefault>("ValueOrDefault", "Value", "Default"),
        method<&StandardDbService::SelectFile>("SelectFile", "Owner", "Title"),
        method<&StandardDbService::GetTempFolder>("GetTempFolder"),
        get<&StandardDbService::get_LastId>("LastId"),
    };
};

constinit const ClassInfo StandardDbService::description =
    describe<StandardDbService, StandardDbService::Table>("Corveth");

namespace {

thread_local Text lastId;

} // namespace

Ref<DbService> makeDbService() {
    return make<StandardDbService>();
}

Ref<Recordset> StandardDbService::OpenRecordset(Text sql, Ref<Connection>& connection, std::int32_t& cursorType,
                                                std::int32_t& lockType) {
    auto rows = make<Recordset>();
    rows->open(std::move(sql), connection, static_cast<CursorType>(cursorType), static_cast<LockType>(lockType));
    return rows;
}

Text StandardDbService::GenerateId(Text typeCode, std::int32_t length, Text keyColumn, Text tableName,
                                   Ref<Connection>& connection) {
    if (!connection) raise(errors::badConnection);
    lastId = connection->nextId(typeCode, length, keyColumn, tableName);
    return lastId;
}

Value StandardDbService::ValueOrDefault(Value value, Value defaultValue) {
    if (const auto* object = value.getIf<Ref<Object>>(); object != nullptr && *object) {
        requireClass(**object, Field::description);
        value = static_cast<const Field&>(**object).get_Value();
    }
    return value.isNull() ? defaultValue : value;
}

Text StandardDbService::SelectFile(std::int32_t /*owner*/, Text& title) {
    return chooseFile(title);
}

Text StandardDbService::GetTempFolder() {
    return temporaryFolder();
}

Text StandardDbService::get_LastId() const {
    return lastId;
}

} // namespace corveth
