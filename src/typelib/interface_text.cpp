#include "typelib/interface_text.h"

#include "platform/automation/class_registry.h"
#include "platform/automation/dispatch.h"
#include "typelib/identifiers.h"
#include "typelib/json.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <map>
#include <vector>

namespace corveth {

namespace {

Text idlType(const TypeRef& type) {
    switch (type.kind) {
    case TypeKind::none:
        return "void";
    case TypeKind::text:
        return "BSTR";
    case TypeKind::integer:
        return "short";
    case TypeKind::longInteger:
        return "long";
    case TypeKind::byte:
        return "unsigned char";
    case TypeKind::single:
        return "float";
    case TypeKind::doubleFloat:
        return "double";
    case TypeKind::boolean:
        return "VARIANT_BOOL";
    case TypeKind::currency:
        return "CURRENCY";
    case TypeKind::date:
        return "DATE";
    case TypeKind::variant:
        return "VARIANT";
    case TypeKind::object:
        return fmt::format("_{}*", type.name);
    case TypeKind::enumeration:
    case TypeKind::record:
        return type.name;
    case TypeKind::picture:
        return "IPictureDisp*";
    case TypeKind::connection:
        return "_Connection*";
    case TypeKind::enumerator:
        return "IUnknown*";
    case TypeKind::anyObject:
        return "IDispatch*";
    }
    return "void";
}

Text paramText(const ParamInfo& param) {
    const char* direction = param.byRef ? "in, out" : "in";
    return fmt::format("[{}{}] {}{} {}", direction, param.optional ? ", optional" : "", idlType(param.type),
                       param.byRef ? "*" : "", param.name);
}

TextView attributeOf(MemberKind kind) noexcept {
    switch (kind) {
    case MemberKind::get:
        return ", propget";
    case MemberKind::let:
        return ", propput";
    case MemberKind::set:
        return ", propputref";
    case MemberKind::method:
        break;
    }
    return "";
}

Text idText(DispId id) {
    return id > 0 ? fmt::format("0x{:08x}", id) : fmt::format("{}", id);
}

Text memberText(const SlotInfo& slot) {
    const MemberRow& row = *slot.row;
    std::vector<Text> params;
    for (const ParamInfo& param : row.parameters())
        params.push_back(paramText(param));
    const bool assigns = slot.kind == MemberKind::let || slot.kind == MemberKind::set;
    if (assigns) {
        params.push_back(fmt::format("[in] {} value", idlType(row.type)));
    } else if (row.type.kind != TypeKind::none) {
        params.push_back(fmt::format("[out, retval] {}* result", idlType(row.type)));
    }
    return fmt::format("        [id({}){}{}] HRESULT {}({});\n", idText(slot.id), attributeOf(slot.kind),
                       row.isEnumerator ? ", restricted, hidden" : "", row.name, fmt::join(params, ", "));
}

Text enumText(const EnumInfo& info) {
    Text text = fmt::format("    [uuid({})]\n    typedef enum {} {{\n",
                            toText(identifierOf(Text(defaultSource) + "." + info.name)), info.name);
    for (std::size_t i = 0; i < info.members.size(); ++i) {
        fmt::format_to(std::back_inserter(text), "        {} = {}{}\n", info.members[i].name, info.members[i].value,
                       i + 1 < info.members.size() ? "," : "");
    }
    fmt::format_to(std::back_inserter(text), "    }} {};\n\n", info.name);
    return text;
}

Text recordText(const RecordInfo& info) {
    Text text = fmt::format("    [uuid({})]\n    typedef struct {} {{\n",
                            toText(identifierOf(Text(defaultSource) + "." + info.name)), info.name);
    for (const auto& field : info.fields) {
        fmt::format_to(std::back_inserter(text), "        {} {};\n", idlType(field.type), field.name);
    }
    fmt::format_to(std::back_inserter(text), "    }} {};\n\n", info.name);
    return text;
}

Text classText(const ClassInfo& info) {
    Text text = fmt::format("    [odl, uuid({}), version({}), hidden, dual, nonextensible, oleautomation]\n"
                            "    interface _{} : IDispatch {{\n",
                            toText(interfaceId(info)), libraryVersion, info.name);
    for (const SlotInfo& slot : info.index().slots())
        text += memberText(slot);
    fmt::format_to(std::back_inserter(text),
                   "    }};\n\n"
                   "    [uuid({}), version({}){}]\n"
                   "    coclass {} {{\n"
                   "        [default] interface _{};\n"
                   "    }};\n\n",
                   toText(classId(info)), libraryVersion, info.create == nullptr ? ", noncreatable" : "", info.name,
                   info.name);
    return text;
}

/// The library's interfaces by name, each with whether this build has it; a member may hand out one that is missing.
std::map<Text, bool> namedInterfaces() {
    std::map<Text, bool> present;
    const auto mention = [&](const TypeRef& type) {
        if (type.kind == TypeKind::object) present.try_emplace(type.name, false);
    };
    for (const ClassInfo* info : allClasses()) {
        if (!info->isPublic()) continue;
        present[info->name] = true;
        for (const MemberRow& row : info->members) {
            mention(row.type);
            for (const ParamInfo& param : row.parameters())
                mention(param.type);
        }
    }
    return present;
}

} // namespace

Text interfaceText() {
    Text text = fmt::format("[\n    uuid({}),\n    version({})\n]\nlibrary {} {{\n\n", toText(libraryId()),
                            libraryVersion, defaultSource);
    for (const auto& [name, isPresent] : namedInterfaces()) {
        fmt::format_to(std::back_inserter(text), "    interface _{};{}\n", name,
                       isPresent ? "" : " // not available in this build");
    }
    text += '\n';
    for (const EnumInfo* info : allEnums())
        text += enumText(*info);
    for (const RecordInfo* info : allRecords())
        text += recordText(*info);
    for (const ClassInfo* info : allClasses()) {
        if (info->isPublic()) text += classText(*info);
    }
    text += "};\n";
    return text;
}

} // namespace corveth
