#include "server/variants.h"

#include "platform/automation/convert.h"
#include "server/binary/memory.h"
#include "server/object_wrapper.h"
#include "server/record_layout.h"

#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>

namespace corveth::server {

namespace {

namespace vt = binary::vt;
using binary::Variant;
using binary::VarType;

[[noreturn]] void refuse(VarType type) {
    raise(errors::typeMismatch, "a value of type code " + std::to_string(type) + " cannot be passed");
}

template <class Number>
Value toLongValue(Number number) {
    if (!std::in_range<std::int32_t>(number)) raise(errors::overflow, std::to_string(number));
    return static_cast<std::int32_t>(number);
}

template <class Number>
Value finite(Number number) {
    if (!std::isfinite(number)) raise(errors::overflow, "not a finite number");
    return number;
}

Value toBytesValue(const binary::SafeArray* array) {
    std::span<const std::byte> bytes;
    if (!binary::bytesOf(array, bytes)) raise(errors::typeMismatch, "an array of bytes in one dimension is needed");
    return Bytes(bytes.begin(), bytes.end());
}

Value fromVariantAt(const Variant& variant, int depth) {
    switch (variant.vt) {
    case vt::empty:
        return {};
    case vt::null:
        return Null{};
    case vt::bstr:
        return fromBstr(variant.bstr);
    case vt::record:
    case vt::record | vt::byRef:
        return recordOfClient(variant.record.data, variant.record.info);
    default:
        break;
    }
    if ((variant.vt & vt::byRef) == 0) return fromMemory(variant.vt, &variant.i8);
    if (variant.byRef == nullptr) raise(errors::invalidCall, "a by-reference argument without an address");
    const auto type = static_cast<VarType>(variant.vt & ~vt::byRef);
    if (type != vt::variant) return fromMemory(type, variant.byRef);
    // One step more is what a client passes that got the argument by reference itself; a chain of them is nonsense.
    if (depth > 1) refuse(variant.vt);
    return fromVariantAt(*static_cast<const Variant*>(variant.byRef), depth + 1);
}

template <class T>
void store(void* target, T value) noexcept {
    *static_cast<T*>(target) = value;
}

/// The target holds an interface pointer of its own.
void storeObject(void* target, const Value& value, VarType type) {
    Ref<Object> object;
    if (const auto* held = value.getIf<Ref<Object>>()) {
        object = *held;
    } else if (!value.is(ValueType::empty)) {
        raise(errors::typeMismatch, "an object is needed");
    }
    binary::IUnknown* out = object ? toClient(*object) : nullptr;
    if (type == vt::dispatch && out != nullptr) {
        // An enumerator has no members to call.
        auto dispatch = binary::query<binary::IDispatch>(out, binary::ids::dispatch);
        out->Release();
        if (!dispatch) raise(errors::typeMismatch, "an object with members is needed");
        out = dispatch.detach();
    }
    auto* before = *static_cast<binary::IUnknown**>(target);
    store(target, out);
    if (before != nullptr) before->Release();
}

void storeBytes(void* target, const Value& value) {
    const auto* bytes = value.getIf<Bytes>();
    if (bytes == nullptr) raise(errors::typeMismatch, "an array of bytes is needed");
    binary::SafeArray* array = binary::toSafeArray(*bytes);
    if (array == nullptr) throw std::bad_alloc();
    binary::freeArray(*static_cast<binary::SafeArray**>(target));
    store(target, array);
}

void storeText(void* target, const Value& value) {
    auto* const text = toBstr(toText(value));
    binary::freeText(*static_cast<binary::Bstr*>(target));
    store(target, text);
}

void storeVariant(Variant& target, const Value& value) {
    if ((target.vt & vt::byRef) != 0) return writeBack(value, target);
    Variant replacement;
    toVariant(value, replacement);
    binary::clear(target);
    target = replacement;
}

template <class Number>
Number checked(std::int32_t value) {
    if (!std::in_range<Number>(value)) raise(errors::overflow, std::to_string(value));
    return static_cast<Number>(value);
}

} // namespace

Value fromMemory(VarType type, const void* data) {
    const auto as = [&]<class T>(std::type_identity<T> /*unused*/) { return *static_cast<const T*>(data); };
    switch (type) {
    case vt::i1:
        return static_cast<std::int16_t>(as(std::type_identity<std::int8_t>{}));
    case vt::ui1:
        return as(std::type_identity<std::uint8_t>{});
    case vt::i2:
        return as(std::type_identity<std::int16_t>{});
    case vt::ui2:
        return static_cast<std::int32_t>(as(std::type_identity<std::uint16_t>{}));
    case vt::i4:
    case vt::intMachine:
        return as(std::type_identity<std::int32_t>{});
    case vt::ui4:
    case vt::uintMachine:
        return toLongValue(as(std::type_identity<std::uint32_t>{}));
    case vt::i8:
        return toLongValue(as(std::type_identity<std::int64_t>{}));
    case vt::ui8:
        return toLongValue(as(std::type_identity<std::uint64_t>{}));
    case vt::r4:
        return finite(as(std::type_identity<float>{}));
    case vt::r8:
        return finite(as(std::type_identity<double>{}));
    case vt::cy:
        return Currency{as(std::type_identity<std::int64_t>{})};
    case vt::date:
        return checkedDate(as(std::type_identity<double>{}));
    case vt::boolean:
        return as(std::type_identity<binary::VariantBool>{}) != 0;
    case vt::bstr:
        return fromBstr(as(std::type_identity<binary::Bstr>{}));
    case vt::dispatch:
    case vt::unknown:
        return objectOfClient(as(std::type_identity<binary::IUnknown*>{}));
    case vt::array | vt::ui1:
        return toBytesValue(as(std::type_identity<binary::SafeArray*>{}));
    case vt::variant:
        return fromVariant(*static_cast<const Variant*>(data));
    case vt::error:
        if (as(std::type_identity<binary::HResult>{}) == binary::results::paramNotFound) return Missing{};
        refuse(type);
    default:
        refuse(type);
    }
}

void storeAs(VarType type, void* target, const Value& value) {
    switch (type) {
    case vt::i1:
        return store(target, checked<std::int8_t>(toLong(value)));
    case vt::ui1:
        return store(target, toByte(value));
    case vt::i2:
        return store(target, toInteger(value));
    case vt::ui2:
        return store(target, checked<std::uint16_t>(toLong(value)));
    case vt::i4:
    case vt::intMachine:
        return store(target, toLong(value));
    case vt::ui4:
    case vt::uintMachine:
        return store(target, checked<std::uint32_t>(toLong(value)));
    case vt::i8:
        return store(target, static_cast<std::int64_t>(toLong(value)));
    case vt::ui8:
        return store(target, checked<std::uint64_t>(toLong(value)));
    case vt::r4:
        return store(target, toSingle(value));
    case vt::r8:
        return store(target, toDouble(value));
    case vt::cy:
        return store(target, toCurrency(value).scaled);
    case vt::date:
        return store(target, toDate(value).day);
    case vt::boolean:
        return store(target, static_cast<binary::VariantBool>(toBoolean(value) ? -1 : 0));
    case vt::bstr:
        return storeText(target, value);
    case vt::dispatch:
    case vt::unknown:
        return storeObject(target, value, type);
    case vt::array | vt::ui1:
        return storeBytes(target, value);
    case vt::variant:
        return storeVariant(*static_cast<Variant*>(target), value);
    default:
        refuse(type);
    }
}

binary::Bstr toBstr(TextView text) {
    auto* const result = binary::toBstr(text);
    if (result != nullptr) return result;
    if (!isUtf8(text)) raise(errors::invalidCall, "a text is not well-formed");
    throw std::bad_alloc();
}

Text fromBstr(const binary::OleChar* text) {
    Text result;
    switch (binary::appendUtf8(text, result)) {
    case binary::TextFault::none:
        return result;
    case binary::TextFault::loneSurrogate:
        raise(errors::invalidCall, "the text holds half of a surrogate pair");
    case binary::TextFault::holdsNul:
        raise(errors::invalidCall, "the text holds a NUL character");
    case binary::TextFault::oddLength:
        break;
    }
    raise(errors::invalidCall, "the text ends within a character");
}

Value fromVariant(const Variant& variant) {
    return fromVariantAt(variant, 0);
}

void toVariant(const Value& value, Variant& variant) {
    variant = Variant{};
    switch (value.type()) {
    case ValueType::empty:
        break;
    case ValueType::null:
        variant.vt = vt::null;
        break;
    case ValueType::boolean:
        variant.boolean = *value.getIf<bool>() ? -1 : 0;
        variant.vt = vt::boolean;
        break;
    case ValueType::byte:
        variant.ui1 = *value.getIf<std::uint8_t>();
        variant.vt = vt::ui1;
        break;
    case ValueType::integer:
        variant.i2 = *value.getIf<std::int16_t>();
        variant.vt = vt::i2;
        break;
    case ValueType::longInteger:
        variant.i4 = *value.getIf<std::int32_t>();
        variant.vt = vt::i4;
        break;
    case ValueType::single:
        variant.r4 = *value.getIf<float>();
        variant.vt = vt::r4;
        break;
    case ValueType::doubleFloat:
        variant.r8 = *value.getIf<double>();
        variant.vt = vt::r8;
        break;
    case ValueType::currency:
        variant.cy = value.getIf<Currency>()->scaled;
        variant.vt = vt::cy;
        break;
    case ValueType::date:
        variant.date = value.getIf<Date>()->day;
        variant.vt = vt::date;
        break;
    case ValueType::text:
        variant.bstr = toBstr(*value.getIf<Text>());
        variant.vt = vt::bstr;
        break;
    case ValueType::object: {
        const auto& object = *value.getIf<Ref<Object>>();
        variant.unknown = object ? toClient(*object) : nullptr;
        variant.vt = object && !isCallable(*object) ? vt::unknown : vt::dispatch;
        break;
    }
    case ValueType::bytes:
        variant.array = binary::toSafeArray(*value.getIf<Bytes>());
        if (variant.array == nullptr) throw std::bad_alloc();
        variant.vt = vt::array | vt::ui1;
        break;
    case ValueType::record:
        toClientRecord(*value.getIf<Record>(), variant);
        break;
    case ValueType::missing:
        variant.scode = binary::results::paramNotFound;
        variant.vt = vt::error;
        break;
    }
}

void writeBack(const Value& value, Variant& argument) {
    if ((argument.vt & vt::byRef) == 0) return;
    const auto type = static_cast<VarType>(argument.vt & ~vt::byRef);
    if (type == vt::record) return replaceRecord(value, argument.record.data, argument.record.info);
    storeAs(type, argument.byRef, value);
}

} // namespace corveth::server
