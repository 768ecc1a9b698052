#include "contacts/contact.h"

#include "contacts/contacts.h"
#include "platform/automation/convert.h"
#include "platform/desktop/message_box.h"
#include "platform/desktop/program_folder.h"
#include "session/module_state.h"
#include "session/notes.h"
#include "support/fixture.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <latch>

namespace corveth {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

class ContactTest : public test::DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        earlierHandler_ = setMessageBoxHandler([this](const MessageBox& box) {
            boxes.push_back(box.title + "|" + box.prompt + "|" + std::to_string(box.flags));
            return 1;
        });
    }
    void TearDown() override {
        setMessageBoxHandler(earlierHandler_);
        DatabaseTest::TearDown();
    }

    /// Saves a contact and gives the ID of its row.
    Text add(ctContactType type, const Text& name, const Text& companyId = {}) {
        auto contact = make<Contact>();
        contact->ContactType = type;
        contact->FirstName = name;
        if (!companyId.empty()) contact->get_Company()->let_ID(companyId);
        contact->UpdateContact();
        return scalar("Select ContactId From ContactMaster Where FirstName='" + name + "'");
    }
    static Ref<Contact> loaded(const Text& id) {
        auto contact = make<Contact>();
        contact->let_ID(id);
        return contact;
    }

    std::vector<Text> boxes;

private:
    MessageBoxHandler earlierHandler_;
};

/// A bitmap of one pixel.
Bytes onePixel(unsigned char blue) {
    const unsigned char file[] = {'B', 'M', 58, 0, 0, 0, 0, 0, 0,  0, 54, 0, 0, 0, 40,   0, 0, 0, 1, 0,
                                  0,   0,   1,  0, 0, 0, 1, 0, 24, 0, 0,  0, 0, 0, 4,    0, 0, 0, 0, 0,
                                  0,   0,   0,  0, 0, 0, 0, 0, 0,  0, 0,  0, 0, 0, blue, 2, 3, 0};
    const auto* bytes = reinterpret_cast<const std::byte*>(file);
    return {bytes, bytes + sizeof file};
}

Ref<Picture> pictureOf(const Bytes& bytes, const Text& name = "given") {
    const Text path = programFolder() + "/" + name + ".bmp";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    auto picture = Picture::fromFile(path);
    std::filesystem::remove(path);
    return picture;
}

TEST_P(ContactTest, EveryPropertyComesBack) {
    const Text company = add(ctContactType::ctCompany, "Acme");
    auto contact = make<Contact>();
    contact->ContactType = ctContactType::ctCompanyContact;
    contact->get_Company()->let_ID(company);
    contact->Picture = pictureOf(onePixel(77));
    contact->DOB = "1962-02-18";
    contact->ShowInTaskList = 255;
    // Every text takes a value of its own, so that two columns cannot stand for each other.
    const std::pair<const char*, Text*> texts[] = {
        {"Title", &contact->Title},
        {"First", &contact->FirstName},
        {"Middle", &contact->MiddleName},
        {"Last", &contact->LastName},
        {"Job", &contact->JobTitle},
        {"Profession", &contact->Profession},
        {"Department", &contact->Department},
        {"TypeDef", &contact->TypeDef},
        {"Phone", &contact->Phone},
        {"Mobile", &contact->Mobile},
        {"WorkPhone", &contact->WorkPhone},
        {"Extension", &contact->Extension},
        {"Fax", &contact->Fax},
        {"Web", &contact->WebAddress},
        {"IM", &contact->IMAddress},
        {"Description", &contact->Description},
        {"Referred", &contact->ReferredBy},
    };
    for (const auto& [value, text] : texts)
        *text = value;
    const auto fillAddress = [](Address& address, const Text& prefix) {
        int i = 0;
        for (Text* text : {&address.Add1, &address.Add2, &address.Country, &address.State, &address.City, &address.Pin,
                           &address.DisplayAs, &address.Email}) {
            *text = prefix + std::to_string(++i);
        }
    };
    fillAddress(*contact->HomeAddress, "home");
    fillAddress(*contact->OfficeAddress, "office");
    contact->UpdateContact();
    EXPECT_EQ(contact->get_ID(), "") << "the object keeps its ID";

    const auto again = loaded(" CN00000001 ");
    EXPECT_EQ(again->get_ID(), "CN00000001");
    const std::pair<const char*, Text*> read[] = {
        {"Title", &again->Title},
        {"First", &again->FirstName},
        {"Middle", &again->MiddleName},
        {"Last", &again->LastName},
        {"Job", &again->JobTitle},
        {"Profession", &again->Profession},
        {"Department", &again->Department},
        {"TypeDef", &again->TypeDef},
        {"Phone", &again->Phone},
        {"Mobile", &again->Mobile},
        {"WorkPhone", &again->WorkPhone},
        {"Extension", &again->Extension},
        {"Fax", &again->Fax},
        {"Web", &again->WebAddress},
        {"IM", &again->IMAddress},
        {"Description", &again->Description},
        {"Referred", &again->ReferredBy},
    };
    for (const auto& [value, text] : read)
        EXPECT_EQ(*text, value);
    EXPECT_EQ(again->ToString, "Title First Middle Last");
    EXPECT_EQ(again->TypeToString, "Company Individual");
    EXPECT_EQ(again->DOB, "1962-02-18");
    EXPECT_EQ(again->ShowInTaskList, 255);
    EXPECT_EQ(again->get_Company()->get_ID() + again->get_Company()->ToString, "CM00000001Acme");
    const auto join = [](const Address& a) {
        return a.Add1 + a.Add2 + a.Country + a.State + a.City + a.Pin + a.DisplayAs + a.Email;
    };
    EXPECT_EQ(join(*again->HomeAddress), "home1home2home3home4home5home6home7home8");
    EXPECT_EQ(join(*again->OfficeAddress), "office1office2office3office4office5office6office7office8");
    ASSERT_TRUE(again->Picture);
    EXPECT_EQ(again->Picture->bytes(), onePixel(77));
    EXPECT_EQ(scalar("Select Count(*) From Contacts Where Expr1=ContactId"), "2");
}

