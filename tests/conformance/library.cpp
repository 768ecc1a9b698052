// Every public class against the list of members that clients were promised, slot by slot.

#include "platform/automation/class_registry.h"
#include "platform/automation/dispatch.h"
#include "scheduling/project_types.h"
#include "session/module_state.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace corveth {
namespace {

/// `kind Name(params) Type`, a slot a line; `&` by reference, `?` optional, `*` the default member, `!` the enumerator.
const std::map<Text, const char*> promised = {
    {"CRM", R"(
get Contacts() Contacts
method UseConnection(newConnection& Connection)
get Attachments() Attachments
)"},
    {"FINANCIAL", ""},
    {"Note", R"(
get Title() String
let Title() String
get Note() String
let Note() String
get LinkId() String
let LinkId() String
method Populate()
get ID() String
let ID() String
let LinkType() String
get LinkType() String
method Update()
method DeleteNote(bSelf? Boolean)
)"},
    {"Notes", R"(
let LinkId() String
get LinkId() String
method UpdateNotes()
method SetLinkFilter(LinkId String)
method SetIDFilter(NoteId String)
method SetTypeFilter(LinkType ptParentType)
method SetNoFilter()
method Populate()
method AddItem(Item Note)
method Add(ID& String, ParentId& String, ParentType& String, Title& String, Note& String, sKey&? String) Note
get* Item(Index& Integer) Note
get Count() Long
method Remove(vntIndexKey& Variant)
get! NewEnum() Enumerator
)"},
    {"LinkItem", R"(
get ID() String
let ID() String
get ItemDescription() String
let ItemDescription() String
get ProjectId() String
let ProjectId() String
get ParentId() String
let ParentId() String
get SourceType() String
let SourceType() String
get ItemTypeAsLink() String
get ItemTypeID() String
let LinkId() String
get LinkId() String
method PopulateWithLinkId()
method Populate()
)"},
    {"Address", R"(
get Add1() String
let Add1() String
get Add2() String
let Add2() String
get Country() String
let Country() String
get State() String
let State() String
get City() String
let City() String
get Pin() String
let Pin() String
get DisplayAs() String
let DisplayAs() String
get Email() String
let Email() String
method InitClass()
)"},
    {"Contact", R"(
get ToString() String
let ToString() String
get Title() String
let Title() String
get FirstName() String
let FirstName() String
get MiddleName() String
let MiddleName() String
get LastName() String
let LastName() String
get ContactType() ctContactType
let ContactType() ctContactType
get TypeToString() String
let TypeToString() String
get JobTitle() String
let JobTitle() String
get Profession() String
let Profession() String
get Department() String
let Department() String
get TypeDef() String
let TypeDef() String
get ShowInTaskList() Byte
let ShowInTaskList() Byte
get DOB() String
let DOB() String
get Picture() Picture
set Picture() Picture
get Phone() String
let Phone() String
get Mobile() String
let Mobile() String
get WorkPhone() String
let WorkPhone() String
get Extension() String
let Extension() String
get Fax() String
let Fax() String
get WebAddress() String
let WebAddress() String
get IMAddress() String
let IMAddress() String
get Description() String
let Description() String
get ReferredBy() String
let ReferredBy() String
get HomeAddress() Address
set HomeAddress() Address
get OfficeAddress() Address
set OfficeAddress() Address
get Invoices() Invoices
get Expenses() Expenses
get Installations() Installations
get Tasks() Tasks
get Notes() Notes
get Appointments() Appointments
get Bugs() Bugs
get Company() Company
let ID() String
get ID() String
get IsUsed() Boolean
method UpdateContact()
method LoadPictureFromDB() Picture
method DeleteContact(bSelf? Boolean)
)"},
    {"Company", R"(
get ToString() String
let ToString() String
get ContactType() ctContactType
let ContactType() ctContactType
get TypeToString() String
let TypeToString() String
get ShowInTaskList() Byte
let ShowInTaskList() Byte
get Phone() String
let Phone() String
get Mobile() String
let Mobile() String
get WorkPhone() String
let WorkPhone() String
get Extension() String
let Extension() String
get Fax() String
let Fax() String
get HomeAddress() Address
set HomeAddress() Address
get OfficeAddress() Address
set OfficeAddress() Address
get WebAddress() String
let WebAddress() String
get IMAddress() String
let IMAddress() String
get Description() String
let Description() String
get ReferredBy() String
let ReferredBy() String
get Tasks() Tasks
get Notes() Notes
get Invoices() Invoices
get Installations() Installations
get Expenses() Expenses
get Bugs() Bugs
get Appointments() Appointments
let ID() String
get ID() String
)"},
    {"Contacts", R"(
get* Item(vntIndexKey& Variant) Contact
get Count() Long
get! NewEnum() Enumerator
method Add(strContactId String, Key&? String) Contact
method MoveLast() Contact
method MoveFirst() Contact
method MoveNext() Contact
method MovePrevious() Contact
method InitializeAsType(ContactType ctContactType)
method Populate()
method SetCompanyFilter(strCompanyID String)
)"},
    {"Attachment", R"(
get LinkId() String
let LinkId() String
get LinkType() String
let LinkType() String
get Data() Variant
let Data() Variant
set Data() Variant
get AttachmentDate() String
let AttachmentDate() String
get AttachmentSize() Long
let AttachmentSize() Long
get AttachmentTitle() String
let AttachmentTitle() String
get AttachmentType() String
let AttachmentType() String
get AttachmentID() String
let AttachmentID() String
get TempFilePath() String
get Index() Long
get ThreadId() Long
let DocumentWindowHwnd() Long
get DocumentWindowHwnd() Long
let Alive() Boolean
get Alive() Boolean
method OpenAttachment()
method Populate()
method UpdateAttachment(mLinkId String)
method CloseAttachmentWindow()
method DeleteAttachment(bSelf? Boolean)
)"},
    {"Attachments", R"(
let LinkId() String
get LinkId() String
method InitAsAll()
method Populate()
method UpdateAttachments()
method AddAttachment()
get* Item(vntIndexKey& Variant) Attachment
get Count() Long
method Remove(vntIndexKey Variant)
get! NewEnum() Enumerator
)"},
    {"ProjectTask", R"(
get Description() String
let Description() String
get AwardedAmount() Single
let AwardedAmount() Single
get BudgetedAmount() Single
let BudgetedAmount() Single
get Priority() String
let Priority() String
get Status() String
let Status() String
get SourceType() String
let SourceType() String
get BidID() String
let BidID() String
let CalculationMethod() ptCalcMethod
get CalculationMethod() ptCalcMethod
let EarliestStartDate() String
get EarliestStartDate() String
let PlannedStartDate() String
get PlannedStartDate() String
let PlannedFinishDate() String
get PlannedFinishDate() String
get ResourceCount() Single
let ActualDuration() Single
get ActualDuration() Single
let RemainingDuration() Single
get RemainingDuration() Single
let RemainingWork() Single
get RemainingWork() Single
let ExpectedOverrun() Single
get ExpectedOverrun() Single
let ActualFinishDate() String
get ActualFinishDate() String
let PlannedDuration() Single
get PlannedDuration() Single
let PlannedWork() Single
get PlannedWork() Single
let ActualWorked() Single
get ActualWorked() Single
let CompletedPercentage() Single
get CompletedPercentage() Single
let ActualStartDate() String
get ActualStartDate() String
let Finished() Boolean
get Finished() Boolean
get ItemName() String
let ItemName() String
get ItemType() ptType
let ItemType() ptType
get Attachments() Attachments
get Actions() Actions
get Users() Participants
get Version() Version
get Source() LinkItem
get ProjectCategory() ProjectType
get ParentProject() ParentItem
let ParentId() String
get Parent() ParentItem
let ID() String
get ID() String
method AvailabilityChanged()
method Update()
method Populate()
method UpdateParents()
method Delete(bSelf&? Boolean)
)"},
    {"Tasks", R"(
get LinkId() String
let LinkId() String
method Add(ID& String, sKey&? String) Variant
get* Item(vntIndexKey& Variant) ProjectTask
get Count() Long
method Remove(vntIndexKey& Variant)
get! NewEnum() Enumerator
method Populate()
method UpdateTasks()
method SetCategoryFilter(strCategoryId String)
)"},
    {"ParentItem", R"(
get ParentId() String
let ParentId() String
get Description() String
let Description() String
get AwardedAmount() Single
let AwardedAmount() Single
get BudgetedAmount() Single
let BudgetedAmount() Single
get Priority() String
let Priority() String
get Status() String
let Status() String
get ExpectedOverrun() Single
let ExpectedOverrun() Single
get CompletedPercentage() Byte
let CompletedPercentage() Byte
get EarliestStartDate() String
let EarliestStartDate() String
get PlannedStartDate() String
let PlannedStartDate() String
get PlannedFinishDate() String
let PlannedFinishDate() String
get PlannedDuration() Single
let PlannedDuration() Single
get PlannedWork() Single
let PlannedWork() Single
get ActualStartDate() String
let ActualStartDate() String
get ActualFinishDate() String
let ActualFinishDate() String
get ActualDuration() Single
let ActualDuration() Single
get RemainingWork() Single
let RemainingWork() Single
get ActualWorked() Single
let ActualWorked() Single
get ItemName() String
let ItemName() String
get ItemType() Integer
let ItemType() Integer
get VersionID() String
let VersionID() String
get BidID() String
let BidID() String
get ProjectId() String
let ProjectId() String
get SourceId() String
let SourceId() String
get SourceType() String
let SourceType() String
get ProjectCategoryID() String
let ProjectCategoryID() String
get CalculationMethod() Byte
let CalculationMethod() Byte
get ID() String
method Populate()
method Update()
method ClearAllUser()
)"},
    {"ProjectType", R"(
get ID() String
let ID() String
get ParentId() String
let ParentId() String
get ItemType() String
let ItemType() String
get Description() String
let Description() String
get ItemIndex() Integer
let ItemIndex() Integer
method DeleteType()
)"},
    {"ProjectTypes", R"(
get Count() Long
get Parent(ID Variant) ProjectType
method ProjectItems() Object
get* Item(ID Variant) ProjectType
method Remove(ID Variant)
method Update(ID? Variant)
method AddItem(strItemID String, strParentID String, strDesc String, strItemType String) ProjectType
)"},
    {"Participant", R"(
get Description() String
let Description() String
get LinkId() String
let LinkId() String
get ID() String
let ID() String
get Role() String
let Role() String
get Permission() String
let Permission() String
get WorkDone() Single
let WorkDone() Single
get WorkAlloted() Single
let WorkAlloted() Single
get Rate() Single
let Rate() Single
get Amount() Single
let Amount() Single
get Account() String
let Account() String
get Billable() Boolean
let Billable() Boolean
get Comment() String
let Comment() String
get Availability() Single
let Availability() Single
get WorkCalcMethod() ptCalcMethod
let WorkCalcMethod() ptCalcMethod
get PlanWork() Single
let PlanWork() Single
get PlanDuration() Single
let PlanDuration() Single
get Resource() Single
let Resource() Single
method Populate()
method Update()
method getTaskCount() Long
method DeleteParticipant()
)"},
    {"Participants", R"(
method getTotalAvilability() Single
method GetTotalAllotedHours() Single
method Clear()
let LinkId() String
get LinkId() String
method Populate()
method AddItem(Item Participant)
method Add(ID& String, sKey&? String) Participant
get* Item(vntIndexKey& Variant) Participant
get Count() Long
method Remove(vntIndexKey& Variant)
get! NewEnum() Enumerator
method UpdateParticipants()
)"},
    {"Version", R"(
get VersionName() String
let VersionName() String
get Description() String
let Description() String
let ReleaseDate() String
get ReleaseDate() String
let ID() String
get ID() String
method Populate()
method Update()
)"},
    {"Action", R"(
get Description() String
let Description() String
get Priority() String
let Priority() String
get FinishBy() String
let FinishBy() String
get PercentageCompleted() Byte
let PercentageCompleted() Byte
get FinishDate() String
let FinishDate() String
get LinkId() String
let LinkId() String
get Task() LinkItem
get LinkType() String
get AssignedTo() LinkItem
let ID() String
get ID() String
method Populate()
method Update()
method DeleteAction(bSelf&? Boolean)
)"},
    {"Actions", R"(
method AddItem(Item Action) Variant
get* Item(vntIndexKey Variant) Action
get LinkId() String
let LinkId() String
get Count() Long
method Remove(vntIndexKey Variant)
get! NewEnum() Enumerator
method Populate()
method UpdateActions()
)"},
};

Text typeText(const TypeRef& type) {
    static constexpr const char* names[] = {"",       "String",  "Integer",  "Long",       "Byte",       "Single",
                                            "Double", "Boolean", "Currency", "Date",       "Variant",    "object",
                                            "enum",   "record",  "Picture",  "Connection", "Enumerator", "Object"};
    switch (type.kind) {
    case TypeKind::object:
    case TypeKind::enumeration:
    case TypeKind::record:
        return type.name;
    default:
        return names[static_cast<std::size_t>(type.kind)];
    }
}

Text slotText(const SlotInfo& slot) {
    static constexpr const char* kinds[] = {"get", "let", "set", "method"};
    const MemberRow& row = *slot.row;
    Text text = kinds[static_cast<std::size_t>(slot.kind)];
    if (row.isDefault) text += '*';
    if (row.isEnumerator) text += '!';
    text += Text(" ") + row.name + "(";
    for (std::size_t i = 0; i < row.paramCount; ++i) {
        const ParamInfo& param = row.params[i];
        text += (i == 0 ? "" : ", ") + Text(param.name) + (param.byRef ? "&" : "") + (param.optional ? "?" : "") + " " +
                typeText(param.type);
    }
    text += ")";
    if (const Text type = typeText(row.type); !type.empty()) text += " " + type;
    return text;
}

TEST(LibraryTest, EveryPublicClassHasItsMembersInSlotOrder) {
    std::size_t found = 0;
    for (const ClassInfo* info : allClasses()) {
        if (!info->isPublic()) continue;
        SCOPED_TRACE(info->name);
        ++found;
        const auto expected = promised.find(info->name);
        ASSERT_NE(expected, promised.end()) << "add its list of members here";
        std::ostringstream members;
        if (!info->members.empty()) members << '\n';
        for (const SlotInfo& slot : info->index().slots())
            members << slotText(slot) << '\n';
        EXPECT_EQ(members.str(), expected->second);
        EXPECT_NE(info->create, nullptr) << "every public class can be created";
    }
    EXPECT_EQ(found, promised.size());
}

TEST(LibraryTest, NamesAndIdsAreUniqueWithinAClass) {
    for (const ClassInfo* info : allClasses()) {
        SCOPED_TRACE(info->progId());
        std::map<Text, DispId> ids;
        for (const auto& row : info->members) {
            EXPECT_TRUE(ids.emplace(foldCase(row.name), *info->index().idOf(row.name)).second) << row.name;
            EXPECT_EQ(info->index().member(*info->index().idOf(row.name)), &row);
        }
    }
}

TEST(LibraryTest, ObjectsBeginEmptyAndEndWithoutATrace) {
    const auto before = Object::liveCount();
    for (const ClassInfo* info : allClasses()) {
        SCOPED_TRACE(info->progId());
        if (info->create == nullptr) continue;
        if (info == &ProjectTypes::description) { // loads itself when it is made, by the thread's data service
            EXPECT_THROW(createObject(info->progId()), Error);
            moduleState() = {};
            continue;
        }
        const auto object = createObject(foldCase(info->progId()));
        EXPECT_EQ(&object->classInfo(), info);
        for (const SlotInfo& slot : info->index().slots()) {
            if (slot.kind != MemberKind::get || slot.row->paramCount != 0 || !info->isPublic()) continue;
            if (!slot.row->isAvailable) continue;
            EXPECT_NO_THROW(getMember(*object, slot.row->name)) << slot.row->name;
        }
    }
    EXPECT_EQ(Object::liveCount(), before);
}

TEST(LibraryTest, EnumerationsHaveTheirValues) {
    const std::map<Text, Text> expected = {
        {"ptParentType",
         "ptNone=0 ptAppointment=4 ptBug=8 ptContact=12 ptCompany=16 ptInvoice=20 ptProject=24 ptTask=28 "
         "ptNote=32 ptAttachment=36 ptReminder=42 ptBid=46 ptRisk=52 ptDefects=56 ptProduct=60 "
         "ptRequirement=64 ptRequest=68 ptDeliverable=72 ptSubscription=76 "},
        {"ctContactType", "ctCompany=0 ctIndividual=1 ctCompanyContact=2 ctOthers=3 "},
        {"ptCalcMethod", "FixedWork=0 FixedDuration=1 FixedResourse=2 None=3 "},
        {"ptType", "PROJECT=0 GroupTask=1 Task=2 "},
        {"dpType", "dpProduct=0 dpDeliverable=1 "},
        {"tpBidSource", "bsCompany=0 bsIndividual=1 bsFreelance=2 bsOthers=3 "},
        {"fvFilterType", "fvFolder=1 fvLink=2 "},
    };
    std::map<Text, Text> found;
    for (const EnumInfo* info : allEnums()) {
        for (const auto& member : info->members) {
            found[info->name] += Text(member.name) + "=" + std::to_string(member.value) + " ";
        }
    }
    EXPECT_EQ(found, expected);
}

} // namespace
} // namespace corveth
