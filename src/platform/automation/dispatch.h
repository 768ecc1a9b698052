#pragma once

#include "platform/automation/class_info.h"

#include <initializer_list>
#include <optional>

namespace corveth {

using DispId = std::int32_t;

namespace dispIds {
inline constexpr DispId defaultMember = 0;
inline constexpr DispId enumerator = -4;
/// Public fields count up from here, every other member from `procedures`.
inline constexpr DispId fields = 0x68030000;
inline constexpr DispId procedures = 0x60030000;
} // namespace dispIds

/// One slot of a class's interface.
struct SlotInfo {
    int number; ///< from 1
    DispId id;
    MemberKind kind;
    const MemberRow* row;
    Invoker invoke;
};

/// A class's members by dispatch id and by name, made once from its table.
class CORVETH_API DispatchIndex {
public:
    explicit DispatchIndex(const ClassInfo& info);

    [[nodiscard]] std::span<const SlotInfo> slots() const noexcept { return slots_; }
    /// The id of `name`, compared without regard to case.
    [[nodiscard]] std::optional<DispId> idOf(TextView name) const noexcept;
    [[nodiscard]] const MemberRow* member(DispId id) const noexcept;
    /// The slot of `kind` of the member `id`; null when it has none.
    [[nodiscard]] const SlotInfo* slot(DispId id, MemberKind kind) const noexcept;

private:
    struct Entry {
        const MemberRow* row = nullptr;
        std::array<const SlotInfo*, 4> byKind{};
    };
    [[nodiscard]] const Entry* entry(DispId id) const noexcept;

    std::vector<SlotInfo> slots_;
    std::vector<Entry> fields_, procedures_;
    Entry default_, enumerator_;
    struct Name {
        const char* name;
        DispId id;
    };
    std::vector<Name> names_; ///< sorted without regard to case
};

/// What a client wants of a member; several may be asked for at once (a call that may be a property).
namespace invokeFlags {
inline constexpr unsigned method = 1;
inline constexpr unsigned propertyGet = 2;
inline constexpr unsigned propertyPut = 4;
inline constexpr unsigned propertyPutRef = 8;
} // namespace invokeFlags

/// An argument given by parameter number (from 0).
struct NamedArgument {
    int position;
    Value value;
};

/// A late-bound call. `positional` stands in the order of the parameters; `assigned` is the value of a put.
/// By-reference arguments are replaced by what the callee left in them, others may be moved from. Errors: 438 for a
/// member or kind that the class has not, 450, 448, 449 for arguments, 445 for what is not in this build, 0x8001010E on
/// another thread, conversion errors that name the argument, and whatever the member raises.
CORVETH_API Value invoke(Object& self, DispId id, unsigned flags, std::span<Value> positional,
                         std::span<NamedArgument> named = {}, Value* assigned = nullptr);

// The same by name, for C++ callers that know a class by its description only.
CORVETH_API DispId memberId(const ClassInfo& info, TextView name);
CORVETH_API Value callMember(Object& self, TextView name, std::initializer_list<Value> arguments = {});
CORVETH_API Value getMember(Object& self, TextView name, std::initializer_list<Value> arguments = {});
CORVETH_API void letMember(Object& self, TextView name, Value value);

/// `Class.Member`, for messages.
CORVETH_API Text memberPath(const ClassInfo& info, TextView member);

/// The name in `candidates` closest to `name` by edit distance; empty when none is near.
CORVETH_API TextView closestName(TextView name, std::span<const TextView> candidates);

} // namespace corveth
