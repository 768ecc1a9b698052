#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// Can be created and does nothing.
class CORVETH_API FINANCIAL final : public Described<FINANCIAL> {
public:
    static constexpr const char* className = "FINANCIAL";
    static const ClassInfo description;

private:
    struct Table;
};

} // namespace corveth
