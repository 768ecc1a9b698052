#include "platform/automation/describe.h"
#include "platform/automation/keyed_list.h"
#include "support/fixture.h"

#include <thread>

namespace corveth {
namespace {

/// One member of every form that tables know.
class Sample final : public Described<Sample> {
public:
    static constexpr const char* className = "Sample";
    static const ClassInfo description;

    Text Name;
    std::int16_t Size = 0;
    Ref<Sample> Next;

    Text Join(Text first, const Text& second, std::int32_t third) {
        return first + "/" + second + "/" + std::to_string(third);
    }
    void Replace(Text& text, Value& any) {
        text += "!";
        any = any.isMissing() ? Value("none") : Value(std::int32_t{7});
    }
    Text get_Part(std::int16_t which) const { return "part " + std::to_string(which); }
    Ref<Sample> get_Other() const { return Next; }

private:
    struct Table;
};

struct Sample::Table {
    static constexpr MemberRow members[] = {
        field<&Sample::Name>("Name"),
        fieldLetFirst<&Sample::Size>("Size"),
        field<&Sample::Next>("Next"),
        method<&Sample::Join>("Join", "first", "second", optional("third")),
        method<&Sample::Replace>("Replace", "text", optional("any")),
        defaultMember(get<&Sample::get_Part>("Part", "Which")),
        get<&Sample::get_Other>("Other"),
        unavailable("Later", "Laters"),
    };
};
constinit const ClassInfo Sample::description = describe<Sample, Sample::Table>("Test");

TEST(DispatchTest, NamesAreFoundWithoutRegardToCaseAndSlotsShareTheirId) {
    const auto& index = Sample::description.index();
    EXPECT_EQ(index.idOf("nAmE"), dispIds::fields);
    EXPECT_EQ(index.idOf("PART"), dispIds::defaultMember);
    EXPECT_EQ(index.idOf("Nam"), std::nullopt);
    ASSERT_EQ(index.slots().size(), 11U);
    EXPECT_EQ(index.slots()[2].kind, MemberKind::let) << "the let stands first";
    EXPECT_EQ(index.slots()[2].id, index.slots()[3].id);
    EXPECT_EQ(index.slots()[5].kind, MemberKind::set) << "an object is set";
    EXPECT_EQ(index.slots()[10].number, 11);
}

TEST(DispatchTest, ArgumentsGoByPositionNameOrNotAtAll) {
    const auto sample = make<Sample>();
    EXPECT_EQ(*callMember(*sample, "join", {"a", "b"}).getIf<Text>(), "a/b/0");
    EXPECT_EQ(*callMember(*sample, "join", {std::int32_t{1}, true, "12"}).getIf<Text>(), "1/True/12");

    const DispId join = memberId(Sample::description, "Join");
    Value positional[] = {"a"};
    NamedArgument named[] = {{2, "5"}, {1, "b"}};
    EXPECT_EQ(*invoke(*sample, join, invokeFlags::method, positional, named).getIf<Text>(), "a/b/5");

    const DispId replace = memberId(Sample::description, "Replace");
    Value texts[] = {"x"};
    NamedArgument any[] = {{1, "y"}};
    invoke(*sample, replace, invokeFlags::method, texts, any);
    EXPECT_EQ(*texts[0].getIf<Text>(), "x!") << "what the callee left comes back";
    EXPECT_EQ(*any[0].value.getIf<std::int32_t>(), 7);
}

TEST(DispatchTest, AReadWithArgumentsReachesTheDefaultMember) {
    const auto sample = make<Sample>();
    sample->Next = make<Sample>();
    EXPECT_EQ(*getMember(*sample, "Other", {std::int32_t{3}}).getIf<Text>(), "part 3");
    sample->Next = nullptr;
    test::expectFailure({errors::objectNotSet}, [&] { getMember(*sample, "Other", {std::int32_t{3}}); });
}

TEST(DispatchTest, WhatIsWrongIsNamed) {
    const auto sample = make<Sample>();
    const auto join = memberId(Sample::description, "Join");
    const struct {
        const char* name;
        std::function<void()> action;
        test::Failure expected;
    } cases[] = {
        {"unknown member",
         [&] { getMember(*sample, "Nmae"); },
         {438, "", "Object doesn't support this property or method: Sample.Nmae (did you mean Name?)"}},
        {"nothing alike",
         [&] { getMember(*sample, "Quantity"); },
         {438, "", "Object doesn't support this property or method: Sample.Quantity"}},
        {"read-only",
         [&] { letMember(*sample, "Other", Ref<Object>()); },
         {438, "", "Object doesn't support this property or method: Sample.Other cannot be assigned"}},
        {"method read",
         [&] { getMember(*sample, "Join"); },
         {438, "", "Object doesn't support this property or method: Sample.Join cannot be read"}},
        {"unknown id", [&] { invoke(*sample, 12345, invokeFlags::method, {}); }, {438, "", ""}},
        {"too many",
         [&] {
             callMember(*sample, "Join", {"a", "b", "c", "d"});
         },
         {450, "",
          "Wrong number of arguments or invalid property assignment: Sample.Join takes 3 arguments, 4 were given"}},
        {"too few",
         [&] { callMember(*sample, "Join", {"a"}); },
         {449, "", "Argument not optional: second of Sample.Join"}},
        {"named twice",
         [&] {
             Value positional[] = {"a", "b"};
             NamedArgument named[] = {{1, "c"}};
             invoke(*sample, join, invokeFlags::method, positional, named);
         },
         {448, "", "Named argument not found: second of Sample.Join is given twice"}},
        {"named beyond",
         [&] {
             NamedArgument named[] = {{9, "c"}};
             invoke(*sample, join, invokeFlags::method, {}, named);
         },
         {448, "", "Named argument not found: Sample.Join"}},
        {"no conversion",
         [&] {
             callMember(*sample, "Join", {"a", "b", "many"});
         },
         {13, "", "Type mismatch: \"many\" (third of Sample.Join)"}},
        {"overflow", [&] { letMember(*sample, "Size", std::int32_t{40000}); }, {6, "", "Overflow"}},
        {"Null", [&] { letMember(*sample, "Name", Null{}); }, {94, "", "Invalid use of Null"}},
        {"other class",
         [&] { letMember(*sample, "Next", enumerate(std::make_shared<KeyedList>())); },
         {13, "", "Type mismatch: a Sample is needed, a Enumerator was given (Sample.Next)"}},
        {"no object",
         [&] { letMember(*sample, "Next", "text"); },
         {13, "", "Type mismatch: an object is needed (Sample.Next)"}},
        {"not in this build",
         [&] { getMember(*sample, "Later"); },
         {445, "", "Object doesn't support this action: it is not available in this build: Sample.Later"}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        test::expectFailure(row.expected, row.action);
    }
    EXPECT_EQ(sample->Name + std::to_string(sample->Size), "0") << "nothing changed";
}

TEST(DispatchTest, AnotherThreadIsRefused) {
    const auto sample = make<Sample>();
    std::thread([&] { test::expectFailure({errors::wrongThread}, [&] { letMember(*sample, "Name", "x"); }); }).join();
    EXPECT_EQ(sample->Name, "");
}

TEST(ObjectTest, TheLastReleaseElsewhereIsDoneByTheHomeThread) {
    const auto before = Object::liveCount();
    Ref<Sample> sample = make<Sample>();
    std::thread([moved = std::move(sample)]() mutable { moved = nullptr; }).join();
    EXPECT_EQ(Object::liveCount(), before + 1) << "it waits for its own thread";
    Apartment::current()->collect();
    EXPECT_EQ(Object::liveCount(), before);

    std::thread([&] { sample = make<Sample>(); }).join();
    sample = nullptr; // its thread has ended
    EXPECT_EQ(Object::liveCount(), before);
}

TEST(KeyedListTest, KeysAndPositionsStayTogether) {
    KeyedList list;
    std::vector<Ref<Sample>> samples;
    for (int i = 0; i < 4; ++i)
        samples.push_back(make<Sample>());
    list.append(samples[0], "A");
    list.append(samples[1]);
    list.append(samples[2], ""); // empty text is a key
    list.append(samples[3], "2");
    test::expectFailure({457, "", "This key is already associated with an element of this collection"},
                        [&] { list.append(samples[0], "a"); });

    const struct {
        Value index;
        int expected; ///< position from 0, or an error number below 0
    } cases[] = {{"a", 0},  {"2", 3},  {"", 2},   {std::int32_t{2}, 1}, {2.5, 1},   {3.5, 3},  {4.4, 3},
                 {0.4, -9}, {4.6, -9}, {"3", -5}, {Null{}, -94},        {true, -9}, {1e10, -6}};
    for (const auto& row : cases) {
        SCOPED_TRACE(toText(row.index.isNull() ? Value("Null") : row.index));
        if (row.expected < 0) {
            test::expectFailure({-row.expected}, [&] { static_cast<void>(list.item(row.index)); });
        } else {
            EXPECT_EQ(list.item(row.index), samples[static_cast<std::size_t>(row.expected)]);
        }
    }
    list.remove("A");
    EXPECT_EQ(list.item("2"), list.at(3));
    EXPECT_EQ(list.item(""), list.at(2));
    list.append(samples[0], "A");
    EXPECT_EQ(list.item("a"), list.at(4));
}

TEST(KeyedListTest, AnEnumeratorSeesWhatIsAppendedAndSurvivesRemoval) {
    auto list = std::make_shared<KeyedList>();
    for (int i = 0; i < 3; ++i)
        list->append(make<Sample>());
    const auto members = enumerate(list);
    Value member;
    ASSERT_TRUE(members->next(member));
    const auto copy = members->clone();
    list->append(make<Sample>());
    EXPECT_TRUE(members->skip(2));
    EXPECT_TRUE(members->next(member));
    EXPECT_EQ(*member.getIf<Ref<Object>>(), list->at(4));
    EXPECT_FALSE(members->next(member));
    for (int i = 0; i < 4; ++i)
        list->remove(std::int32_t{1});
    EXPECT_FALSE(copy->next(member));
    members->reset();
    EXPECT_FALSE(members->next(member));
    EXPECT_FALSE(members->skip(1));
}

} // namespace
} // namespace corveth
