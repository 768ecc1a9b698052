#include "platform/automation/class_registry.h"

#include <algorithm>

namespace corveth {

namespace {

bool isNamed(const ClassInfo& info, TextView progId) noexcept {
    const TextView library = info.library;
    return progId.size() > library.size() && progId[library.size()] == '.' &&
           equalNoCase(progId.substr(0, library.size()), library) &&
           equalNoCase(progId.substr(library.size() + 1), info.name);
}

} // namespace

const ClassInfo* findClass(TextView progId) noexcept {
    const auto classes = allClasses();
    const auto found = std::ranges::find_if(classes, [&](const ClassInfo* info) { return isNamed(*info, progId); });
    return found == classes.end() ? nullptr : *found;
}

Ref<Object> createObject(TextView progId) {
    const ClassInfo* info = findClass(progId);
    if (info == nullptr || info->create == nullptr) raise(errors::cannotCreate, "\"" + Text(progId) + "\"");
    return info->create();
}

} // namespace corveth
