#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// What a project has beside its row: a membership, once that class stands. Clients cannot make one.
class Project final : public Described<Project> {
public:
    static constexpr const char* className = "Project";
    static const ClassInfo description;

private:
    struct Table;
};

} // namespace corveth
