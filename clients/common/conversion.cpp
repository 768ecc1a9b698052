#include "common/conversion.h"

#include "common/description.h"
#include "server/binary/memory.h"

#include <array>
#include <cstdio>
#include <new>

namespace corveth::client {

namespace {

namespace vt = binary::vt;
namespace results = binary::results;

constexpr std::uint32_t outOfMemory = 7;
constexpr std::uint32_t typeMismatch = 13;

binary::Bstr checkedText(const std::string& text) {
    auto* const result = binary::toBstr(text);
    if (result == nullptr) throw Failure(5, "corveth", "a text is not well-formed UTF-8");
    return result;
}

/// Field names go as plain zero-terminated text.
struct FieldName {
    explicit FieldName(const std::string& name) : text(checkedText(name)) {}
    FieldName(const FieldName&) = delete;
    FieldName& operator=(const FieldName&) = delete;
    ~FieldName() { binary::freeText(text); }
    binary::Bstr text;
};

void putRecord(const RecordValue& record, binary::Variant& variant, binary::IDispatch& target) {
    auto type = findRecordType(target, record.name);
    if (!type) throw Failure(typeMismatch, "corveth", "no member takes a record " + record.name);
    void* data = type->RecordCreate();
    if (data == nullptr) throw std::bad_alloc();
    variant.record = {data, type.get()};
    variant.vt = vt::record;
    static_cast<void>(type.detach()); // the variant's now
    for (const auto& field : record.fields) {
        const FieldName name(field.name);
        binary::Variant value{};
        toBinary(field.value, value, target);
        const binary::HResult result = variant.record.info->PutField(0, data, name.text, &value);
        binary::clear(value);
        if (result == results::elementNotFound) {
            throw Failure(typeMismatch, "corveth", record.name + " has no field " + field.name);
        }
        requireSuccess(result, "the field " + field.name + " of " + record.name);
    }
}

RecordValue getRecord(const binary::Variant& variant) {
    RecordValue record;
    binary::IRecordInfo& type = *variant.record.info;
    binary::Bstr name = nullptr;
    requireSuccess(type.GetName(&name), "a record's type");
    record.name = takeText(name);
    std::uint32_t count = 0;
    requireSuccess(type.GetFieldNames(&count, nullptr), record.name);
    std::vector<binary::Bstr> names(count);
    requireSuccess(type.GetFieldNames(&count, names.data()), record.name);
    for (std::uint32_t i = 0; i < count; ++i) {
        binary::Variant value{};
        const binary::HResult result = type.GetField(variant.record.data, names[i], &value);
        RecordField field{takeText(names[i]), {}};
        requireSuccess(result, "the field " + field.name + " of " + record.name);
        field.value = takeVariant(value);
        record.fields.push_back(std::move(field));
    }
    return record;
}

struct ToBinary {
    binary::Variant& out;
    binary::IDispatch& target;

