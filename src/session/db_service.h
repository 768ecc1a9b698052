#pragma once

#include "platform/data/connection.h"
#include "platform/data/recordset.h"

namespace corveth {

/// The data service: every query and every new ID of the system goes through it. One object a thread, made on first
/// use; a host can put its own in the thread's place (`ModuleState::DbServiceInstance`).
class CORVETH_API DbService : public Object {
public:
    static constexpr const char* className = "DbService";

    /// An open recordset over the rows of `sql`. May replace `connection`; the replacement becomes the shared one.
    virtual Ref<Recordset> OpenRecordset(Text sql, Ref<Connection>& connection, std::int32_t& cursorType,
                                         std::int32_t& lockType) = 0;
    /// A new ID of `length` characters that begins with `typeCode` and that no row of `tableName` has in `keyColumn`.
    virtual Text GenerateId(Text typeCode, std::int32_t length, Text keyColumn, Text tableName,
                            Ref<Connection>& connection) = 0;
    /// The value (of a field, when it is one), or `defaultValue` when that is Null.
    virtual Value ValueOrDefault(Value value, Value defaultValue) = 0;
    /// The full path of a file that the user chose; empty when none.
    virtual Text SelectFile(std::int32_t owner, Text& title) = 0;
    /// A folder; ends in a path separator.
    virtual Text GetTempFolder() = 0;
};

/// The service of this build, `Corveth.DbService`.
CORVETH_API Ref<DbService> makeDbService();

} // namespace corveth
