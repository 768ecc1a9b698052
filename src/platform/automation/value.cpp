#include "platform/automation/value.h"

#include "platform/automation/class_info.h"

namespace corveth {

const Bytes& Value::noBytes() noexcept {
    static const Bytes none;
    return none;
}

TextView typeName(const Value& value) noexcept {
    switch (value.type()) {
    case ValueType::empty:
        return "Empty";
    case ValueType::null:
        return "Null";
    case ValueType::boolean:
        return "Boolean";
    case ValueType::byte:
        return "Byte";
    case ValueType::integer:
        return "Integer";
    case ValueType::longInteger:
        return "Long";
    case ValueType::single:
        return "Single";
    case ValueType::doubleFloat:
        return "Double";
    case ValueType::currency:
        return "Currency";
    case ValueType::date:
        return "Date";
    case ValueType::text:
        return "String";
    case ValueType::object: {
        const auto& object = *value.getIf<Ref<Object>>();
        return object ? object->classInfo().name : "Nothing";
    }
    case ValueType::bytes:
        return "Byte()";
    case ValueType::record: {
        const auto* info = value.getIf<Record>()->info;
        return info != nullptr ? info->name : "Record";
    }
    case ValueType::missing:
        return "Missing";
    }
    return "";
}

} // namespace corveth
