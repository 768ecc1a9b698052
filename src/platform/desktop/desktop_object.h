#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// What a late-bound client can see of this process's desktop and tell it: a failure that was only shown, the clock,
/// the file to be chosen, names of files.
class CORVETH_API Desktop final : public Described<Desktop> {
public:
    static constexpr const char* className = "Desktop";
    static const ClassInfo description;

    /// Message boxes that this thread has shown so far.
    [[nodiscard]] std::int32_t get_MessageBoxCount() const noexcept;
    /// `TITLE: TEXT` of the last of them.
    [[nodiscard]] Text get_LastMessageBox() const;
    [[nodiscard]] Date get_Now() const;
    /// As `chooseFileInAdvance`.
    void ChooseFile(const Text& path);
    /// As `fileNameFrom`.
    [[nodiscard]] Text FileName(const Text& title) const;

private:
    struct Table;
};

} // namespace corveth
