#pragma once

#include "platform/automation/convert.h"
#include "platform/desktop/clock.h"
#include "platform/desktop/message_box.h"
#include "scheduling/parent_item.h"
#include "scheduling/tasks.h"
#include "support/fixture.h"

namespace corveth::test {

/// A value that the enumeration has no name for, as a client may send it.
template <class E>
E unnamed(std::int32_t number) {
    Value value(number);
    return Automation<E>::in(value);
}

/// Projects on each engine, on a Thursday, with the calendar of a new database: eight hours from Monday to Friday.
class TaskWorld : public DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        boxesBefore_ = setMessageBoxHandler([this](const MessageBox& box) {
            boxes.push_back(box.title + "|" + box.prompt + "|" + std::to_string(box.flags));
            return messageBoxes::ok;
        });
        clockBefore_ = setClock([this] { return now; });
    }
    void TearDown() override {
        setClock(clockBefore_);
        setMessageBoxHandler(boxesBefore_);
        DatabaseTest::TearDown();
    }

    /// A new item, not saved.
    static Ref<ProjectTask> item(ptType type, const Text& parent = {}) {
        auto task = make<ProjectTask>();
        task->ItemType = type;
        if (!parent.empty()) task->let_ParentId(parent);
        task->Populate();
        return task;
    }
    /// A new item that is saved; its ID.
    static Text saved(ptType type, const Text& parent = {}) {
        const auto task = item(type, parent);
        task->Update();
        return task->ID;
    }
    static Ref<ProjectTask> loaded(const Text& id) {
        auto task = make<ProjectTask>();
        task->ID = id;
        task->Populate();
        return task;
    }
    /// Columns of one row of `Projects`, parted by `|`.
    Text row(const Text& id, std::initializer_list<const char*> columns) {
        Text result;
        for (const char* column : columns)
            result += scalar(Text("Select ") + column + " From Projects Where Id='" + id + "'") + "|";
        result.pop_back();
        return result;
    }
    /// The statements since the last call; what reads a calendar is one line, `calendar KEY`.
    std::vector<Text> trace() {
        const Text keyed = "open|Select * From WorkingHours Where ProjectId=\"";
        std::vector<Text> result;
        bool isFallback = false;
        for (const Text& statement : statements()) {
            if (statement.starts_with(keyed)) {
                result.push_back("calendar " + statement.substr(keyed.size(), statement.size() - keyed.size() - 1));
                isFallback = true;
            } else if (statement.starts_with("open|Select * From WorkingHours")) {
                if (!isFallback) result.emplace_back("calendar");
                isFallback = false;
            } else if (!statement.starts_with("open|Select * From Holidays")) {
                result.push_back(statement);
                isFallback = false;
            }
        }
        return result;
    }
    static Text rowOf(const Text& id) { return "open|Select * From Projects Where Id=\"" + id + "\""; }

    Date now = fromCivil({2026, 3, 5});
    std::vector<Text> boxes;

private:
    MessageBoxHandler boxesBefore_;
    Clock clockBefore_;
};

} // namespace corveth::test