TEST_P(ContactTest, TheKeyTellsCompaniesFromPersons) {
    EXPECT_THAT(add(ctContactType::ctCompany, "a"), StartsWith("CM"));
    EXPECT_THAT(add(ctContactType::ctIndividual, "b"), StartsWith("CN"));
    EXPECT_THAT(add(ctContactType::ctCompanyContact, "c"), StartsWith("CN"));
    EXPECT_THAT(add(ctContactType::ctOthers, "d"), StartsWith("CN"));
}

TEST_P(ContactTest, TypesHaveNames) {
    const std::pair<int, const char*> cases[] = {
        {0, "Company"}, {1, "Individual"}, {2, "Company Individual"}, {3, "Others"}, {7, "Company Individual"}};
    const Text id = add(ctContactType::ctIndividual, "x");
    for (const auto& [type, name] : cases) {
        sql("Update ContactMaster Set ContactType=" + std::to_string(type));
        EXPECT_EQ(loaded(id)->TypeToString, name);
    }
}

TEST_P(ContactTest, TheDisplayNameIsStoredWithoutDoubleBlanks) {
    auto contact = make<Contact>();
    contact->Title = "Dr";
    contact->MiddleName = "M";
    contact->LastName = "Last";
    contact->UpdateContact();
    EXPECT_EQ(contact->ToString, "Dr  M Last");
    EXPECT_EQ(scalar("Select ContactName From ContactMaster"), "Dr M Last");
}

TEST_P(ContactTest, AnEmptyIdResetsByType) {
    const Text id = add(ctContactType::ctIndividual, "Kari");
    const struct {
        ctContactType type;
        const char* home;
        const char* office;
    } cases[] = {{ctContactType::ctIndividual, "Home", "Office"},
                 {ctContactType::ctCompany, "Office", "Shipping Address"}};
    for (const auto& row : cases) {
        auto contact = loaded(id);
        contact->ContactType = row.type;
        contact->HomeAddress->City = "Oslo";
        statements();
        contact->let_ID("  ");
        EXPECT_THAT(statements(), IsEmpty());
        EXPECT_EQ(contact->get_ID() + contact->FirstName + contact->ToString + contact->TypeToString, "");
        EXPECT_EQ(contact->HomeAddress->DisplayAs + "|" + contact->HomeAddress->City, Text(row.home) + "|");
        EXPECT_EQ(contact->OfficeAddress->DisplayAs, row.office);
        EXPECT_EQ(contact->ContactType, row.type);
    }
}

