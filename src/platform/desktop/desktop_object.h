#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// What a late-bound client can see of this process's desktop: a failure that was only shown, and the clock.
class CORVETH_API Desktop final : public Described<Desktop> {
public:
    static constexpr const char* className = "Desktop";
    static const ClassInfo description;

    /// Message boxes that this thread has shown so far.
    [[nodiscard]] std::int32_t get_MessageBoxCount() const noexcept;
    /// `TITLE: TEXT` of the last of them.
    [[nodiscard]] Text get_LastMessageBox() const;
    [[nodiscard]] Date get_Now() const;

private:
    struct Table;
};

} // namespace corveth
