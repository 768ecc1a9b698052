#pragma once

#include "platform/automation/keyed_list.h"
#include "scheduling/project_task.h"
#include "session/sql.h"

namespace corveth {

/// Items of the project tree: those linked to some other item, or the projects of one category.
class CORVETH_API Tasks final : public Described<Tasks> {
public:
    static constexpr const char* className = "Tasks";
    static const ClassInfo description;

    Tasks();
    ~Tasks() override;

    [[nodiscard]] Text get_LinkId() const { return linkId_; }
    /// The item whose linked tasks `Populate` reads and whose links `UpdateTasks` writes.
    void let_LinkId(Text value);
    /// A new member with the `ID`, loaded, and keyed by `sKey` when that is not empty (457 when it is there already).
    Value Add(const Text& ID, const Text& sKey = {});
    /// By position or key.
    [[nodiscard]] Ref<ProjectTask> get_Item(const Value& vntIndexKey) const { return members_.item(vntIndexKey); }
    [[nodiscard]] std::int32_t get_Count() const { return members_.count(); }
    /// By position or key, from the list only.
    void Remove(const Value& vntIndexKey) { members_.remove(vntIndexKey); }
    [[nodiscard]] Ref<Enumerator> get_NewEnum() const { return members_.enumerate(); }
    /// Replaces the members by what `LinkId` or the filter names; fails without either.
    void Populate();
    /// Replaces the task links of `LinkId` by links to the members, without a transaction of its own.
    void UpdateTasks();
    /// The next `Populate` loads the projects of a category. `LinkId` stays.
    void SetCategoryFilter(Text strCategoryId);

private:
    struct Table;

    Members<ProjectTask> members_;
    Sql query_;
    Text linkId_;
};

} // namespace corveth
