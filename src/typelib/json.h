#pragma once

#include "platform/automation/class_info.h"

#include <nlohmann/json.hpp>

namespace corveth {

inline constexpr const char* libraryVersion = "1.2";

using OrderedJson = nlohmann::ordered_json;

/// The whole library: its public classes, enumerations and records.
CORVETH_API OrderedJson libraryJson();
/// One class, of the platform too: its members in slot order.
CORVETH_API OrderedJson classJson(const ClassInfo& info);
/// What the members of a class are for, apart from their signatures: `{"class": .., "progid": .., "members":
/// [{"name": .., "roles": ["key"], "argument": "Notes.NoteId"}]}`, members without a role left out.
CORVETH_API OrderedJson rolesJson(const ClassInfo& info);

/// The name of a type: `String`, `Object:Contact`, `none`.
CORVETH_API Text typeName(const TypeRef& type);
/// `get`, `let`, `set` or `method`.
CORVETH_API TextView kindName(MemberKind kind) noexcept;

} // namespace corveth
