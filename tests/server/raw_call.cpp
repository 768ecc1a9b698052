#include "server/raw_call.h"

#include "server/binary/memory.h"
#include "server/module.h"
#include "server/object_wrapper.h"

#include <string_view>

namespace corveth::test {

client::LateObject hold(const Ref<Object>& object) {
    return client::LateObject(static_cast<binary::IDispatch*>(server::toClient(*object)));
}

namespace {

std::string taken(binary::Bstr& text) {
    std::string result;
    binary::appendUtf8(text, result);
    binary::freeText(std::exchange(text, nullptr));
    return result;
}

} // namespace

Outcome invokeRaw(binary::IDispatch& object, binary::DispId member, RawCall call) {
    binary::DispParams params{call.arguments.data(), call.named.data(),
                              static_cast<std::uint32_t>(call.arguments.size()),
                              static_cast<std::uint32_t>(call.named.size())};
    Outcome outcome;
    binary::ExcepInfo exception{};
    outcome.result =
        object.Invoke(member, binary::ids::none, 0, call.flags, &params, &outcome.value, &exception, nullptr);
    outcome.code = exception.scode;
    outcome.source = taken(exception.bstrSource);
    outcome.description = taken(exception.bstrDescription);
    return outcome;
}

binary::Variant textVariant(const char16_t* text) {
    const std::u16string_view view(text);
    binary::Variant variant{};
    variant.vt = binary::vt::bstr;
    variant.bstr = binary::allocateText(view.size());
    std::copy(view.begin(), view.end(), variant.bstr);
    return variant;
}

binary::DispId idOf(binary::IDispatch& object, const char16_t* name) {
    std::u16string text(name);
    binary::OleChar* names[] = {text.data()};
    binary::DispId id = 0;
    object.GetIDsOfNames(binary::ids::none, names, 1, 0, &id);
    return id;
}

EdgeTest::EdgeTest() : objectsBefore_(Object::liveCount()) {}

void EdgeTest::TearDown() {
    Apartment::current()->collect();
    EXPECT_EQ(Object::liveCount(), objectsBefore_) << "an object was left alive";
    EXPECT_EQ(server::outstanding.load(), 0) << "the edge still counts something as held";
}

} // namespace corveth::test
