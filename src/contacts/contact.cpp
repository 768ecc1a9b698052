#include "contacts/contact.h"

#include "contacts/contact_columns.h"
#include "contacts/contacts.h"
#include "platform/data/field.h"
#include "platform/data/stream.h"
#include "platform/desktop/program_folder.h"
#include "platform/scope_exit.h"
#include "scheduling/tasks.h"
#include "session/failure.h"
#include "session/module_state.h"
#include "session/notes.h"
#include "session/statements.h"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <vector>

namespace corveth {

struct Contact::Table {
    static constexpr MemberRow members[] = {
        field<Contact, &ContactBase::ToString>("ToString"),
        field<&Contact::Title>("Title"),
        field<&Contact::FirstName>("FirstName"),
        field<&Contact::MiddleName>("MiddleName"),
        field<&Contact::LastName>("LastName"),
        preset(field<Contact, &ContactBase::ContactType>("ContactType")),
        field<Contact, &ContactBase::TypeToString>("TypeToString"),
        field<&Contact::JobTitle>("JobTitle"),
        field<&Contact::Profession>("Profession"),
        field<&Contact::Department>("Department"),
        field<&Contact::TypeDef>("TypeDef"),
        field<Contact, &ContactBase::ShowInTaskList>("ShowInTaskList"),
        field<&Contact::DOB>("DOB"),
        field<&Contact::Picture>("Picture"),
        field<Contact, &ContactBase::Phone>("Phone"),
        field<Contact, &ContactBase::Mobile>("Mobile"),
        field<Contact, &ContactBase::WorkPhone>("WorkPhone"),
        field<Contact, &ContactBase::Extension>("Extension"),
        field<Contact, &ContactBase::Fax>("Fax"),
        field<Contact, &ContactBase::WebAddress>("WebAddress"),
        field<Contact, &ContactBase::IMAddress>("IMAddress"),
        field<Contact, &ContactBase::Description>("Description"),
        field<Contact, &ContactBase::ReferredBy>("ReferredBy"),
        field<Contact, &ContactBase::HomeAddress>("HomeAddress"),
        field<Contact, &ContactBase::OfficeAddress>("OfficeAddress"),
        unavailable("Invoices", "Invoices"),
        unavailable("Expenses", "Expenses"),
        unavailable("Installations", "Installations"),
        get<&Contact::get_Tasks>("Tasks"),
        get<&Contact::get_Notes>("Notes"),
        unavailable("Appointments", "Appointments"),
        unavailable("Bugs", "Bugs"),
        get<&Contact::get_Company>("Company"),
        key(loads(letGet<&Contact::let_ID, &Contact::get_ID>("ID")), "Contacts.ContactId"),
        get<&Contact::get_IsUsed>("IsUsed"),
        saves(method<&Contact::UpdateContact>("UpdateContact")),
        method<&Contact::LoadPictureFromDB>("LoadPictureFromDB"),
        removes(method<&Contact::DeleteContact>("DeleteContact", optional("bSelf"))),
    };
    // Beside the columns that a company reads too.
    static constexpr Column<Contact> columns[] = {
        column<&Contact::Title>("Title", OnNull::ignored),
        column<&Contact::FirstName>("FirstName", OnNull::ignored),
        column<&Contact::MiddleName>("MiddleName", OnNull::ignored),
        column<&Contact::LastName>("LastName", OnNull::ignored),
        column<&Contact::JobTitle>("JobTitle", OnNull::ignored),
        column<&Contact::Profession>("Profession", OnNull::ignored),
        column<&Contact::Department>("Department", OnNull::ignored),
        column<&Contact::TypeDef>("TypeDef", OnNull::ignored),
        dateColumn<&Contact::DOB>("DOB", OnNull::emptiesElseIgnored),
        detail::lenient<Contact, &ContactBase::HomeAddress, &Address::State>("State1"),
        detail::lenient<Contact, &ContactBase::HomeAddress, &Address::Email>("Email1"),
        detail::lenient<Contact, &ContactBase::OfficeAddress, &Address::State>("State2"),
        detail::lenient<Contact, &ContactBase::OfficeAddress, &Address::Email>("Email2"),
    };
    // One column, two properties of the object: read into the display name, written without double blanks.
    static constexpr Column<Contact> nameRead[] = {
        detail::lenient<Contact, &ContactBase::ToString>("ContactName"),
    };
    static constexpr Column<Contact> derived[] = {
        computed<&Contact::contactName>("ContactName"),
        computed<&Contact::companyId>("CompanyId"),
    };
};

namespace {

/// The contacts whose deletion is under way on this thread, outermost first. A company may be its own member, directly
/// or through others: what the walk has entered already is passed over.
thread_local std::vector<Text> deleting;

constexpr std::int32_t loadFailed = 10; ///< the error number of a contact that cannot be loaded

/// The file that a picture passes through on its way between the database and a picture object. One thread at a time
/// has it, and it is gone afterwards.
class PictureFile {
public:
    PictureFile() : lock_(mutex()), path_(programFolder() + "/Temp.bmp") {}
    PictureFile(const PictureFile&) = delete;
    PictureFile& operator=(const PictureFile&) = delete;
    ~PictureFile() {
        try {
            std::filesystem::remove(path_);
        } catch (const std::exception&) {
            logSwallowed(Contact::className, "removing the file of a picture");
        }
    }
    [[nodiscard]] const Text& path() const noexcept { return path_; }

private:
    static std::mutex& mutex() {
        static std::mutex mutex;
        return mutex;
    }

