#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// One postal address; a plain holder.
class CORVETH_API Address final : public Described<Address> {
public:
    static constexpr const char* className = "Address";
    static const ClassInfo description;

    Text Add1, Add2, Country, State, City, Pin;
    Text DisplayAs; ///< the address's own title, such as "Home"
    Text Email;

    /// Empties all fields.
    void InitClass();

    /// A new, empty address with a title.
    static Ref<Address> titled(const char* displayAs);

private:
    struct Table;
};

} // namespace corveth