    void operator()(std::monostate /*empty*/) const noexcept {}
    void operator()(NullTag /*null*/) const noexcept { out.vt = vt::null; }
    void operator()(bool value) const noexcept {
        out.vt = vt::boolean;
        out.boolean = value ? -1 : 0;
    }
    void operator()(std::uint8_t value) const noexcept {
        out.vt = vt::ui1;
        out.ui1 = value;
    }
    void operator()(std::int16_t value) const noexcept {
        out.vt = vt::i2;
        out.i2 = value;
    }
    void operator()(std::int32_t value) const noexcept {
        out.vt = vt::i4;
        out.i4 = value;
    }
    void operator()(float value) const noexcept {
        out.vt = vt::r4;
        out.r4 = value;
    }
    void operator()(double value) const noexcept {
        out.vt = vt::r8;
        out.r8 = value;
    }
    void operator()(Money value) const noexcept {
        out.vt = vt::cy;
        out.cy = value.scaled;
    }
    void operator()(DateNumber value) const noexcept {
        out.vt = vt::date;
        out.date = value.day;
    }
    void operator()(const std::string& value) const {
        out.bstr = checkedText(value);
        out.vt = vt::bstr;
    }
    void operator()(const LateObject& value) const noexcept {
        out.vt = vt::dispatch;
        out.dispatch = value.dispatch();
        if (out.dispatch != nullptr) out.dispatch->AddRef();
    }
    void operator()(const ByteArray& value) const {
        out.array = binary::toSafeArray(value.bytes());
        if (out.array == nullptr) throw std::bad_alloc();
        out.vt = vt::array | vt::ui1;
    }
    void operator()(const RecordValue& value) const { putRecord(value, out, target); }
    void operator()(MissingTag /*missing*/) const noexcept {
        out.vt = vt::error;
        out.scode = results::paramNotFound;
    }
};

Variant valueOf(binary::Variant& variant) {
    switch (variant.vt) {
    case vt::empty:
        return {};
    case vt::null:
        return NullTag{};
    case vt::boolean:
        return variant.boolean != 0;
    case vt::ui1:
        return variant.ui1;
    case vt::i2:
        return variant.i2;
    case vt::i4:
        return variant.i4;
    case vt::r4:
        return variant.r4;
    case vt::r8:
        return variant.r8;
    case vt::cy:
        return Money{variant.cy};
    case vt::date:
        return DateNumber{variant.date};
    case vt::bstr:
        return takeText(std::exchange(variant.bstr, nullptr));
    case vt::dispatch:
        return LateObject(std::exchange(variant.dispatch, nullptr));
    case vt::unknown:
        // What cannot be driven late-bound is of no use here.
        return LateObject(binary::query<binary::IDispatch>(variant.unknown, binary::ids::dispatch).detach());
    case vt::array | vt::ui1:
        return ByteArray::take(std::exchange(variant.array, nullptr));
    case vt::record:
        return getRecord(variant);
    case vt::error:
        return MissingTag{};
    default:
        break;
    }
    throw Failure(typeMismatch, "corveth",
                  "the server gave a value of type code " + std::to_string(variant.vt) +
                      ", which this client has no use for");
}

} // namespace

ByteArray::ByteArray(std::span<const std::byte> bytes) : array_(binary::toSafeArray(bytes), binary::freeArray) {
    if (array_ == nullptr) throw std::bad_alloc();
}

ByteArray ByteArray::take(binary::SafeArray* array) {
    ByteArray result;
    result.array_ = {array, binary::freeArray};
    std::span<const std::byte> bytes;
    if (binary::bytesOf(array, bytes)) return result;
    throw Failure(typeMismatch, "corveth", "the server gave an array that is not one of bytes");
}

std::span<const std::byte> ByteArray::bytes() const noexcept {
    std::span<const std::byte> bytes;
    static_cast<void>(binary::bytesOf(array_.get(), bytes));
    return bytes;
}

std::string_view ByteArray::text() const noexcept {
    const auto all = bytes();
    return {reinterpret_cast<const char*>(all.data()), all.size()};
}

std::uint32_t numberOf(binary::HResult result) noexcept {
    const auto whole = static_cast<std::uint32_t>(result);
    return (whole & 0xFFFF0000U) == 0x800A0000U ? whole & 0xFFFFU : whole;
}

void requireSuccess(binary::HResult result, std::string_view what) {
    if (result >= 0) return;
    if (result == results::outOfMemory) throw Failure(outOfMemory, "corveth", "Out of memory");
    std::array<char, 16> code{};
    std::snprintf(code.data(), code.size(), "0x%08X", static_cast<unsigned>(result));
    const char* words = result == results::wrongThread ? " was used on another thread than its own (" : " failed (";
    throw Failure(numberOf(result), "corveth", std::string(what) + words + code.data() + ")");
}

std::string takeText(binary::Bstr text) {
    std::string result;
    const auto fault = binary::appendUtf8(text, result);
    binary::freeText(text);
    if (fault != binary::TextFault::none) throw Failure(5, "corveth", "the server gave a text that is not well-formed");
    return result;
}

void toBinary(const Variant& value, binary::Variant& variant, binary::IDispatch& target) {
    variant = {};
    std::visit(ToBinary{variant, target}, value);
}

Variant takeVariant(binary::Variant& variant) {
    try {
        Variant value = valueOf(variant);
        binary::clear(variant);
        return value;
    } catch (...) {
        binary::clear(variant);
        throw;
    }
}

} // namespace corveth::client