    std::scoped_lock<std::mutex> lock_;
    Text path_;
};

Ref<Stream> openBinaryStream() {
    auto stream = make<Stream>();
    stream->let_Type(Stream::binary);
    stream->Open();
    return stream;
}

Bytes bitmapBytes(const Picture& picture) {
    const PictureFile file;
    picture.Save(file.path());
    const auto stream = openBinaryStream();
    stream->LoadFromFile(file.path());
    return stream->take();
}

} // namespace

constinit const ClassInfo Contact::description = describe<Contact, Contact::Table>();

Contact::Contact() = default;
Contact::~Contact() = default;

Ref<Notes> Contact::get_Notes() {
    return lazy(notes_);
}

Ref<Tasks> Contact::get_Tasks() {
    return lazy(tasks_);
}

void Contact::reset() {
    for (Text* text : {&ToString,   &Title,      &FirstName,  &MiddleName, &LastName,    &TypeToString, &JobTitle,
                       &Profession, &Department, &TypeDef,    &DOB,        &Phone,       &Mobile,       &WorkPhone,
                       &Extension,  &Fax,        &WebAddress, &IMAddress,  &Description, &ReferredBy}) {
        text->clear();
    }
    ShowInTaskList = 0;
    Picture = nullptr;
    const bool isPerson = ContactType != ctContactType::ctCompany;
    HomeAddress = Address::titled(isPerson ? "Home" : "Office");
    OfficeAddress = Address::titled(isPerson ? "Office" : "Shipping Address");
}

void Contact::let_ID(const Text& value) {
    trap(
        "Contact", Report::messageAndCause, "Error initializing Contact.",
        [&] {
            id_ = trimBlanks(value);
            if (id_.empty()) {
                reset();
            } else {
                load();
            }
        },
        loadFailed);
}

void Contact::load() {
    rows_ = openRecordset(Sql{"Select * From Contacts Where ContactId='", id_, "'"}, CursorType::staticCopy);
    const auto release = finally([this] { rows_ = nullptr; });
    if (rows_->isEmpty()) return;

    loadRow<Table::nameRead>(*rows_, *this);
    loadRow<sharedContactColumns<Contact>>(*rows_, *this);
    loadRow<Table::columns>(*rows_, *this);
    TypeToString = typeText(ContactType);

    const Text company = toText(dbService()->ValueOrDefault(rows_->get_Fields()->get_Item("CompanyId"), ""));
    company_ = make<corveth::Company>();
    if (!company.empty()) company_->let_ID(company);
    Picture = LoadPictureFromDB();

    const auto members = openDirect(Sql{"Select ContactID From ContactMaster"
                                        " Where CompanyID ='",
                                        id_, "'"},
                                    CursorType::forwardOnly, LockType::readOnly);
    isUsed_ = members->isEmpty();
}

Text Contact::displayName() const {
    return Text(trimBlanks(Title + " " + FirstName + " " + MiddleName + " " + LastName));
}

Text Contact::contactName() const {
    return replaceAll(ToString, "  ", " ");
}

void Contact::UpdateContact() {
    trap("Contact", Report::messageAndCause, "Error saving Contact", [&] {
        const IdSource source{ContactType == ctContactType::ctCompany ? "CM" : "CN", "ContactId", "Contacts"};
        const auto rows = openForUpdate(Sql{"Select * From Contacts Where ContactId='", id_, "'"}, source);
        ToString = displayName();
        storeRow<Table::derived>(*this, *rows);
        storeRow<Table::columns>(*this, *rows);
        storeRow<sharedContactColumns<Contact>>(*this, *rows);
        rows->set("Expr1", rows->value("ContactId"));
        rows->set("Pic", savedPicture());
        rows->Update();
    });
}

Value Contact::savedPicture() const {
    if (!Picture || Picture->get_Handle() == 0) return Null{};
    try {
        return bitmapBytes(*Picture);
    } catch (...) {
        showFailure(className, "saving the picture", id_);
        throw;
    }
}

Ref<corveth::Picture> Contact::LoadPictureFromDB() {
    try {
        const Value& picture = rows_->value("Pic");
        if (picture.isNull()) return {};
        const auto* bytes = picture.getIf<Bytes>();
        if (bytes == nullptr) raise(errors::typeMismatch, "the picture is not stored as bytes");
        const PictureFile file;
        const auto stream = openBinaryStream();
        stream->write(*bytes);
        stream->SaveToFile(file.path(), Stream::overwrite);
        return corveth::Picture::fromFile(file.path());
    } catch (const Error&) {
        logSwallowed(className, "loading the picture", id_);
        return {};
    }
}

void Contact::deleteMembers() {
    auto members = make<Contacts>();
    members->SetCompanyFilter(id_);
    members->Populate();
    for (std::int32_t position = 1; position <= members->get_Count(); ++position) {
        members->get_Item(position)->DeleteContact(false);
    }
}

void Contact::DeleteContact(bool bSelf) {
    const bool isEntered = std::ranges::any_of(deleting, [&](const Text& id) { return equalNoCase(id, id_); });
    if (isEntered) return;
    deleting.push_back(id_);
    const auto leave = finally([] { deleting.pop_back(); });
    trapToBox(className, "deletion", id_, [&] {
        inTransaction(bSelf, [&] {
            // Contacts that belong to no company hold an empty ID there; they are not the members of an object without
            // one.
            if (ContactType == ctContactType::ctCompany && !id_.empty()) deleteMembers();
            execute(Sql{"DELETE From ContactDetails Where ContactID ='", id_, "'"});
            execute(Sql{"DELETE From Participants Where ContactID ='", id_, "'"});
            execute(Sql{"DELETE From ContactMaster Where ContactID ='", id_, "'"});
        });
    });
}

} // namespace corveth
