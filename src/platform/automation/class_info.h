#pragma once

#include "platform/automation/value.h"

#include <array>
#include <span>

namespace corveth {

/// Types as the type library names them.
enum class TypeKind : std::uint8_t {
    none,
    text,
    integer,
    longInteger,
    byte,
    single,
    doubleFloat,
    boolean,
    currency,
    date,
    variant,
    object,      ///< of the class `name`
    enumeration, ///< `name`; 32 bits
    record,      ///< `name`
    picture,
    connection,
    enumerator,
    anyObject,
};

struct EnumInfo {
    struct Member {
        const char* name;
        std::int32_t value;
    };
    const char* name;
    std::span<const Member> members;
};

struct TypeRef {
    TypeKind kind = TypeKind::none;
    const char* name = nullptr;            ///< of the class, enumeration or record
    const EnumInfo* enumeration = nullptr; ///< when `kind` is enumeration
    const RecordInfo* record = nullptr;    ///< when `kind` is record
};

struct RecordInfo {
    struct Field {
        const char* name;
        TypeRef type;
    };
    const char* name;
    std::span<const Field> fields;
};

enum class MemberKind : std::uint8_t { get, let, set, method };

/// What a member is for, beyond its signature; generic clients work from this and know no class.
enum class Role : std::uint16_t {
    none = 0,
    key = 1,     ///< names the row
    loads = 2,   ///< reads the row (or rows) when called or assigned
    saves = 4,   ///< writes the row
    preset = 8,  ///< must be set before a new record takes its defaults
    removes = 16 ///< deletes the row
};
constexpr Role operator|(Role a, Role b) noexcept {
    return static_cast<Role>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}
constexpr bool has(Role roles, Role role) noexcept {
    return (static_cast<unsigned>(roles) & static_cast<unsigned>(role)) != 0;
}

struct ParamInfo {
    const char* name = nullptr;
    TypeRef type;
    bool byRef = false;
    bool optional = false;
    bool writesBack = false; ///< what the callee leaves in the argument goes back to the client
};

/// Takes the arguments in their order (`Missing` where one was left out), for a let or set the assigned value last.
/// What a by-reference argument became stands in its place afterwards.
using Invoker = Value (*)(Object& self, Value* arguments);

inline constexpr std::size_t maxParams = 8;
inline constexpr std::size_t maxSlotsPerRow = 3;

/// One row of a members table: a method, or all slots of one property in their order.
struct MemberRow {
    struct Slot {
        MemberKind kind = MemberKind::method;
        Invoker invoke = nullptr;
    };
    const char* name = nullptr;
    std::array<Slot, maxSlotsPerRow> slots{};
    std::uint8_t slotCount = 0;
    std::uint8_t paramCount = 0;
    std::array<ParamInfo, maxParams> params{};
    TypeRef type{}; ///< of the property, or what the method returns
    bool isField = false;
    bool isDefault = false;
    bool isEnumerator = false;
    bool isAvailable = true; ///< false: hands out a class that is not in this build, raises 445
    Role role = Role::none;
    const char* roleArgument =
        nullptr; ///< what a member that saves is given, as text (`=NAME`: a property's value); of the key, its column

    [[nodiscard]] constexpr std::span<const ParamInfo> parameters() const noexcept {
        return {params.data(), paramCount};
    }
};

class DispatchIndex;

/// Everything that is known of a class. One constant a class; `typelib/classes.cpp` lists them all.
struct ClassInfo {
    const char* library; ///< the first half of the programmatic identifier
    const char* name;
    Ref<Object> (*create)(); ///< null when clients cannot create it
    std::span<const MemberRow> members;
    const DispatchIndex& (*index)();

    [[nodiscard]] Text progId() const { return Text(library) + "." + name; }
    [[nodiscard]] bool isPublic() const noexcept { return TextView(library) == defaultSource; }
};

} // namespace corveth
