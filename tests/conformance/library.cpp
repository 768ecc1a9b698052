// Every public class against the list of members that clients were promised, slot by slot.

#include "platform/automation/class_registry.h"
#include "platform/automation/dispatch.h"
#include "scheduling/project_types.h"
#include "session/module_state.h"

#include <gtest/gtest.h>

#include <map>

namespace corveth {
namespace {

/// `kinds Name(params) Type`, a slot for each kind in the order of the slots; `&` by reference, `?` optional, `*` the
/// default member, `!` the enumerator.
const std::map<Text, const char*> promised = {
    {"CRM", R"(
get Contacts() Contacts
method UseConnection(newConnection& Connection)
get Attachments() Attachments
)"},
    {"FINANCIAL", ""},
    {"Note", R"(
get let Title() String
get let Note() String
get let LinkId() String
method Populate()
get let ID() String
let get LinkType() String
method Update()
method DeleteNote(bSelf? Boolean)
)"},
    {"Notes", R"(
let get LinkId() String
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
get let ID() String
get let ItemDescription() String
get let ProjectId() String
get let ParentId() String
get let SourceType() String
get ItemTypeAsLink() String
get ItemTypeID() String
let get LinkId() String
method PopulateWithLinkId()
method Populate()
)"},
    {"Address", R"(
get let Add1() String
get let Add2() String
get let Country() String
get let State() String
get let City() String
get let Pin() String
get let DisplayAs() String
get let Email() String
method InitClass()
)"},
    {"Contact", R"(
get let ToString() String
get let Title() String
get let FirstName() String
get let MiddleName() String
get let LastName() String
get let ContactType() ctContactType
get let TypeToString() String
get let JobTitle() String
get let Profession() String
get let Department() String
get let TypeDef() String
get let ShowInTaskList() Byte
get let DOB() String
get set Picture() Picture
get let Phone() String
get let Mobile() String
get let WorkPhone() String
get let Extension() String
get let Fax() String
get let WebAddress() String
get let IMAddress() String
get let Description() String
get let ReferredBy() String
get set HomeAddress() Address
get set OfficeAddress() Address
get Invoices() Invoices
get Expenses() Expenses
get Installations() Installations
get Tasks() Tasks
get Notes() Notes
get Appointments() Appointments
get Bugs() Bugs
get Company() Company
let get ID() String
get IsUsed() Boolean
method UpdateContact()
method LoadPictureFromDB() Picture
method DeleteContact(bSelf? Boolean)
)"},
    {"Company", R"(
get let ToString() String
get let ContactType() ctContactType
get let TypeToString() String
get let ShowInTaskList() Byte
get let Phone() String
get let Mobile() String
get let WorkPhone() String
get let Extension() String
get let Fax() String
get set HomeAddress() Address
get set OfficeAddress() Address
get let WebAddress() String
get let IMAddress() String
get let Description() String
get let ReferredBy() String
get Tasks() Tasks
get Notes() Notes
get Invoices() Invoices
get Installations() Installations
get Expenses() Expenses
get Bugs() Bugs
get Appointments() Appointments
let get ID() String
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
get let LinkId() String
get let LinkType() String
get let set Data() Variant
get let AttachmentDate() String
get let AttachmentSize() Long
get let AttachmentTitle() String
get let AttachmentType() String
get let AttachmentID() String
get TempFilePath() String
get Index() Long
get ThreadId() Long
let get DocumentWindowHwnd() Long
let get Alive() Boolean
method OpenAttachment()
method Populate()
method UpdateAttachment(mLinkId String)
method CloseAttachmentWindow()
method DeleteAttachment(bSelf? Boolean)
)"},
    {"Attachments", R"(
let get LinkId() String
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
get let Description() String
get let AwardedAmount() Single
get let BudgetedAmount() Single
get let Priority() String
get let Status() String
get let SourceType() String
get let BidID() String
let get CalculationMethod() ptCalcMethod
let get EarliestStartDate() String
let get PlannedStartDate() String
let get PlannedFinishDate() String
get ResourceCount() Single
let get ActualDuration() Single
let get RemainingDuration() Single
let get RemainingWork() Single
let get ExpectedOverrun() Single
let get ActualFinishDate() String
let get PlannedDuration() Single
let get PlannedWork() Single
let get ActualWorked() Single
let get CompletedPercentage() Single
let get ActualStartDate() String
let get Finished() Boolean
get let ItemName() String
get let ItemType() ptType
get Attachments() Attachments
get Actions() Actions
get Users() Participants
get Version() Version
get Source() LinkItem
get ProjectCategory() ProjectType
get ParentProject() ParentItem
let ParentId() String
get Parent() ParentItem
let get ID() String
method AvailabilityChanged()
method Update()
method Populate()
method UpdateParents()
method Delete(bSelf&? Boolean)
)"},
    {"Tasks", R"(
get let LinkId() String
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
get let ParentId() String
get let Description() String
get let AwardedAmount() Single
get let BudgetedAmount() Single
get let Priority() String
get let Status() String
get let ExpectedOverrun() Single
get let CompletedPercentage() Byte
get let EarliestStartDate() String
get let PlannedStartDate() String
get let PlannedFinishDate() String
get let PlannedDuration() Single
get let PlannedWork() Single
get let ActualStartDate() String
get let ActualFinishDate() String
get let ActualDuration() Single
get let RemainingWork() Single
get let ActualWorked() Single
get let ItemName() String
get let ItemType() Integer
get let VersionID() String
get let BidID() String
get let ProjectId() String
get let SourceId() String
get let SourceType() String
get let ProjectCategoryID() String
get let CalculationMethod() Byte
get ID() String
method Populate()
method Update()
method ClearAllUser()
)"},
    {"ProjectType", R"(
get let ID() String
get let ParentId() String
get let ItemType() String
get let Description() String
get let ItemIndex() Integer
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
get let Description() String
get let LinkId() String
get let ID() String
get let Role() String
get let Permission() String
get let WorkDone() Single
get let WorkAlloted() Single
get let Rate() Single
get let Amount() Single
get let Account() String
get let Billable() Boolean
get let Comment() String
get let Availability() Single
get let WorkCalcMethod() ptCalcMethod
get let PlanWork() Single
get let PlanDuration() Single
get let Resource() Single
method Populate()
method Update()
method getTaskCount() Long
method DeleteParticipant()
)"},
    {"Participants", R"(
method getTotalAvilability() Single
method GetTotalAllotedHours() Single
method Clear()
let get LinkId() String
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
get let VersionName() String
get let Description() String
let get ReleaseDate() String
let get ID() String
method Populate()
method Update()
)"},
    {"Action", R"(
get let Description() String
get let Priority() String
get let FinishBy() String
get let PercentageCompleted() Byte
get let FinishDate() String
get let LinkId() String
get Task() LinkItem
get LinkType() String
get AssignedTo() LinkItem
let get ID() String
method Populate()
method Update()
method DeleteAction(bSelf&? Boolean)
)"},
    {"Actions", R"(
method AddItem(Item Action) Variant
get* Item(vntIndexKey Variant) Action
get let LinkId() String
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

Text kindText(const SlotInfo& slot) {
    static constexpr const char* kinds[] = {"get", "let", "set", "method"};
    Text text = kinds[static_cast<std::size_t>(slot.kind)];
    if (slot.row->isDefault) text += '*';
    if (slot.row->isEnumerator) text += '!';
    return text + ' ';
}

Text signatureText(const MemberRow& row) {
    Text text = Text(row.name) + "(";
    for (std::size_t i = 0; i < row.paramCount; ++i) {
        const ParamInfo& param = row.params[i];
        text += (i == 0 ? "" : ", ") + Text(param.name) + (param.byRef ? "&" : "") + (param.optional ? "?" : "") + " " +
                typeText(param.type);
    }
    text += ")";
    if (const Text type = typeText(row.type); !type.empty()) text += " " + type;
    return text + '\n';
}

Text membersText(const ClassInfo& info) {
    Text text(info.members.empty() ? "" : "\n"), kinds, signature;
    for (const SlotInfo& slot : info.index().slots()) {
        if (const Text next = signatureText(*slot.row); next != signature) {
            text += kinds + signature;
            kinds.clear();
            signature = next;
        }
        kinds += kindText(slot);
    }
    return text + kinds + signature;
}

TEST(LibraryTest, EveryPublicClassHasItsMembersInSlotOrder) {
    std::size_t found = 0;
    for (const ClassInfo* info : allClasses()) {
        if (!info->isPublic()) continue;
        SCOPED_TRACE(info->name);
        ++found;
        const auto expected = promised.find(info->name);
        ASSERT_NE(expected, promised.end()) << "add its list of members here";
        EXPECT_EQ(membersText(*info), expected->second);
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
