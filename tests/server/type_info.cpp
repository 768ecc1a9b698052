// What the type descriptions tell is what the classes' own tables say.

#include "server/gadget.h"
#include "server/raw_call.h"

#include "common/description.h"
#include "platform/automation/class_registry.h"
#include "server/binary/class_ids.h"
#include "server/binary/memory.h"
#include "server/type_model.h"
#include "typelib/identifiers.h"
#include "typelib/json.h"

#include <map>

namespace corveth::test {
namespace {

namespace results = binary::results;
using binary::Held;

class TypeInfoTest : public EdgeTest {};

Held<binary::ITypeInfo> infoOf(const ClassInfo& info) {
    return Held<binary::ITypeInfo>(server::makeTypeInfo(server::modelOf(info)));
}

const char* kindText(client::MemberKind kind) {
    static constexpr const char* names[] = {"get", "let", "set", "method"};
    return names[static_cast<std::size_t>(kind)];
}

OrderedJson membersAsRead(const client::ClassDescription& description) {
    OrderedJson members = OrderedJson::array();
    for (const auto& member : description.members) {
        OrderedJson params = OrderedJson::array();
        for (const auto& param : member.params)
            params.push_back(
                {{"name", param.name}, {"type", param.type}, {"byref", param.byRef}, {"optional", param.optional}});
        members.push_back({{"slot", member.slot},
                           {"dispid", member.dispId},
                           {"name", member.name},
                           {"kind", kindText(member.kind)},
                           {"params", params},
                           {"type", member.type},
                           {"default", member.isDefault},
                           {"enumerator", member.isEnumerator},
                           {"hidden", member.isHidden}});
    }
    return members;
}

TEST_F(TypeInfoTest, EveryClassIsDescribedAsItsTableSays) {
    std::vector<const ClassInfo*> classes(allClasses().begin(), allClasses().end());
    classes.push_back(&Gadget::description);
    ASSERT_GT(classes.size(), 10U);
    for (const ClassInfo* info : classes) {
        const auto& read = client::describe(*infoOf(*info).get());
        EXPECT_EQ(read.name, info->name);
        EXPECT_EQ(read.progId, info->progId());
        EXPECT_EQ(membersAsRead(read), classJson(*info)["members"]) << info->progId();
        const Text written = "{" + toText(interfaceId(*info)) + "}"; // in the library's interface text
        EXPECT_EQ(binary::toText(server::modelOf(*info).attributes.guid), written) << info->progId();
    }
}

TEST_F(TypeInfoTest, AttributesTellIdKindAndCounts) {
    struct Row {
        const server::TypeModel* model;
        const char* idName;
        binary::TypeKindCode kind;
        std::size_t functions, variables;
    };
    const EnumInfo& someEnum = *allEnums().front();
    const std::string enumName = std::string("prjCorveth.") + someEnum.name;
    const Row rows[] = {
        {&server::modelOf(Gadget::description), "Test._Gadget", binary::TypeKindCode::dispatch,
         Gadget::description.index().slots().size(), 0},
        {&server::modelOf(someEnum), enumName.c_str(), binary::TypeKindCode::enumeration, 0, someEnum.members.size()},
        {&server::modelOf(readingInfo), "prjCorveth.tpReading", binary::TypeKindCode::record, 0, 7},
    };
    for (const auto& row : rows) {
        const Held<binary::ITypeInfo> info(server::makeTypeInfo(*row.model));
        binary::TypeAttr* attributes = nullptr;
        ASSERT_EQ(info->GetTypeAttr(&attributes), results::ok);
        EXPECT_EQ(binary::toText(attributes->guid), binary::toText(binary::nameBasedId(row.idName)));
        EXPECT_EQ(attributes->typekind, row.kind) << row.idName;
        EXPECT_EQ(attributes->cFuncs, row.functions) << row.idName;
        EXPECT_EQ(attributes->cVars, row.variables) << row.idName;
        info->ReleaseTypeAttr(attributes);
        binary::FuncDesc* function = nullptr;
        EXPECT_EQ(info->GetFuncDesc(static_cast<std::uint32_t>(row.functions), &function), results::elementNotFound);
        binary::VarDesc* variable = nullptr;
        EXPECT_EQ(info->GetVarDesc(static_cast<std::uint32_t>(row.variables), &variable), results::elementNotFound);
        binary::Bstr name = nullptr;
        EXPECT_EQ(info->GetDocumentation(98765, &name, nullptr, nullptr, nullptr), results::elementNotFound);
    }
}

TEST_F(TypeInfoTest, EnumerationsThatMembersNameAreReadWithTheirValues) {
    std::map<std::string, client::EnumDescription> read;
    for (const ClassInfo* info : allClasses()) {
        for (const auto& [name, description] : client::describe(*infoOf(*info).get()).enums)
            read.emplace(name, description);
    }
    ASSERT_TRUE(read.contains("ctContactType"));
    for (const EnumInfo* info : allEnums()) {
        const auto found = read.find(info->name);
        if (found == read.end()) continue; // no member of this build takes it
        ASSERT_EQ(found->second.members.size(), info->members.size()) << info->name;
        for (std::size_t i = 0; i < info->members.size(); ++i) {
            EXPECT_EQ(found->second.members[i].first, info->members[i].name);
            EXPECT_EQ(found->second.members[i].second, info->members[i].value);
        }
    }
}

TEST_F(TypeInfoTest, AClassThatIsNotBuiltHasANameAndNoMembers) {
    const auto info = infoOf(Gadget::description);
    binary::FuncDesc* function = nullptr;
    const auto last = static_cast<std::uint32_t>(Gadget::description.index().slots().size() - 1);
    ASSERT_EQ(info->GetFuncDesc(last, &function), results::ok);
    ASSERT_EQ(function->elemdescFunc.type.vt, binary::vt::pointer);
    Held<binary::ITypeInfo> absent;
    ASSERT_EQ(info->GetRefTypeInfo(function->elemdescFunc.type.pointed->refType, absent.out()), results::ok);
    const auto& read = client::describe(*absent.get());
    EXPECT_EQ(read.name, "Wheels");
    EXPECT_EQ(read.progId, "");
    EXPECT_TRUE(read.members.empty());
    EXPECT_EQ(info->GetRefTypeInfo(123456, absent.out()), results::elementNotFound);
}

TEST_F(TypeInfoTest, ARecordsLayoutIsThatOfTheLanguageC) {
    struct InC {
        char16_t* Name;
        std::int16_t Count;
        double Width;
        std::int16_t Valid;
        binary::Variant Note;
        std::int64_t Price;
        double Day;
    };
    const std::uint32_t expected[] = {offsetof(InC, Name),  offsetof(InC, Count), offsetof(InC, Width),
                                      offsetof(InC, Valid), offsetof(InC, Note),  offsetof(InC, Price),
                                      offsetof(InC, Day)};
    const Held<binary::ITypeInfo> info(server::makeTypeInfo(server::modelOf(readingInfo)));
    for (std::uint32_t i = 0; i < std::size(expected); ++i) {
        binary::VarDesc* field = nullptr;
        ASSERT_EQ(info->GetVarDesc(i, &field), results::ok);
        EXPECT_EQ(field->oInst, expected[i]) << i;
    }
    const auto type = binary::query<binary::IRecordInfo>(info.get(), binary::ids::recordInfo);
    std::uint32_t size = 0;
    EXPECT_EQ(type->GetSize(&size), results::ok);
    EXPECT_EQ(size, sizeof(InC));
}

TEST_F(TypeInfoTest, RecordsAreCopiedClearedAndDestroyedWhole) {
    const Held<binary::ITypeInfo> info(server::makeTypeInfo(server::modelOf(readingInfo)));
    const auto type = binary::query<binary::IRecordInfo>(info.get(), binary::ids::recordInfo);
    void* record = type->RecordCreate();
    binary::Variant text = textVariant(u"first");
    EXPECT_EQ(type->PutField(0, record, u"name", &text), results::ok);
    EXPECT_EQ(type->PutField(0, record, u"Note", &text), results::ok);
    void* copy = nullptr;
    ASSERT_EQ(type->RecordCreateCopy(record, &copy), results::ok);
    EXPECT_EQ(type->RecordClear(record), results::ok);

    binary::Variant value{};
    EXPECT_EQ(type->GetField(copy, u"NAME", &value), results::ok);
    EXPECT_EQ(std::u16string_view(value.bstr), u"first") << "the copy has its own text";
    binary::clear(value);
    EXPECT_EQ(type->GetField(record, u"Note", &value), results::ok);
    EXPECT_EQ(value.vt, binary::vt::empty);
    void* data = nullptr;
    EXPECT_EQ(type->GetFieldNoCopy(copy, u"Note", &value, &data), results::ok);
    EXPECT_EQ(value.vt, binary::vt::byRef | binary::vt::variant);
    EXPECT_EQ(type->GetField(copy, u"Length", &value), results::elementNotFound);
    EXPECT_EQ(type->IsMatchingType(type.get()), 1);

    EXPECT_EQ(type->RecordDestroy(copy), results::ok);
    EXPECT_EQ(type->RecordDestroy(record), results::ok);
    binary::clear(text);
}

} // namespace
} // namespace corveth::test
