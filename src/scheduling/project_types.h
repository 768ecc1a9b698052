#pragma once

#include "platform/automation/keyed_list.h"
#include "platform/data/recordset.h"
#include "scheduling/project_type.h"

namespace corveth {

/// All categories of projects. They are loaded when the object is made, which fails without a connection; changes stay
/// in memory until `Update`.
class CORVETH_API ProjectTypes final : public Described<ProjectTypes> {
public:
    static constexpr const char* className = "ProjectTypes";
    static const ClassInfo description;

    ProjectTypes();
    ~ProjectTypes() override;

    [[nodiscard]] std::int32_t get_Count() const { return members_.count(); }
    /// Always fails with 91.
    [[nodiscard]] Ref<ProjectType> get_Parent(Value ID) const;
    /// The member list itself, as an object of its own.
    [[nodiscard]] Ref<Object> ProjectItems() const;
    /// By key (or position); Nothing for one that is not there.
    [[nodiscard]] Ref<ProjectType> get_Item(Value ID) const;
    /// Deletes the category and those right below it, and loads all again: what was not saved is lost. Failures are
    /// logged only.
    void Remove(Value ID);
    /// Saves one category, which then stands last under the ID that it has, or all of them when `ID` is left out. One
    /// without an ID gets one, as does the first of a table without rows; the ID is kept only once the row is saved.
    void Update(Value ID = Missing{});
    /// A new member, keyed by `strItemID` when that is not empty (457 when it is there already).
    Ref<ProjectType> AddItem(Text strItemID, Text strParentID, Text strDesc, Text strItemType);

private:
    struct Table;
    void load();
    void save(ProjectType& type);
    void find(const Text& id);

    Members<ProjectType> members_;
    Ref<Recordset> rows_; ///< all of them, kept for saving
};

} // namespace corveth
