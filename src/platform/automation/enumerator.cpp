#include "platform/automation/enumerator.h"

#include "platform/automation/describe.h"

namespace corveth {

namespace {
struct NoMembers {
    static constexpr std::span<const MemberRow> members{};
};
} // namespace

constinit const ClassInfo Enumerator::description = describe<Enumerator, NoMembers>("Corveth", false);

} // namespace corveth
