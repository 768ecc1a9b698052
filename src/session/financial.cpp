#include "session/financial.h"

namespace corveth {

struct FINANCIAL::Table {
    static constexpr std::span<const MemberRow> members{};
};

constinit const ClassInfo FINANCIAL::description = describe<FINANCIAL, FINANCIAL::Table>();

} // namespace corveth
