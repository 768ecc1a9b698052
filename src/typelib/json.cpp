#include "typelib/json.h"

#include "platform/automation/class_registry.h"
#include "platform/automation/dispatch.h"

namespace corveth {

namespace {

TextView plainTypeName(TypeKind kind) noexcept {
    switch (kind) {
    case TypeKind::none:
        return "none";
    case TypeKind::text:
        return "String";
    case TypeKind::integer:
        return "Integer";
    case TypeKind::longInteger:
        return "Long";
    case TypeKind::byte:
        return "Byte";
    case TypeKind::single:
        return "Single";
    case TypeKind::doubleFloat:
        return "Double";
    case TypeKind::boolean:
        return "Boolean";
    case TypeKind::currency:
        return "Currency";
    case TypeKind::date:
        return "Date";
    case TypeKind::variant:
        return "Variant";
    case TypeKind::object:
    case TypeKind::anyObject:
        return "Object";
    case TypeKind::enumeration:
        return "Enum";
    case TypeKind::record:
        return "Record";
    case TypeKind::picture:
        return "Picture";
    case TypeKind::connection:
        return "Connection";
    case TypeKind::enumerator:
        return "Enumerator";
    }
    return "none";
}

OrderedJson paramJson(const ParamInfo& param) {
    return {{"name", param.name}, {"type", typeName(param.type)}, {"byref", param.byRef}, {"optional", param.optional}};
}

OrderedJson slotJson(const SlotInfo& slot) {
    const MemberRow& row = *slot.row;
    OrderedJson params = OrderedJson::array();
    for (const ParamInfo& param : row.parameters())
        params.push_back(paramJson(param));
    return {{"slot", slot.number},
            {"dispid", slot.id},
            {"name", row.name},
            {"kind", kindName(slot.kind)},
            {"params", std::move(params)},
            {"type", typeName(row.type)},
            {"default", row.isDefault},
            {"enumerator", row.isEnumerator},
            {"hidden", row.isEnumerator}};
}

OrderedJson enumJson(const EnumInfo& info) {
    OrderedJson members = OrderedJson::array();
    for (const auto& member : info.members)
        members.push_back({{"name", member.name}, {"value", member.value}});
    return {{"name", info.name}, {"members", std::move(members)}};
}

OrderedJson recordJson(const RecordInfo& info) {
    OrderedJson fields = OrderedJson::array();
    for (const auto& field : info.fields)
        fields.push_back({{"name", field.name}, {"type", typeName(field.type)}});
    return {{"name", info.name}, {"fields", std::move(fields)}};
}

struct RoleName {
    Role role;
    const char* name;
};
constexpr RoleName roleNames[] = {
    {Role::key, "key"},       {Role::loads, "loads"},     {Role::saves, "saves"},
    {Role::preset, "preset"}, {Role::removes, "removes"},
};

} // namespace

Text typeName(const TypeRef& type) {
    Text name(plainTypeName(type.kind));
    const bool isNamed =
        type.kind == TypeKind::object || type.kind == TypeKind::enumeration || type.kind == TypeKind::record;
    if (isNamed) name.append(":").append(type.name);
    return name;
}

TextView kindName(MemberKind kind) noexcept {
    switch (kind) {
    case MemberKind::get:
        return "get";
    case MemberKind::let:
        return "let";
    case MemberKind::set:
        return "set";
    case MemberKind::method:
        return "method";
    }
    return "method";
}

OrderedJson classJson(const ClassInfo& info) {
    OrderedJson members = OrderedJson::array();
    for (const SlotInfo& slot : info.index().slots())
        members.push_back(slotJson(slot));
    return {{"name", info.name},
            {"progid", info.progId()},
            {"creatable", info.create != nullptr},
            {"interface", Text("_") + info.name},
            {"members", std::move(members)}};
}

OrderedJson libraryJson() {
    OrderedJson classes = OrderedJson::array();
    for (const ClassInfo* info : allClasses()) {
        if (info->isPublic()) classes.push_back(classJson(*info));
    }
    OrderedJson enums = OrderedJson::array();
    for (const EnumInfo* info : allEnums())
        enums.push_back(enumJson(*info));
    OrderedJson records = OrderedJson::array();
    for (const RecordInfo* info : allRecords())
        records.push_back(recordJson(*info));
    return {{"library", defaultSource},
            {"version", libraryVersion},
            {"classes", std::move(classes)},
            {"enums", std::move(enums)},
            {"records", std::move(records)}};
}

OrderedJson rolesJson(const ClassInfo& info) {
    OrderedJson members = OrderedJson::array();
    for (const MemberRow& row : info.members) {
        OrderedJson roles = OrderedJson::array();
        for (const auto& [role, name] : roleNames) {
            if (has(row.role, role)) roles.push_back(name);
        }
        if (roles.empty()) continue;
        OrderedJson argument;
        if (row.roleArgument != nullptr) argument = row.roleArgument;
        members.push_back({{"name", row.name}, {"roles", std::move(roles)}, {"argument", std::move(argument)}});
    }
    return {{"class", info.name}, {"progid", info.progId()}, {"members", std::move(members)}};
}

} // namespace corveth
