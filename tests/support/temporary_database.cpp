#include "support/temporary_database.h"

#include "platform/automation/convert.h"

namespace corveth::test {

DataTest::DataTest() : objectsBefore_(Object::liveCount()) {}

void DataTest::SetUp() {
    database_ = GetParam().make(true);
    connection = connect();
    for (const char* table : GetParam().tables)
        connection->execute(table);
}

void DataTest::TearDown() {
    connection = nullptr;
    database_ = nullptr;
    EXPECT_EQ(Object::liveCount(), objectsBefore_) << "objects were left alive";
}

Ref<Connection> DataTest::connect(TextView more) const {
    auto made = make<Connection>();
    made->open(connectionString() + ";Default Timeout=0;" + Text(more));
    return made;
}

Ref<Recordset> DataTest::open(TextView sql, LockType lock) const {
    auto recordset = make<Recordset>();
    recordset->open(Text(sql), connection, CursorType::keyset, lock);
    return recordset;
}

Text DataTest::rowsOf(Recordset& recordset) {
    Text all;
    for (; !recordset.get_EOF(); recordset.MoveNext()) {
        if (!all.empty()) all += ';';
        for (std::size_t i = 0; i < recordset.columnCount(); ++i) {
            if (i > 0) all += ',';
            const Value& value = recordset.value(i);
            all += value.isNull() ? Text("-") : toText(value);
        }
    }
    return all;
}

Text DataTest::rows(TextView sql) const {
    try {
        const auto recordset = open(sql, LockType::readOnly);
        return rowsOf(*recordset);
    } catch (const Error& error) {
        return "error " + std::to_string(error.number) + ": " + error.description;
    }
}

} // namespace corveth::test
