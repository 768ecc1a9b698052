#pragma once

#include "session/db_service.h"

namespace corveth {

/// The data service that a thread gets unless its host puts another one in its place.
class CORVETH_API StandardDbService final : public DbService {
public:
    static const ClassInfo description;

    [[nodiscard]] const ClassInfo& classInfo() const noexcept override { return description; }

    Ref<Recordset> OpenRecordset(Text sql, Ref<Connection>& connection, std::int32_t& cursorType,
                                 std::int32_t& lockType) override;
    /// 3709 without a connection. The counter is the connection's, see `Connection::nextId`.
    Text GenerateId(Text typeCode, std::int32_t length, Text keyColumn, Text tableName,
                    Ref<Connection>& connection) override;
    Value ValueOrDefault(Value value, Value defaultValue) override;
    Text SelectFile(std::int32_t owner, Text& title) override;
    /// The user's own folder for temporary copies, see `temporaryFolder`.
    Text GetTempFolder() override;

    /// The ID that was last made on this thread, by whichever object of this class; empty before the first.
    [[nodiscard]] Text get_LastId() const;

private:
    struct Table;
};

} // namespace corveth
