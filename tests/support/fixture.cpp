#include "support/fixture.h"

#include "platform/automation/convert.h"
#include "session/module_state.h"

#include <algorithm>
#include <fstream>

namespace corveth::test {

void expectFailure(const Failure& expected, const std::function<void()>& action) {
    try {
        action();
    } catch (const Error& error) {
        EXPECT_EQ(error.number, expected.number) << error.description;
        if (!expected.source.empty()) {
            EXPECT_EQ(error.source, expected.source);
        }
        EXPECT_EQ(error.description.substr(0, expected.text.size()), expected.text);
        return;
    }
    ADD_FAILURE() << "nothing was thrown; expected " << expected.number << " " << expected.text;
}

DatabaseTest::DatabaseTest() : objectsBefore_(Object::liveCount()) {}

void DatabaseTest::SetUp() {
    database_ = GetParam().make(true);
    const Text source = database_->connectionString();
    connection = make<Connection>();
    connection->open(source + ";Trace File=" + folder_.file("trace") + ";Log=" + folder_.file("log"));
    own_ = make<Connection>();
    own_->open(source);
    moduleState().SharedConnection = connection;
}

void DatabaseTest::TearDown() {
    moduleState() = {};
    connection = nullptr;
    own_ = nullptr;
    database_ = nullptr;
    EXPECT_EQ(Object::liveCount(), objectsBefore_) << "objects were left alive";
}

std::vector<Text> DatabaseTest::statements() {
    std::ifstream trace(folder_.file("trace"));
    trace.seekg(static_cast<std::streamoff>(traceRead_));
    std::vector<Text> result;
    for (Text line; std::getline(trace, line);) {
        traceRead_ += line.size() + 1;
        const auto tab = line.find('\t');
        const Text kind = line.substr(0, tab);
        if (kind == "service" || kind == "row") continue;
        const Text text = tab == Text::npos ? Text() : line.substr(tab + 1);
        result.push_back(text.empty() ? kind : kind + "|" + text);
    }
    return result;
}

std::vector<Text> DatabaseTest::logged() {
    std::ifstream log(folder_.file("log"));
    log.seekg(static_cast<std::streamoff>(logRead_));
    std::vector<Text> result;
    for (Text line; std::getline(log, line);) {
        logRead_ += line.size() + 1;
        line.erase(0, line.find('\t') + 1);
        std::ranges::replace(line, '\t', '|');
        result.push_back(line);
    }
    return result;
}

void DatabaseTest::sql(TextView statement) {
    own_->execute(statement);
}

Text DatabaseTest::scalar(TextView query) {
    auto rows = make<Recordset>();
    rows->open(Text(query), own_, CursorType::staticCopy, LockType::readOnly);
    if (rows->isEmpty()) return "(none)";
    return rows->value(0).isNull() ? "(null)" : toText(rows->value(0));
}

void DatabaseTest::store(TextView query, const char* column, const Value& value) {
    auto rows = make<Recordset>();
    rows->open(Text(query), own_, CursorType::keyset, LockType::optimistic);
    rows->set(column, value);
    rows->Update();
}

void DatabaseTest::refuse(const Refusal& refusal) {
    for (const Text& statement : GetParam().refuse(refusal))
        own_->execute(statement);
}

void DatabaseTest::allow(const Refusal& refusal) {
    own_->execute(GetParam().allow(refusal));
}

} // namespace corveth::test
