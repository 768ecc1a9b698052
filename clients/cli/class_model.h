#pragma once

#include "common/late_bound.h"

#include <string>
#include <string_view>
#include <vector>

namespace corveth::cli {

/// What the members of a class are for; all that is known of a class beyond its type description.
struct ClassModel {
    struct Member {
        std::string name;
        std::vector<std::string> roles;
        std::string argument;

        [[nodiscard]] bool has(std::string_view role) const noexcept;
    };

    std::string name;
    std::string progId;
    std::vector<Member> members; ///< those with a role

    [[nodiscard]] const Member* withRole(std::string_view role) const noexcept;
    [[nodiscard]] bool memberHas(std::string_view memberName, std::string_view role) const noexcept;

    /// From the text that the server's type library gives of a class.
    static ClassModel parse(const std::string& rolesText);
};

/// The member that `name` means; 438 that names the class and the closest member when there is none.
const client::MemberDescription& memberNamed(const client::ClassDescription& description, const std::string& name);

/// The slot of `first` or else `second`; null when the member has neither, 438 when there is no such member.
const client::MemberDescription* slotOf(const client::ClassDescription& description, const std::string& name,
                                        client::MemberKind first, client::MemberKind second);

/// True for `Object:X`, `Picture` and the other types whose values are references.
bool isObjectType(std::string_view type) noexcept;

} // namespace corveth::cli