TEST_P(ContactTest, LoadingSendsTheseStatements) {
    const Text company = add(ctContactType::ctCompany, "Acme");
    const Text person = add(ctContactType::ctCompanyContact, "Kari", company);
    statements();
    const auto contact = loaded(person);
    EXPECT_THAT(statements(), ElementsAre("open|Select * From Contacts Where ContactId='CN00000001'",
                                          "open|Select * From Contacts Where ContactId='CM00000001';",
                                          "open|Select ContactID From ContactMaster Where CompanyID ='CN00000001'"));
    EXPECT_TRUE(contact->get_IsUsed()) << "no contact names this one as its company";
    EXPECT_FALSE(loaded(company)->get_IsUsed());
    EXPECT_EQ(contact->get_Notes().get(), contact->get_Notes().get());
    EXPECT_FALSE(contact->LoadPictureFromDB()) << "no row is open any more";
}

TEST_P(ContactTest, AnUnknownIdChangesNothing) {
    auto contact = make<Contact>();
    contact->FirstName = "before";
    contact->let_ID("CN99999999");
    EXPECT_EQ(contact->FirstName + contact->get_ID(), "beforeCN99999999");
}

TEST_P(ContactTest, AColumnThatCannotBeReadDoesNotStopTheOthers) {
    const Text id = add(ctContactType::ctIndividual, "Kari");
    sql("Update ContactDetails Set Phone=Null, Fax='123', DisplayAs1=Null");
    sql("Update ContactMaster Set ContactType=Null, JobTitle='Boss', DOB=Null");
    auto contact = make<Contact>();
    contact->Phone = "kept";
    contact->DOB = "dropped";
    contact->ContactType = ctContactType::ctOthers;
    contact->let_ID(id);
    EXPECT_EQ(contact->Phone + contact->Fax + contact->JobTitle + contact->DOB, "kept123Boss");
    EXPECT_EQ(contact->ContactType, ctContactType::ctOthers);
}

TEST_P(ContactTest, DatesAreTextOrNull) {
    auto contact = make<Contact>();
    contact->FirstName = "Kari";
    contact->UpdateContact();
    EXPECT_EQ(scalar("Select DOB From ContactMaster"), "(null)");
    contact->let_ID("CM00000001");
    contact->DOB = "2/18/1962";
    contact->UpdateContact();
    EXPECT_EQ(loaded("CM00000001")->DOB, "1962-02-18");
    contact->DOB = "18/2/1962";
    test::expectFailure({errors::application, "Contact", "Error saving Contact\r\nType mismatch: \"18/2/1962\""},
                        [&] { contact->UpdateContact(); });
    EXPECT_EQ(loaded("CM00000001")->DOB, "1962-02-18");
}

TEST_P(ContactTest, ALoadThatFailsIsErrorTen) {
    sql("Drop View Contacts");
    test::expectFailure({10, "Contact", "Error initializing Contact.\r\n" + GetParam().noTable("Contacts")},
                        [] { loaded("CN00000001"); });
    test::expectFailure({10, "Contact", "Error initializing Contact.\r\nInvalid procedure call or argument: "},
                        [] { loaded("x' Or 'a'='a"); });
}

TEST_P(ContactTest, SavingAnExistingContactChangesItsRows) {
    const Text id = add(ctContactType::ctIndividual, "Kari");
    auto contact = loaded(id);
    contact->LastName = "Berg";
    contact->HomeAddress->City = "Tromsø";
    contact->UpdateContact();
    EXPECT_EQ(scalar("Select ContactName & '|' & City1 From Contacts"), "Kari Berg|Tromsø");
    EXPECT_EQ(scalar("Select Count(*) From ContactDetails"), "1");
}

TEST_P(ContactTest, ARowWhoseDetailsAreGoneIsStillFoundAndGetsThemBack) {
    const Text id = add(ctContactType::ctIndividual, "Kari");
    sql("Delete From ContactDetails");
    auto contact = loaded(id);
    EXPECT_EQ(contact->FirstName, "Kari");
    contact->Phone = "1";
    contact->UpdateContact();
    EXPECT_EQ(scalar("Select ContactId & Phone From ContactDetails"), id + "1");
}

