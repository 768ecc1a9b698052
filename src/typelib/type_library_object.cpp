#include "typelib/type_library_object.h"

#include "platform/automation/class_registry.h"
#include "platform/automation/dispatch.h"
#include "typelib/interface_text.h"
#include "typelib/json.h"

#include <vector>

namespace corveth {

namespace {

Text unknownClass(TextView name) {
    std::vector<Text> identifiers;
    std::vector<TextView> candidates;
    for (const ClassInfo* info : allClasses())
        identifiers.push_back(info->progId());
    const bool isQualified = name.find('.') != TextView::npos;
    for (const Text& identifier : identifiers) {
        candidates.push_back(isQualified ? TextView(identifier)
                                         : TextView(identifier).substr(identifier.find('.') + 1));
    }
    Text text = Text("there is no class \"").append(name).append("\"");
    const TextView closest = closestName(name, candidates);
    if (!closest.empty()) text.append("; did you mean ").append(closest).append("?");
    return text;
}

const ClassInfo& classNamed(TextView name) {
    if (const ClassInfo* info = findClass(name)) return *info;
    if (name.find('.') == TextView::npos) {
        for (const ClassInfo* info : allClasses()) {
            if (equalNoCase(info->name, name)) return *info;
        }
    }
    raise(errors::cannotCreate, unknownClass(name));
}

} // namespace

Text TypeLibrary::ClassNames(bool CreatableOnly) const {
    Text creatable, others;
    for (const ClassInfo* info : allClasses())
        (info->create != nullptr ? creatable : others) += info->progId() + "\n";
    return CreatableOnly ? creatable : creatable + others;
}

Text TypeLibrary::Json(const Text& ClassName) const {
    return (ClassName.empty() ? libraryJson() : classJson(classNamed(ClassName))).dump(1);
}

Text TypeLibrary::InterfaceText() const {
    return interfaceText();
}

Text TypeLibrary::Roles(const Text& ClassName) const {
    return rolesJson(classNamed(ClassName)).dump(1);
}

struct TypeLibrary::Table {
    static constexpr MemberRow members[] = {
        method<&TypeLibrary::ClassNames>("ClassNames", optional("CreatableOnly")),
        method<&TypeLibrary::Json>("Json", optional("ClassName")),
        method<&TypeLibrary::InterfaceText>("InterfaceText"),
        method<&TypeLibrary::Roles>("Roles", "ClassName"),
    };
};
constinit const ClassInfo TypeLibrary::description = describe<TypeLibrary, TypeLibrary::Table>("Corveth");

} // namespace corveth
