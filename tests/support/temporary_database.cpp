#include "support/temporary_database.h"

#include "platform/automation/convert.h"
#include "services/schema.h"

#include <stdexcept>

namespace corveth::test {

TemporaryFolder::TemporaryFolder() {
    Text pattern = (std::filesystem::temp_directory_path() / "corveth-data-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

const std::vector<Engine>& engines() {
    static const std::vector<Engine> all = {
        {"SQLite",
         {"create table Items (Id char(10) collate nocase not null primary key, Link char(10) collate nocase, "
          "Name text default 'unnamed', Size integer, Small smallint, Tiny byte, Ratio real, Price currency, "
          "Due date, Done boolean, Data blob)",
          "create table Pieces (Item char(10) collate nocase not null, Part char(10) collate nocase not null, "
          "Quantity integer not null default 1, primary key (Item, Part))",
          "create table Numbers (Id integer primary key, Name text)"},
         "create trigger Ending before insert on Items when new.Id = 'GONE' begin select raise(rollback, 'gone'); end",
         "alter table Pieces add column Remark text default 'none'"},
    };
    return all;
}

DataTest::DataTest() : objectsBefore_(Object::liveCount()) {}

void DataTest::SetUp() {
    createDatabase(connectionString());
    connection = connect();
    for (const char* table : GetParam().tables)
        connection->execute(table);
}

void DataTest::TearDown() {
    connection = nullptr;
    EXPECT_EQ(Object::liveCount(), objectsBefore_) << "objects were left alive";
}

Text DataTest::connectionString() const {
    return Text("Provider=") + GetParam().name + ";Data Source=" + folder.file("test.db");
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
