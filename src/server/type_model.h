#pragma once

#include "platform/automation/class_info.h"
#include "server/binary/binary_interface.h"

#include <deque>
#include <string>
#include <vector>

namespace corveth::server {

/// A type description, worked out once and then kept for the life of the process: the structures that clients get to
/// see point into it.
struct TypeModel {
    struct Function {
        binary::FuncDesc description{};
        std::vector<binary::ElemDesc> params;
        const MemberRow* row = nullptr;
    };
    struct Variable {
        binary::VarDesc description{};
        binary::Variant constant{};
        const char* name = nullptr;
    };
    std::string name;
    std::string text; ///< programmatic identifier of a class that is in this build
    binary::TypeAttr attributes{};
    std::deque<Function> functions; ///< in slot order
    std::deque<Variable> variables; ///< members of an enumeration, fields of a record
    std::deque<binary::TypeDesc> pointed;
    const RecordInfo* record = nullptr;
};

/// Legal on any thread.
const TypeModel& modelOf(const ClassInfo& info);
const TypeModel& modelOf(const EnumInfo& info);
const TypeModel& modelOf(const RecordInfo& info);
/// By the reference in a type description; null when there is no such.
const TypeModel* modelOf(binary::RefType reference);

/// A description for clients, counted once for the receiver.
binary::ITypeInfo* makeTypeInfo(const TypeModel& model);

} // namespace corveth::server
