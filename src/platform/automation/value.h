#pragma once

#include "platform/automation/currency.h"
#include "platform/automation/date.h"
#include "platform/automation/object.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <variant>
#include <vector>

namespace corveth {

using Bytes = std::vector<std::byte>;

struct RecordInfo;

struct Null {
    friend constexpr bool operator==(Null, Null) = default;
};
/// Stands where an optional argument was left out.
struct Missing {
    friend constexpr bool operator==(Missing, Missing) = default;
};

class Value;

/// One record: its layout and a value for each of its fields, in their order.
struct Record {
    const RecordInfo* info = nullptr;
    std::vector<Value> fields;
};

/// In the order of the alternatives that `Value` holds.
enum class ValueType : std::uint8_t {
    empty,
    null,
    boolean,
    byte,
    integer,     ///< 16 bits
    longInteger, ///< 32 bits
    single,
    doubleFloat,
    currency,
    date,
    text,
    object, ///< may be an empty reference: Nothing
    bytes,
    record,
    missing,
};

/// What crosses between a client, an object and a database field.
class CORVETH_API Value {
public:
    Value() noexcept = default;
    // One overload a type: a converting template would recurse through the standard library's own containers.
    Value(Null) noexcept : data_(Null{}) {}
    Value(bool value) noexcept : data_(value) {}
    Value(std::uint8_t value) noexcept : data_(value) {}
    Value(std::int16_t value) noexcept : data_(value) {}
    Value(std::int32_t value) noexcept : data_(value) {}
    Value(float value) noexcept : data_(value) {}
    Value(double value) noexcept : data_(value) {}
    Value(Currency value) noexcept : data_(value) {}
    Value(Date value) noexcept : data_(value) {}
    Value(Text value) noexcept : data_(std::move(value)) {}
    Value(TextView value) : data_(Text(value)) {}
    Value(const char* value) : data_(Text(value)) {}
    Value(Ref<Object> value) noexcept : data_(std::move(value)) {}
    template <std::derived_from<Object> T>
    Value(const Ref<T>& value) noexcept : data_(Ref<Object>(value)) {}
    Value(Bytes value) : data_(std::make_shared<const Bytes>(std::move(value))) {}
    Value(Record value) noexcept : data_(std::move(value)) {}
    Value(Missing) noexcept : data_(Missing{}) {}

    [[nodiscard]] ValueType type() const noexcept { return static_cast<ValueType>(data_.index()); }
    [[nodiscard]] bool is(ValueType type) const noexcept { return this->type() == type; }
    [[nodiscard]] bool isNull() const noexcept { return is(ValueType::null); }
    [[nodiscard]] bool isMissing() const noexcept { return is(ValueType::missing); }

    /// The held alternative; null when it is another. Bytes are never changed: copies of the value share them.
    template <class T>
    [[nodiscard]] const T* getIf() const noexcept {
        if constexpr (std::is_same_v<T, Bytes>) {
            const auto* shared = std::get_if<std::shared_ptr<const Bytes>>(&data_);
            if (shared == nullptr) return nullptr;
            return *shared ? shared->get() : &noBytes();
        } else {
            return std::get_if<T>(&data_);
        }
    }
    template <class T>
    requires(!std::is_same_v<T, Bytes>) [[nodiscard]] T* getIf() noexcept { return std::get_if<T>(&data_); }

private:
    /// What is left of bytes that were moved away.
    static const Bytes& noBytes() noexcept;

    std::variant<std::monostate, Null, bool, std::uint8_t, std::int16_t, std::int32_t, float, double, Currency, Date,
                 Text, Ref<Object>, std::shared_ptr<const Bytes>, Record, Missing>
        data_;
};

/// "Empty", "Null", "Boolean", "Byte", ... for messages.
CORVETH_API TextView typeName(const Value& value) noexcept;

} // namespace corveth