TEST_P(ContactTest, PicturesPassThroughAFileThatNobodyFinds) {
    std::ofstream(programFolder() + "/Temp.bmp") << "a stale file";
    auto contact = make<Contact>();
    contact->FirstName = "Kari";
    contact->Picture = pictureOf(onePixel(1));
    contact->UpdateContact();
    EXPECT_FALSE(std::filesystem::exists(programFolder() + "/Temp.bmp"));

    std::ofstream(programFolder() + "/Temp.bmp") << "a stale file";
    EXPECT_EQ(loaded("CM00000001")->Picture->bytes(), onePixel(1));
    EXPECT_FALSE(std::filesystem::exists(programFolder() + "/Temp.bmp"));

    contact->let_ID("CM00000001");
    contact->Picture = nullptr;
    contact->UpdateContact();
    EXPECT_EQ(scalar("Select Pic From ContactMaster"), "(null)");
    store("Select * From ContactMaster", "Pic", Bytes(1));
    EXPECT_FALSE(loaded("CM00000001")->Picture) << "bytes that are no picture load as none";
}

TEST_P(ContactTest, PicturesOfSeveralThreadsDoNotMix) {
    std::latch start(2);
    const auto work = [&](unsigned char blue) {
        start.arrive_and_wait();
        int mixed = 0;
        {
            const auto database = GetParam().make(true);
            auto own = make<Connection>();
            own->open(database->connectionString());
            own->BeginTrans();
            moduleState().SharedConnection = own;
            auto contact = make<Contact>();
            contact->FirstName = "Kari";
            contact->Picture = pictureOf(onePixel(blue), std::to_string(blue));
            contact->UpdateContact();
            contact->let_ID("CM00000001");
            for (int i = 0; i < 300; ++i) {
                if (!contact->Picture || contact->Picture->bytes() != onePixel(blue)) ++mixed;
                contact->Picture = pictureOf(onePixel(blue), std::to_string(blue));
                contact->UpdateContact();
                contact->let_ID("CM00000001");
            }
            own->RollbackTrans();
            own = nullptr;
            moduleState() = {};
        }
        return mixed;
    };
    auto other = std::async(std::launch::async, work, static_cast<unsigned char>(1));
    EXPECT_EQ(work(2), 0);
    EXPECT_EQ(other.get(), 0);
}

TEST_P(ContactTest, APictureThatCannotBeSavedIsShownAndFailsTheSave) {
    auto contact = make<Contact>();
    contact->FirstName = "Kari";
    contact->Picture = pictureOf(onePixel(1));
    const auto earlier = setProgramFolder("/nonexistent/folder");
    test::expectFailure({errors::application, "Contact", "Error saving Contact\r\n"},
                        [&] { contact->UpdateContact(); });
    setProgramFolder(earlier);
    ASSERT_EQ(boxes.size(), 1U);
    EXPECT_THAT(boxes[0], StartsWith("prjCorveth|"));
    EXPECT_THAT(logged(), ElementsAre(StartsWith("Contact|saving the picture|")));
    EXPECT_EQ(scalar("Select Count(*) From ContactMaster"), "0");
}

TEST_P(ContactTest, DeletingTakesDetailsParticipationsAndTheContact) {
    const Text id = add(ctContactType::ctIndividual, "Kari");
    sql("Insert Into Notes (NoteId, LinkId) Values ('NT1', '" + id + "')");
    statements();
    loaded(id)->DeleteContact(true);
    EXPECT_THAT(statements(), ElementsAre(HasSubstr("Contacts"), HasSubstr("CompanyID"), "begin",
                                          "execute|DELETE From ContactDetails Where ContactID ='CN00000001'",
                                          "execute|DELETE From Participants Where ContactID ='CN00000001'",
                                          "execute|DELETE From ContactMaster Where ContactID ='CN00000001'", "commit"));
    EXPECT_EQ(scalar("Select Count(*) From Notes"), "1") << "notes stay";
    EXPECT_THAT(boxes, IsEmpty());
}

