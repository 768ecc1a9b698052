#pragma once

#include "common/late_bound.h"
#include "platform/automation/object.h"
#include "server/binary/binary_interface.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
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
    /// The named arguments first, then the others from last to first, as they cross.
    std::vector<binary::Variant> arguments{};
    std::vector<binary::DispId> named{};
};

/// One call in its binary form.
Outcome invokeRaw(binary::IDispatch& object, binary::DispId member, RawCall call = {});

/// A variant of `type` that holds `bits`; what is not named is zero.
template <class T>
binary::Variant variantOf(binary::VarType type, T value) {
    static_assert(sizeof(T) <= 8);
    binary::Variant variant{};
    variant.vt = type;
    std::memcpy(&variant.i8, &value, sizeof value);
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
