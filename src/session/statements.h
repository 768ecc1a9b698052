#pragma once

// How every class reaches the database: through the thread's shared connection and data service. A statement that its
// builder refused is written to the trace and raises 5 here, at the moment it would run.

#include "platform/data/recordset.h"
#include "session/sql.h"

namespace corveth {

/// An open recordset from the data service; 3709 without a connection.
CORVETH_API Ref<Recordset> openRecordset(const Sql& sql, CursorType cursor, LockType lock = LockType::optimistic);

/// An open recordset over the shared connection, past the data service; 3709 without a connection.
CORVETH_API Ref<Recordset> openDirect(const Sql& sql, CursorType cursor, LockType lock);

/// The same on a recordset that is there already; 3705 while it is open.
CORVETH_API void openDirect(Recordset& rows, const Sql& sql, CursorType cursor, LockType lock);

/// A statement without rows on the shared connection; 91 without a connection.
CORVETH_API void execute(const Sql& sql);

/// Where the IDs of a class come from.
struct IdSource {
    const char* typeCode;
    const char* keyColumn;
    const char* table;
};

/// A new ID of ten characters from the data service.
CORVETH_API Text generateId(const IdSource& source);

/// A new recordset over the one row of a record, ready to be written: when there is none, one is added, its key taken
/// from `generateId(source)` and `whenNew` called for what else only a new row gets.
template <class WhenNew = void (*)(Recordset&)>
Ref<Recordset> openForUpdate(
    const Sql& sql, const IdSource& source, WhenNew&& whenNew = [](Recordset&) {}) {
    Ref<Recordset> rows = openRecordset(sql, CursorType::keyset);
    if (rows->isEmpty()) {
        rows->AddNew();
        rows->setNewKey(source.keyColumn, [source] { return generateId(source); });
        whenNew(*rows);
    }
    return rows;
}

} // namespace corveth