TEST_P(ContactTest, DeletingACompanyTakesItsMembersFirst) {
    const Text company = add(ctContactType::ctCompany, "Acme");
    for (const auto* name : {"a", "b", "c"})
        add(ctContactType::ctCompanyContact, name, company);
    const Text other = add(ctContactType::ctIndividual, "other");
    loaded(company)->DeleteContact(true);
    EXPECT_EQ(scalar("Select ContactId From ContactMaster"), other);
    EXPECT_EQ(scalar("Select Count(*) From ContactMaster"), "1");
    EXPECT_EQ(scalar("Select Count(*) From ContactDetails"), "1");
}

TEST_P(ContactTest, AMemberThatCannotBeDeletedIsShownAndTheCompanyGoes) {
    const Text company = add(ctContactType::ctCompany, "Acme");
    add(ctContactType::ctCompanyContact, "a", company);
    add(ctContactType::ctCompanyContact, "b", company);
    refuse({"stay", "before delete", "ContactMaster", "old.FirstName='a'", "a stays"});
    loaded(company)->DeleteContact(true);
    EXPECT_THAT(boxes, ElementsAre(MatchesRegex("prjCorveth.a stays \\(.*\\).0")));
    EXPECT_EQ(scalar("Select FirstName From ContactMaster"), "a");
    EXPECT_EQ(scalar("Select Count(*) From ContactMaster"), "1");
}

TEST_P(ContactTest, AFailedDeleteIsShownAndUndone) {
    const Text id = add(ctContactType::ctIndividual, "a");
    refuse({"stay", "before delete", "ContactMaster", nullptr, "stays"});
    loaded(id)->DeleteContact(true);
    EXPECT_THAT(boxes, ElementsAre(MatchesRegex("prjCorveth.stays \\(.*\\).0")));
    EXPECT_EQ(scalar("Select Count(*) From ContactDetails"), "1");
    loaded(id)->DeleteContact();
    EXPECT_EQ(scalar("Select Count(*) From ContactDetails"), "0") << "in the client's transaction: here none";
}

TEST_P(ContactTest, DeletingAnObjectThatWasNeverLoadedDeletesNobody) {
    add(ctContactType::ctIndividual, "belongs to no company");
    auto contact = make<Contact>(); // a company without an ID
    contact->DeleteContact(true);
    EXPECT_EQ(scalar("Select Count(*) From ContactMaster"), "1");
}

TEST_P(ContactTest, CompaniesThatAreEachOthersMembersAreDeletedOnce) {
    const Text a = add(ctContactType::ctCompany, "a");
    const Text b = add(ctContactType::ctCompany, "b", a);
    sql("Update ContactMaster Set CompanyId='" + b + "' Where ContactId='" + a + "'");
    const Text self = add(ctContactType::ctCompany, "self");
    sql("Update ContactMaster Set CompanyId='" + self + "' Where ContactId='" + self + "'");
    loaded(a)->DeleteContact(true);
    loaded(self)->DeleteContact(true);
    EXPECT_EQ(scalar("Select Count(*) From ContactMaster"), "0");
    EXPECT_THAT(boxes, IsEmpty());
}

class ContactsTest : public ContactTest {
protected:
    static std::vector<Text> names(const Contacts& contacts) {
        std::vector<Text> result;
        for (std::int32_t i = 1; i <= contacts.get_Count(); ++i)
            result.push_back(contacts.get_Item(i)->FirstName);
        return result;
    }
};

TEST_P(ContactsTest, ListsCompaniesPersonsOrMembers) {
    const Text company = add(ctContactType::ctCompany, "Acme");
    add(ctContactType::ctOthers, "Zoe");
    add(ctContactType::ctCompanyContact, "Kari", company);
    auto contacts = make<Contacts>();
    contacts->InitializeAsType(ctContactType::ctCompany);
    EXPECT_THAT(names(*contacts), ElementsAre("Acme"));
    contacts->InitializeAsType(ctContactType::ctCompanyContact);
    EXPECT_THAT(names(*contacts), ElementsAre("Zoe", "Kari")) << "every person, in the order of the keys";

    contacts->SetCompanyFilter(company);
    EXPECT_EQ(contacts->get_Count(), 2) << "a filter alone loads nothing";
    statements();
    test::expectFailure(
        {errors::application, "Contacts", "Error populating Contacts\r\nThis key is already associated"},
        [&] { contacts->Populate(); });
    EXPECT_EQ(statements().front(), "open|SELECT ContactID From Contacts Where CompanyID ='CM00000001'");

    auto members = make<Contacts>();
    members->SetCompanyFilter(company);
    members->Populate();
    EXPECT_THAT(names(*members), ElementsAre("Kari"));
    EXPECT_EQ(members->get_Item("cn00000002")->FirstName, "Kari");
}

