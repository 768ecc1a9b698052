#include "server/foreign_object.h"

namespace corveth::server {

namespace {
struct NoMembers {
    static constexpr std::span<const MemberRow> members{};
};
} // namespace

constinit const ClassInfo ForeignObject::description = describe<ForeignObject, NoMembers>("Client", false);

} // namespace corveth::server
