#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// Tells clients that only load the server what it holds.
class TypeLibrary final : public Described<TypeLibrary> {
public:
    static constexpr const char* className = "TypeLibrary";
    static const ClassInfo description;

    /// Programmatic identifiers, one a line, those that clients can create first; `CreatableOnly` leaves out the
    /// others.
    Text ClassNames(bool CreatableOnly) const;
    /// As JSON: the library, or one class by its identifier or its name alone; 429 for one that is unknown.
    Text Json(const Text& ClassName) const;
    /// The library as interface-definition text.
    Text InterfaceText() const;
    /// As JSON: which members of a class name its row, load, save and remove it, and come before its defaults.
    Text Roles(const Text& ClassName) const;

private:
    struct Table;
};

} // namespace corveth