TEST_P(ContactsTest, AnUnknownPositionOrKeyIsNothing) {
    auto contacts = make<Contacts>();
    contacts->InitializeAsType(ctContactType::ctCompany);
    for (const Value& index :
         {Value(std::int32_t{0}), Value(std::int32_t{1}), Value("CN1"), Value(Null{}), Value(Bytes{})}) {
        EXPECT_FALSE(contacts->get_Item(index));
    }
}

TEST_P(ContactsTest, TheCursorStaysWithinTheList) {
    for (const auto* name : {"a", "b"})
        add(ctContactType::ctIndividual, name);
    auto contacts = make<Contacts>();
    EXPECT_FALSE(contacts->MoveFirst());
    EXPECT_FALSE(contacts->MoveNext());
    contacts->InitializeAsType(ctContactType::ctIndividual);
    test::expectFailure({errors::subscriptOutOfRange}, [&] { contacts->MovePrevious(); });
    EXPECT_EQ(contacts->MoveNext()->FirstName, "a");
    EXPECT_EQ(contacts->MovePrevious()->FirstName, "a");
    EXPECT_EQ(contacts->MoveLast()->FirstName, "b");
    EXPECT_EQ(contacts->MoveNext()->FirstName, "b");
    EXPECT_EQ(contacts->MovePrevious()->FirstName, "a");
    EXPECT_EQ(contacts->MoveFirst()->FirstName, "a");

    auto none = make<Contacts>();
    none->InitializeAsType(ctContactType::ctCompany);
    test::expectFailure({errors::subscriptOutOfRange}, [&] { none->MoveLast(); });
}

TEST_P(ContactsTest, NewMembersGetTheTypeOfTheList) {
    auto contacts = make<Contacts>();
    contacts->InitializeAsType(ctContactType::ctOthers);
    const auto added = contacts->Add("");
    EXPECT_EQ(added->ContactType, ctContactType::ctOthers);
    EXPECT_EQ(added->HomeAddress->DisplayAs, "Home");
    EXPECT_EQ(contacts->get_Count(), 1);
}

TEST_P(ContactsTest, PopulateWithoutAFilterFails) {
    test::expectFailure({errors::application, "Contacts", "Error populating Contacts\r\nCommand text was not set"},
                        [] { make<Contacts>()->Populate(); });
}

class CompanyTest : public ContactTest {};

TEST_P(CompanyTest, ReadsItsColumnsAndResets) {
    const Text id = add(ctContactType::ctCompany, "Acme");
    sql("Update ContactDetails Set Phone='1', Address11='Street', State1='AB', Email1='e', Address21='Dock'");
    sql("Update ContactMaster Set ReferredBy='someone', Description='big', ShowInTaskList=1, LastName='ignored'");
    auto company = make<Company>();
    statements();
    company->let_ID(" " + id + " ");
    EXPECT_THAT(statements(), ElementsAre("open|Select * From Contacts Where ContactId='CM00000001';"));
    EXPECT_EQ(company->ToString + company->TypeToString + company->Phone + company->HomeAddress->Add1 +
                  company->OfficeAddress->Add1 + company->Description,
              "AcmeCompany1StreetDockbig");
    EXPECT_EQ(company->HomeAddress->State + company->HomeAddress->Email, "") << "a company shows neither";

    company->let_ID("CM99999999");
    EXPECT_EQ(company->ToString, "Acme") << "without a row nothing changes";
    company->let_ID("");
    EXPECT_EQ(company->ToString + company->TypeToString + company->Phone + company->HomeAddress->Add1, "");
    EXPECT_EQ(company->ReferredBy, "someone") << "is not among what a reset empties";
    test::expectFailure({errors::invalidCall, "prjCorveth"}, [&] { company->let_ID("x'y"); });
}

CORVETH_ON_EVERY_ENGINE(ContactTest);
CORVETH_ON_EVERY_ENGINE(ContactsTest);
CORVETH_ON_EVERY_ENGINE(CompanyTest);

} // namespace
} // namespace corveth
