#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// A named release of a product; one row of `Versions`.
class CORVETH_API Version final : public Described<Version> {
public:
    static constexpr const char* className = "Version";
    static const ClassInfo description;

    Text VersionName;
    Text Description;
    Text ReleaseDate; ///< empty when there is none

    void let_ID(Text value) { id_ = std::move(value); }
    [[nodiscard]] Text get_ID() const { return id_; }

    /// Loads the row of `ID`; without one the texts become empty. A Null date leaves the one that is held; 94 for a
    /// Null name.
    void Populate();
    /// Writes the row of `ID`; when there is none, a new one, and `ID` becomes its.
    void Update();

private:
    struct Table;

    Text id_;
};

} // namespace corveth
