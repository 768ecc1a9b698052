#include "scheduling/project.h"

namespace corveth {

struct Project::Table {
    static constexpr MemberRow members[] = {
        unavailable("MemberShip", "MemberShip"),
    };
};

constinit const ClassInfo Project::description = describe<Project, Project::Table>(defaultSource, false);

} // namespace corveth
