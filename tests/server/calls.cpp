// What crosses in a call: arguments of every binary form, what comes back in them, results, failures.

#include "server/gadget.h"
#include "server/raw_call.h"

#include "server/binary/memory.h"
#include "server/variants.h"

#include <cmath>
#include <limits>

namespace corveth::test {
namespace {

namespace vt = binary::vt;
namespace results = binary::results;
using binary::Variant;

class CallTest : public EdgeTest {
protected:
    binary::IDispatch& raw() const { return *object.dispatch(); }
    binary::DispId id(const char16_t* name) const { return idOf(raw(), name); }

    Ref<Gadget> gadget = make<Gadget>();
    client::LateObject object = hold(gadget);

    void TearDown() override {
        gadget = nullptr;
        object = {};
        EdgeTest::TearDown();
    }
};

/// Type and text of what came in.
std::string shown(const Value& value) {
    std::string text(typeName(value));
    if (value.is(ValueType::bytes)) return text + " " + std::to_string(value.getIf<Bytes>()->size());
    if (value.is(ValueType::object) || value.is(ValueType::empty) || value.isNull() || value.isMissing()) return text;
    return text + " " + toText(value);
}

/// What `fromVariant` makes of it, or the number of its failure.
std::string taken(const Variant& variant) {
    try {
        return shown(server::fromVariant(variant));
    } catch (const Error& error) {
        return "error " + std::to_string(error.number);
    }
}

TEST_F(CallTest, ArgumentsOfEveryTypeComeIn) {
    constexpr auto infinity = std::numeric_limits<double>::infinity();
    struct Row {
        const char* name;
        Variant given;
        const char* expected;
    };
    const Row rows[] = {
        {"empty", variantOf(vt::empty, 0), "Empty"},
        {"null", variantOf(vt::null, 0), "Null"},
        {"i1", variantOf(vt::i1, std::int8_t{-5}), "Integer -5"},
        {"ui1", variantOf(vt::ui1, std::uint8_t{255}), "Byte 255"},
        {"i2", variantOf(vt::i2, std::int16_t{-32768}), "Integer -32768"},
        {"ui2", variantOf(vt::ui2, std::uint16_t{65535}), "Long 65535"},
        {"i4", variantOf(vt::i4, std::int32_t{-7}), "Long -7"},
        {"int", variantOf(vt::intMachine, std::int32_t{8}), "Long 8"},
        {"ui4 that fits", variantOf(vt::ui4, std::uint32_t{0x7fffffff}), "Long 2147483647"},
        {"ui4 beyond", variantOf(vt::ui4, std::uint32_t{0x80000000}), "error 6"},
        {"uint beyond", variantOf(vt::uintMachine, std::uint32_t{0xffffffff}), "error 6"},
        {"i8 that fits", variantOf(vt::i8, std::int64_t{-2147483648LL}), "Long -2147483648"},
        {"i8 beyond", variantOf(vt::i8, std::int64_t{2147483648LL}), "error 6"},
        {"ui8 beyond", variantOf(vt::ui8, std::uint64_t{1} << 63U), "error 6"},
        {"r4", variantOf(vt::r4, 1.5F), "Single 1.5"},
        {"r8", variantOf(vt::r8, -0.25), "Double -0.25"},
        {"r8 infinite", variantOf(vt::r8, infinity), "error 6"},
        {"r4 no number", variantOf(vt::r4, std::nanf("")), "error 6"},
        {"cy", variantOf(vt::cy, std::int64_t{12345}), "Currency 1.2345"},
        {"date", variantOf(vt::date, 2.5), "Date 1900-01-01 12:00:00"},
        {"date beyond", variantOf(vt::date, 2958466.0), "error 6"},
        {"boolean", variantOf(vt::boolean, std::int16_t{-1}), "Boolean True"},
        {"boolean of another language", variantOf(vt::boolean, std::int16_t{1}), "Boolean True"},
        {"null text", variantOf(vt::bstr, nullptr), "String "},
        {"no object", variantOf(vt::dispatch, nullptr), "Nothing"},
        {"left out", variantOf(vt::error, results::paramNotFound), "Missing"},
        {"another error", variantOf(vt::error, results::failed), "error 13"},
        {"decimal", variantOf(vt::decimal, 0), "error 13"},
        {"no array", variantOf(vt::array | vt::ui1, nullptr), "Byte() 0"},
        {"array of numbers", variantOf(vt::array | vt::i4, nullptr), "error 13"},
        {"void", variantOf(vt::none, 0), "error 13"},
        {"type that is none", variantOf(0x0fff, 0), "error 13"},
        {"by reference to nowhere", variantOf(vt::byRef | vt::i4, nullptr), "error 5"},
        {"record without type", variantOf(vt::record, nullptr), "error 13"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(taken(row.given), row.expected) << row.name;
}

TEST_F(CallTest, ArgumentsByReferenceComeInAsWhatTheyPointTo) {
    std::int32_t whole = 41;
    double wide = 2.5;
    std::int16_t truth = -1;
    Variant inner = textVariant(u"inside");
    Variant throughVariable = variantOf(vt::byRef | vt::variant, &inner);
    Variant chain[3] = {
        variantOf(vt::byRef | vt::variant, &throughVariable), variantOf(vt::byRef | vt::variant, &chain[0]), {}};
    chain[2] = variantOf(vt::byRef | vt::variant, &chain[2]);
    struct Row {
        const char* name;
        Variant given;
        const char* expected;
    };
    const Row rows[] = {
        {"long", variantOf(vt::byRef | vt::i4, &whole), "Long 41"},
        {"double", variantOf(vt::byRef | vt::r8, &wide), "Double 2.5"},
        {"boolean", variantOf(vt::byRef | vt::boolean, &truth), "Boolean True"},
        {"text", variantOf(vt::byRef | vt::bstr, static_cast<void*>(&inner.bstr)), "String inside"},
        {"variant", variantOf(vt::byRef | vt::variant, &inner), "String inside"},
        {"variant of a variable", variantOf(vt::byRef | vt::variant, &throughVariable), "String inside"},
        {"chain", chain[1], "error 13"},
        {"variant that points to itself", chain[2], "error 13"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(taken(row.given), row.expected) << row.name;
    binary::clear(inner);
}

TEST_F(CallTest, BytesCross) {
    std::vector<std::byte> bytes(300);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::byte>(i);
    object.let("Anything", client::ByteArray(bytes));
    EXPECT_EQ(std::get<client::ByteArray>(object.get("Anything")), client::ByteArray(bytes));

    binary::SafeArray* array = binary::toSafeArray(bytes);
    array->cDims = 2;
    EXPECT_EQ(taken(variantOf(vt::array | vt::ui1, array)), "error 13") << "two dimensions";
    array->cDims = 1;
    array->cbElements = 4;
    EXPECT_EQ(taken(variantOf(vt::array | vt::ui1, array)), "error 13") << "not bytes";
    binary::freeArray(array);
}

TEST_F(CallTest, EveryValueLeavesInItsOwnType) {
    struct Row {
        Value given;
        binary::VarType expected;
        client::Variant value;
    };
    const Row rows[] = {
        {Value(), vt::empty, {}},
        {Value(Null{}), vt::null, client::NullTag{}},
        {Value(true), vt::boolean, true},
        {Value(std::uint8_t{200}), vt::ui1, std::uint8_t{200}},
        {Value(std::int16_t{-2}), vt::i2, std::int16_t{-2}},
        {Value(std::int32_t{70000}), vt::i4, std::int32_t{70000}},
        {Value(0.5F), vt::r4, 0.5F},
        {Value(0.1), vt::r8, 0.1},
        {Value(Currency{-12345}), vt::cy, client::Money{-12345}},
        {Value(Date{39128.5}), vt::date, client::DateNumber{39128.5}},
        {Value("Zo\xc3\xab"), vt::bstr, std::string("Zo\xc3\xab")},
        {Value(Ref<Object>()), vt::dispatch, client::LateObject()},
    };
    for (const auto& row : rows) {
        gadget->Anything = row.given;
        auto outcome = invokeRaw(raw(), id(u"Anything"));
        EXPECT_EQ(outcome.value.vt, row.expected) << typeName(row.given);
        binary::clear(outcome.value);
        const auto value = object.get("Anything");
        EXPECT_TRUE(std::visit(
            [&]<class T>(const T& expected) {
                if constexpr (std::equality_comparable<T>) return expected == std::get<T>(value);
                return false;
            },
            row.value))
            << typeName(row.given);
        object.let("Anything", row.value);
        EXPECT_EQ(shown(gadget->Anything), shown(row.given)) << "and the same way in";
    }
}

TEST_F(CallTest, WhatTheCalleeLeavesComesBackInTheTypeOfTheClientsVariable) {
    std::uint8_t small = 3;
    std::int16_t integer = 300;
    std::int32_t whole = 70000;
    float single = 1.5F;
    double wide = 0.25;
    auto outcome =
        invokeRaw(raw(), id(u"DoubleNumbers"),
                  {.arguments = {variantOf(vt::byRef | vt::r8, &wide), variantOf(vt::byRef | vt::r4, &single),
                                 variantOf(vt::byRef | vt::i4, &whole), variantOf(vt::byRef | vt::i2, &integer),
                                 variantOf(vt::byRef | vt::ui1, &small)}});
    ASSERT_EQ(outcome.result, results::ok) << outcome.description;
    EXPECT_EQ(small, 6);
    EXPECT_EQ(integer, 600);
    EXPECT_EQ(whole, 140000);
    EXPECT_EQ(single, 3.0F);
    EXPECT_EQ(wide, 0.5);

    std::int16_t truth = -1;
    std::int64_t money = 15000;
    double day = 100.5;
    Variant text = textVariant(u"ab");
    Variant any = variantOf(vt::i4, 5);
    outcome = invokeRaw(raw(), id(u"DoubleOthers"),
                        {.arguments = {variantOf(vt::byRef | vt::variant, &any),
                                       variantOf(vt::byRef | vt::bstr, static_cast<void*>(&text.bstr)),
                                       variantOf(vt::byRef | vt::date, &day), variantOf(vt::byRef | vt::cy, &money),
                                       variantOf(vt::byRef | vt::boolean, &truth)}});
    ASSERT_EQ(outcome.result, results::ok) << outcome.description;
    EXPECT_EQ(truth, 0);
    EXPECT_EQ(money, 30000);
    EXPECT_EQ(day, 201);
    EXPECT_EQ(std::u16string_view(text.bstr), u"abab");
    EXPECT_EQ(any.vt, vt::bstr) << "a variant takes the type of what is in it";
    EXPECT_EQ(std::u16string_view(any.bstr), u"5!");
    binary::clear(text);
    binary::clear(any);
}

TEST_F(CallTest, ByReferenceVariablesOfOtherTypesAreConvertedOrRefused) {
    // The fourth argument of DoubleOthers is text and comes back doubled.
    struct Row {
        const char* name;
        std::int32_t given;
        binary::VarType type;
        std::int32_t expectedCode;
        std::int32_t expected;
    };
    const Row rows[] = {
        {"a number for a text", 12, vt::i4, 0, 1212},
        {"a byte that overflows", 12, vt::ui1, results::code(0x800A0006), 12},
    };
    for (const auto& row : rows) {
        std::int32_t number = row.given;
        const auto outcome = invokeRaw(
            raw(), id(u"DoubleOthers"),
            {.arguments = {variantOf(vt::i4, 1), variantOf(static_cast<binary::VarType>(vt::byRef | row.type), &number),
                           variantOf(vt::date, 1.0), variantOf(vt::cy, std::int64_t{1}),
                           variantOf(vt::boolean, std::int16_t{0})}});
        EXPECT_EQ(outcome.code, row.expectedCode) << row.name << outcome.description;
        EXPECT_EQ(number, row.expected) << row.name;
    }
}

TEST_F(CallTest, ObjectsAreExchangedByReference) {
    const auto other = hold(make<Gadget>());
    client::Arguments arguments{other};
    object.callByRef("Exchange", arguments);
    EXPECT_FALSE(std::get<client::LateObject>(arguments[0]));
    object.callByRef("Exchange", arguments);
    EXPECT_EQ(std::get<client::LateObject>(arguments[0]).description().name, "Gadget");

    auto* pointer = std::get<client::LateObject>(arguments[0]).dispatch();
    pointer->AddRef(); // the variable's own reference, which the callee gives up
    const auto outcome = invokeRaw(raw(), id(u"Exchange"),
                                   {.arguments = {variantOf(vt::byRef | vt::dispatch, static_cast<void*>(&pointer))}});
    EXPECT_EQ(outcome.result, results::ok);
    EXPECT_EQ(pointer, nullptr);
}

TEST_F(CallTest, ReadOnlyReferencesAreLeftAlone) {
    Variant text = textVariant(u"n");
    const auto* const before = text.bstr;
    std::int32_t number = 4;
    const auto outcome = invokeRaw(raw(), id(u"ReadOnly"),
                                   {.arguments = {variantOf(vt::byRef | vt::i4, &number),
                                                  variantOf(vt::byRef | vt::bstr, static_cast<void*>(&text.bstr))}});
    EXPECT_EQ(outcome.result, results::ok) << outcome.description;
    EXPECT_EQ(gadget->Name, "n4");
    EXPECT_EQ(text.bstr, before);
    EXPECT_EQ(number, 4);
    binary::clear(text);
}

TEST_F(CallTest, ArgumentsGoByPositionAndByName) {
    struct Row {
        const char* name;
        client::Arguments positional;
        client::NamedArguments named;
        std::string expected; ///< or the number of the failure
    };
    const Row rows[] = {
        {"first alone", {"a"}, {}, "a||"},
        {"all", {"a", "b", "c"}, {}, "a|b|c"},
        {"the middle left out", {"a", client::MissingTag{}, "c"}, {}, "a||c"},
        {"last by name", {"a"}, {{"THIRD", "c"}}, "a||c"},
        {"all by name, backwards", {}, {{"third", "c"}, {"second", "b"}, {"first", "a"}}, "a|b|c"},
        {"required one left out", {}, {{"second", "b"}}, "449"},
        {"none", {}, {}, "449"},
        {"too many", {"a", "b", "c", "d"}, {}, "450"},
        {"far too many", client::Arguments(40, "x"), {}, "450"},
        {"twice", {"a", "b"}, {{"second", "b"}}, "448"},
        {"unknown name", {"a"}, {{"fourth", "d"}}, "448"},
    };
    for (const auto& row : rows) {
        std::string got;
        try {
            got = std::get<std::string>(object.call("Join", row.positional, row.named));
        } catch (const client::Failure& failure) {
            got = std::to_string(failure.number);
            EXPECT_NE(failure.description().find("Gadget.Join"), std::string::npos) << failure.description();
        }
        EXPECT_EQ(got, row.expected) << row.name;
    }
}

TEST_F(CallTest, NamesBecomeIdsWithTheirParameters) {
    std::u16string member = u"join";
    std::u16string third = u"THIRD";
    std::u16string wrong = u"fourth";
    binary::OleChar* names[] = {member.data(), third.data(), wrong.data()};
    binary::DispId found[3] = {};
    EXPECT_EQ(raw().GetIDsOfNames(binary::ids::none, names, 3, 0, found), results::unknownName);
    EXPECT_GT(found[0], 0);
    EXPECT_EQ(found[1], 2);
    EXPECT_EQ(found[2], -1);

    for (const std::u16string& name :
         {std::u16string(u"Joine"), std::u16string(u"J\u00f6in"), std::u16string(200, u'x'), std::u16string()}) {
        EXPECT_EQ(id(name.c_str()), -1);
    }
}

TEST_F(CallTest, FailuresFillTheRecord) {
    struct Row {
        std::int32_t number;
        std::uint32_t expectedCode, expectedNumber;
    };
    const Row rows[] = {
        {10, 0x800A000A, 10},
        {457, 0x800A01C9, 457},
        {3705, 0x800A0E79, 3705},
        {errors::application, 0x80040001, 0x80040001},
        {errors::noTransaction, 0x8004D00E, 0x8004D00E},
    };
    for (const auto& row : rows) {
        const auto outcome =
            invokeRaw(raw(), id(u"Fail"),
                      {.arguments = {variantOf(vt::empty, 0), variantOf(vt::empty, 0), variantOf(vt::i4, row.number)}});
        EXPECT_EQ(outcome.result, results::exception);
        EXPECT_EQ(static_cast<std::uint32_t>(outcome.code), row.expectedCode);
        try {
            object.call("Fail", {row.number, "Note", "Error updating Note.\r\nZo\xc3\xab"});
            FAIL() << row.number;
        } catch (const client::Failure& failure) {
            EXPECT_EQ(failure.number, row.expectedNumber);
            EXPECT_EQ(failure.source, "Note");
            EXPECT_EQ(failure.description(), "Error updating Note.\r\nZo\xc3\xab");
        }
    }
}

TEST_F(CallTest, NothingElseThanAnErrorRecordLeaves) {
    struct Row {
        const char* name;
        binary::DispId member;
        RawCall call;
        std::uint32_t expected;
        const char* named; ///< in the description
    };
    Variant lone = textVariant(u"x\xd83d");
    Variant nul = textVariant(u"xy");
    nul.bstr[0] = 0;
    const binary::DispId put = binary::dispIds::propertyPut;
    const Row rows[] = {
        {"unknown member", 12345, {}, 0x800A01B6, "Gadget"},
        {"a method assigned", id(u"Join"), {4, {variantOf(vt::i4, 1)}, {put}}, 0x800A01B6, "Gadget.Join"},
        {"a property assigned without value", id(u"Name"), {4, {}, {}}, 0x800A01C2, "Gadget.Name"},
        {"class that is not built", id(u"Wheels"), {}, 0x800A01BD, "Gadget.Wheels"},
        {"conversion", id(u"Number"), {4, {variantOf(vt::null, 0)}, {put}}, 0x800A005E, "Gadget.Number"},
        {"half of a pair", id(u"Name"), {4, {lone}, {put}}, 0x800A0005, "Gadget.Name"},
        {"NUL in an argument", id(u"Join"), {1, {nul, variantOf(vt::i4, 1)}, {}}, 0x800A0005, "Second of Gadget.Join"},
        {"decimal", id(u"Join"), {1, {variantOf(vt::decimal, 0)}, {}}, 0x800A000D, "First of Gadget.Join"},
        {"more names than arguments", id(u"Join"), {1, {variantOf(vt::i4, 1)}, {0, 1}}, 0x800A0005, "Gadget.Join"},
        {"no such parameter", id(u"Join"), {1, {variantOf(vt::i4, 1)}, {9}}, 0x800A01C0, "Gadget.Join"},
    };
    for (const auto& row : rows) {
        const auto outcome = invokeRaw(raw(), row.member, row.call);
        EXPECT_EQ(outcome.result, results::exception) << row.name;
        EXPECT_EQ(static_cast<std::uint32_t>(outcome.code), row.expected) << row.name << ": " << outcome.description;
        EXPECT_NE(outcome.description.find(row.named), std::string::npos) << row.name << ": " << outcome.description;
    }
    binary::clear(lone);
    binary::clear(nul);

    struct Thrown {
        const char* what;
        std::uint32_t number;
        const char* words;
    };
    for (const auto& [what, number, words] :
         {Thrown{"bad_alloc", 7, ""}, Thrown{"logic_error", 5, "not thought of"}, Thrown{"int", 5, ""},
          Thrown{"broken words", 58, "the file \"?.txt\" ?"}}) {
        try {
            object.call("ThrowForeign", {what});
            FAIL() << what;
        } catch (const client::Failure& failure) {
            EXPECT_EQ(failure.number, number) << what;
            EXPECT_NE(failure.description().find(words), std::string::npos) << failure.description();
        }
    }
    EXPECT_EQ(raw().Invoke(id(u"Fail"), binary::ids::none, 0, 1, nullptr, nullptr, nullptr, nullptr),
              results::exception)
        << "without a record to fill";
}

TEST_F(CallTest, RecordsCrossBothWays) {
    const client::RecordValue reading{"tpReading",
                                      {{"name", "north"},
                                       {"COUNT", std::int32_t{12}},
                                       {"Width", "2.5"},
                                       {"Valid", true},
                                       {"Note", client::NullTag{}},
                                       {"Price", client::Money{99990}},
                                       {"Day", client::DateNumber{2}}}};
    object.let("Reading", reading);
    client::Arguments arguments{object.get("Reading")};
    object.callByRef("WidenReading", arguments);
    const auto& back = std::get<client::RecordValue>(arguments[0]);
    ASSERT_EQ(back.fields.size(), 7U);
    EXPECT_EQ(back.name, "tpReading");
    EXPECT_EQ(std::get<std::string>(back.fields[0].value), "north wide");
    EXPECT_EQ(std::get<std::int16_t>(back.fields[1].value), 12);
    EXPECT_EQ(std::get<double>(back.fields[2].value), 5.0);
    EXPECT_TRUE(std::get<bool>(back.fields[3].value));
    EXPECT_TRUE(std::holds_alternative<client::NullTag>(back.fields[4].value));
    EXPECT_EQ(std::get<client::Money>(back.fields[5].value).scaled, 99990);
    EXPECT_EQ(std::get<client::DateNumber>(back.fields[6].value).day, 2);

    struct Row {
        const char* name;
        client::Variant given;
    };
    const Row rows[] = {
        {"unknown field", client::RecordValue{"tpReading", {{"Height", 1}}}},
        {"unknown record", client::RecordValue{"tpOther", {}}},
        {"field of a wrong type", client::RecordValue{"tpReading", {{"Count", "many"}}}},
        {"no record", "text"},
    };
    for (const auto& row : rows) {
        try {
            object.let("Reading", row.given);
            FAIL() << row.name;
        } catch (const client::Failure& failure) {
            EXPECT_EQ(failure.number, 13U) << row.name << ": " << failure.description();
        }
    }
}

TEST_F(CallTest, EnumeratorsStepSkipResetAndClone) {
    for (const char* name : {"a", "b", "c", "d"})
        object.call("Add", {name});
    auto result = invokeRaw(raw(), binary::dispIds::newEnum);
    ASSERT_EQ(result.value.vt, vt::unknown);
    const auto enumerator = binary::query<binary::IEnumVariant>(result.value.unknown, binary::ids::enumVariant);
    binary::clear(result.value);

    const auto next = [](binary::IEnumVariant& from, std::uint32_t count) {
        std::vector<Variant> members(count);
        std::uint32_t fetched = 99;
        const auto outcome = from.Next(count, members.data(), &fetched);
        std::string names = outcome == results::ok ? "" : "end ";
        for (std::uint32_t i = 0; i < fetched; ++i) {
            client::LateObject member(members[i].dispatch);
            names += std::get<std::string>(member.get("Name"));
        }
        return names;
    };
    EXPECT_EQ(next(*enumerator.get(), 2), "ab");
    binary::Held<binary::IEnumVariant> clone;
    ASSERT_EQ(enumerator->Clone(clone.out()), results::ok);
    EXPECT_EQ(next(*enumerator.get(), 3), "end cd");
    EXPECT_EQ(next(*clone.get(), 1), "c") << "the clone went on from where it was made";
    EXPECT_EQ(enumerator->Reset(), results::ok);
    EXPECT_EQ(enumerator->Skip(3), results::ok);
    EXPECT_EQ(next(*enumerator.get(), 1), "d");
    object.call("Add", {"e"});
    EXPECT_EQ(next(*enumerator.get(), 2), "end e") << "members that came while looping are visited";
    EXPECT_EQ(enumerator->Skip(1), results::no);
    EXPECT_EQ(enumerator->Next(2, nullptr, nullptr), results::badPointer);

    EXPECT_EQ(object.enumerate().size(), 5U);
    EXPECT_EQ(std::get<std::string>(std::get<client::LateObject>(object.get("Item", {"C"})).get("name")), "c");
}

} // namespace
} // namespace corveth::test
