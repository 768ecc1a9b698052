#pragma once

#include "common/late_bound.h"
#include "platform/automation/object.h"
#include "server/binary/binary_interface.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

namespace corveth::test {

/// A client's interface to an object of this process.
client::LateObject hold(const Ref<Object>& object);

/// How a call ended.
struct Outcome {
    binary::HResult result = 0;
    binary::Variant value{}; ///< the test clears what it got
    binary::HResult code = 0;
    std::string source, description;
};

struct RawCall {
    std::uint16_t flags = 1 | 2;
    // The compiler asks for the initializers where a call leaves a member out.
    // NOLINTBEGIN(readability-redundant-member-init)
    /// The named arguments first, then the others from last to first, as they cross.
    std::vector<binary::Variant> arguments{};
    std::vector<binary::DispId> named{};
    // NOLINTEND(readability-redundant-member-init)
};

/// One call in its binary form.
Outcome invokeRaw(binary::IDispatch& object, binary::DispId member, RawCall call = {});

/// A variant of `type` that holds `value` as it stands in memory; a pointer is an interface, a text, an array, or what
/// a by-reference argument points to.
template <class T>
requires std::is_arithmetic_v<T> binary::Variant variantOf(binary::VarType type, T value) {
    binary::Variant variant{};
    variant.vt = type;
    std::memcpy(static_cast<void*>(&variant.i8), &value, sizeof value);
    return variant;
}
inline binary::Variant variantOf(binary::VarType type, const volatile void* pointer) {
    binary::Variant variant{};
    variant.vt = type;
    variant.byRef = const_cast<void*>(pointer);
    return variant;
}
binary::Variant textVariant(const char16_t* text);

/// The member's id by way of the interface; -1 when it is unknown.
binary::DispId idOf(binary::IDispatch& object, const char16_t* name);

/// Fails a test that leaves an object alive or something counted as held.
class EdgeTest : public ::testing::Test {
protected:
    EdgeTest();
    void TearDown() override;

private:
    std::size_t objectsBefore_;
};

} // namespace corveth::test
