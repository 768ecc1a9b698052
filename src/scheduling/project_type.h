#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// A category of projects; one row of `ProjectTypeMaster`, which `ProjectTypes` loads and saves.
class CORVETH_API ProjectType final : public Described<ProjectType> {
public:
    static constexpr const char* className = "ProjectType";
    static const ClassInfo description;

    Text ID;
    Text ParentId;
    Text ItemType;
    Text Description;
    std::int16_t ItemIndex = 0;

    /// Deletes the row of `ID` and those right below it.
    void DeleteType();

private:
    struct Table;
};

} // namespace corveth
