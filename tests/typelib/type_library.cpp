#include "platform/automation/class_registry.h"
#include "platform/automation/describe.h"
#include "platform/automation/dispatch.h"
#include "typelib/identifiers.h"
#include "typelib/interface_text.h"
#include "typelib/json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

namespace corveth {

enum class Shade : std::int32_t { dark = 2, light = 5 };
inline constexpr EnumInfo::Member shadeMembers[] = {{"shDark", 2}, {"shLight", 5}};
inline constexpr EnumInfo shadeInfo{"shShade", shadeMembers};
template <>
inline constexpr const EnumInfo* enumInfo<Shade> = &shadeInfo;

namespace {

using testing::HasSubstr;

class Swatch final : public Described<Swatch> {
public:
    static constexpr const char* className = "Swatch";
    static const ClassInfo description;

    Shade Colour = Shade::dark;
    Ref<Swatch> Next;
    std::int16_t get_Size() const { return size_; }
    void let_Size(std::int16_t value) { size_ = value; }
    Ref<Swatch> get_Part(Value& Which) { return Which.isMissing() ? Ref<Swatch>() : Ref<Swatch>(this); }
    void Paint(const Text& Layer, float Thickness) { name_ = Thickness > 0 ? Layer : Text(); }
    Currency Price(bool& Exact) {
        Exact = true;
        return {};
    }

private:
    struct Table;
    std::int16_t size_ = 0;
    Text name_;
};

struct Swatch::Table {
    static constexpr MemberRow members[] = {
        preset(field<&Swatch::Colour>("Colour")),
        field<&Swatch::Next>("Next"),
        key(letGet<&Swatch::let_Size, &Swatch::get_Size>("Size"), "Swatches.Size"),
        defaultMember(get<&Swatch::get_Part>("Part", "Which")),
        saves(loads(method<&Swatch::Paint>("Paint", "Layer", optional("Thickness"))), "Top"),
        removes(method<&Swatch::Price>("Price", "Exact")),
        unavailable("Frames", "Frames"),
    };
};
constinit const ClassInfo Swatch::description = describe<Swatch, Swatch::Table>("Test", false);

/// One slot as a line: number, id, name, kind, arguments, type, flags.
std::string line(const OrderedJson& member) {
    std::string text = member.at("slot").dump() + " " + member.at("dispid").dump() + " " +
                       member.at("name").get<std::string>() + " " + member.at("kind").get<std::string>() + " (";
    for (const auto& param : member.at("params")) {
        text += " " + param.at("name").get<std::string>() + ":" + param.at("type").get<std::string>();
        if (param.at("byref") == true) text += "&";
        if (param.at("optional") == true) text += "?";
    }
    text += " ) " + member.at("type").get<std::string>();
    for (const char* flag : {"default", "enumerator", "hidden"}) {
        if (member.at(flag) == true) text += std::string(" ") + flag;
    }
    return text;
}

TEST(TypeLibraryJson, DescribesEverySlotOfAClass) {
    const OrderedJson json = classJson(Swatch::description);
    std::vector<std::string> lines;
    for (const auto& member : json.at("members"))
        lines.push_back(line(member));

    EXPECT_EQ(lines, (std::vector<std::string>{
                         "1 1745027072 Colour get ( ) Enum:shShade",
                         "2 1745027072 Colour let ( ) Enum:shShade",
                         "3 1745027073 Next get ( ) Object:Swatch",
                         "4 1745027073 Next set ( ) Object:Swatch",
                         "5 1610809344 Size let ( ) Integer",
                         "6 1610809344 Size get ( ) Integer",
                         "7 0 Part get ( Which:Variant& ) Object:Swatch default",
                         "8 1610809345 Paint method ( Layer:String& Thickness:Single? ) none",
                         "9 1610809346 Price method ( Exact:Boolean& ) Currency",
                         "10 1610809347 Frames get ( ) Object:Frames",
                     }));
    OrderedJson head = json;
    head.erase("members");
    EXPECT_EQ(head.dump(), R"({"name":"Swatch","progid":"Test.Swatch","creatable":false,"interface":"_Swatch"})");
}

TEST(TypeLibraryJson, TellsTheRolesOfMembers) {
    EXPECT_EQ(rolesJson(Swatch::description), OrderedJson::parse(R"({
        "class": "Swatch", "progid": "Test.Swatch", "members": [
            {"name": "Colour", "roles": ["preset"], "argument": null},
            {"name": "Size", "roles": ["key"], "argument": "Swatches.Size"},
            {"name": "Paint", "roles": ["loads", "saves"], "argument": "Top"},
            {"name": "Price", "roles": ["removes"], "argument": null}]})"));
}

/// Every name that a type refers to must be found by a tool that reads nothing else.
TEST(TypeLibraryJson, NamesOnlyEnumerationsAndRecordsThatItHolds) {
    const OrderedJson library = libraryJson();
    std::set<std::string> known;
    for (const auto& entry : library.at("enums"))
        known.insert("Enum:" + entry.at("name").get<std::string>());
    for (const auto& entry : library.at("records"))
        known.insert("Record:" + entry.at("name").get<std::string>());
    const auto check = [&](const OrderedJson& type, const OrderedJson& where) {
        const auto name = type.get<std::string>();
        const bool mustBeKnown = name.starts_with("Enum:") || name.starts_with("Record:");
        EXPECT_TRUE(!mustBeKnown || known.contains(name)) << name << " in " << where;
    };

    EXPECT_EQ(library.at("library"), "prjCorveth");
    EXPECT_EQ(library.at("version"), "1.2");
    for (const auto& entry : library.at("classes")) {
        EXPECT_EQ(entry.at("progid"), "prjCorveth." + entry.at("name").get<std::string>());
        for (const auto& member : entry.at("members")) {
            check(member.at("type"), entry.at("name"));
            for (const auto& param : member.at("params"))
                check(param.at("type"), entry.at("name"));
        }
    }
    EXPECT_EQ(library.at("enums").size(), 7U);
}

TEST(InterfaceText, HoldsWhatToolsLookFor) {
    const Text text = interfaceText();
    const char* expected[] = {
        "    uuid(a293e00b-7af4-5f75-95ef-8d0e90b8ccc5),\n    version(1.2)\n]\nlibrary prjCorveth {",
        "        ctCompanyContact = 2,\n        ctOthers = 3\n    } ctContactType;",
        "    interface _Contact;\n",
        "    interface _Invoices; // not available in this build\n",
        "    [odl, uuid(42babe7e-173b-5f1b-940f-ad528db0ef49), version(1.2), hidden, dual, nonextensible, "
        "oleautomation]\n    interface _Contact : IDispatch {\n",
        "[uuid(ae4b6464-dc03-5bb5-a475-d6bebd497c02), version(1.2)]\n    coclass Contact {\n"
        "        [default] interface _Contact;",
        "        [id(0x68030000), propget] HRESULT ToString([out, retval] BSTR* result);",
        "        [id(0x68030000), propput] HRESULT ToString([in] BSTR value);",
        "propputref] HRESULT HomeAddress([in] _Address* value);",
        "HRESULT DeleteContact([in, optional] VARIANT_BOOL bSelf);",
        "        [id(0), propget] HRESULT Item([in, out] short* Index, [out, retval] _Note** result);",
        "        [id(-4), propget, restricted, hidden] HRESULT NewEnum([out, retval] IUnknown** result);",
    };
    for (const char* part : expected)
        EXPECT_THAT(text, HasSubstr(part));
    EXPECT_THAT(text, testing::Not(HasSubstr("TypeLibrary"))); // a platform class is no part of the library
}

TEST(Identifiers, AreVersionFiveOfTheName) {
    struct {
        const char* name;
        const char* expected;
    } const rows[] = {
        {"prjCorveth.Contact", "ae4b6464-dc03-5bb5-a475-d6bebd497c02"},
        {"prjCorveth._Contact", "42babe7e-173b-5f1b-940f-ad528db0ef49"},
        {"ADODB.Connection", "10d24a78-cfd3-5fa7-84fb-2b38e435da41"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(toText(identifierOf(row.name)), row.expected) << row.name;
}

TEST(TypeLibraryObject, FindsClassesByEitherName) {
    struct {
        const char* member;
        const char* argument;
        const char* expected; ///< a part of the text, or of the failure's description
        bool fails;
    } const rows[] = {
        {"Json", "Contact", "\"progid\": \"prjCorveth.Contact\"", false},
        {"Json", "prjcorveth.contact", "\"progid\": \"prjCorveth.Contact\"", false},
        {"Json", "ADODB.Recordset", "\"name\": \"Recordset\"", false},
        {"Json", "", "\"library\": \"prjCorveth\"", false},
        {"Json", "Contcat", "there is no class \"Contcat\"; did you mean Contact?", true},
        {"Json", "prjCorveth.Adress", "did you mean prjCorveth.Address?", true},
        {"Roles", "Note", "\"argument\": \"Notes.NoteId\"", false},
        {"Roles", "", "there is no class \"\"", true},
        {"Roles", "Quetzalcoatl", "there is no class \"Quetzalcoatl\"", true},
    };
    const auto library = createObject("Corveth.TypeLibrary");
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.member) + " " + row.argument);
        try {
            const Value value = callMember(*library, row.member, {Value(row.argument)});
            EXPECT_FALSE(row.fails);
            EXPECT_THAT(*value.getIf<Text>(), HasSubstr(row.expected));
        } catch (const Error& error) {
            EXPECT_TRUE(row.fails) << error.description;
            EXPECT_EQ(error.number, errors::cannotCreate);
            EXPECT_THAT(error.description, HasSubstr(row.expected));
        }
    }
}

TEST(TypeLibraryObject, ListsCreatableClassesFirst) {
    const auto library = createObject("Corveth.TypeLibrary");
    const Text all = *callMember(*library, "ClassNames").getIf<Text>();
    const Text creatable = *callMember(*library, "ClassNames", {Value(true)}).getIf<Text>();
    EXPECT_TRUE(all.starts_with(creatable));
    std::istringstream names(all);
    std::size_t count = 0;
    for (Text name; std::getline(names, name); ++count) {
        const ClassInfo* info = findClass(name);
        ASSERT_NE(info, nullptr) << name;
        EXPECT_EQ(creatable.find(name + "\n") != Text::npos, info->create != nullptr) << name;
    }
    EXPECT_EQ(count, allClasses().size());
}

} // namespace

} // namespace corveth
