#include "scheduling/project_type.h"

#include "session/statements.h"

namespace corveth {

struct ProjectType::Table {
    static constexpr MemberRow members[] = {
        key(field<&ProjectType::ID>("ID"), "ProjectTypeMaster.ItemID"),
        field<&ProjectType::ParentId>("ParentId"),
        field<&ProjectType::ItemType>("ItemType"),
        field<&ProjectType::Description>("Description"),
        field<&ProjectType::ItemIndex>("ItemIndex"),
        removes(method<&ProjectType::DeleteType>("DeleteType")),
    };
};

constinit const ClassInfo ProjectType::description = describe<ProjectType, ProjectType::Table>();

void ProjectType::DeleteType() {
    execute(Sql{"DELETE From ProjectTypeMaster Where ItemId ='", ID, "' Or ParentId ='", ID, "'"});
}

} // namespace corveth
