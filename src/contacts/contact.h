#pragma once

#include "contacts/company.h"
#include "platform/desktop/picture.h"

namespace corveth {

class Recordset;
class Tasks;

/// A company or a person. Setting `ID` loads it at once.
class CORVETH_API Contact final : public Described<Contact>, public ContactBase {
public:
    static constexpr const char* className = "Contact";
    static const ClassInfo description;

    Contact();
    ~Contact() override;

    Text Title, FirstName, MiddleName, LastName;
    Text JobTitle, Profession, Department, TypeDef;
    Text DOB; ///< date of birth as text; empty when unknown
    Ref<corveth::Picture> Picture;

    // Made on first read, without filter; the same objects afterwards.
    [[nodiscard]] Ref<Tasks> get_Tasks();
    [[nodiscard]] Ref<Notes> get_Notes();
    /// The company that the contact belongs to; empty when it belongs to none.
    [[nodiscard]] Ref<corveth::Company> get_Company() const { return company_; }

    /// Trimmed. Empty resets the object, anything else loads the row; without a row nothing changes. Failures are
    /// error 10.
    void let_ID(const Text& value);
    [[nodiscard]] Text get_ID() const { return id_; }
    /// As the load found it: true when no contact names this one as its company.
    [[nodiscard]] bool get_IsUsed() const { return isUsed_; }

    /// Writes the row of `ID`, or a new one with an ID of its own; the object keeps the `ID` it has. A picture that
    /// cannot be saved is shown in a message box and fails the save.
    void UpdateContact();
    /// The picture of the row that is being loaded; Nothing at any other time, without one, and on any failure.
    [[nodiscard]] Ref<corveth::Picture> LoadPictureFromDB();
    /// Deletes the contact, a company with all its members. A failure is shown in a message box; with `bSelf` all is
    /// then undone.
    void DeleteContact(bool bSelf = false);

private:
    struct Table;
    void reset();
    void load();
    void deleteMembers();
    [[nodiscard]] Text displayName() const;
    [[nodiscard]] Text contactName() const;
    [[nodiscard]] Text companyId() const { return company_->get_ID(); }
    [[nodiscard]] Value savedPicture() const;

    Text id_;
    Ref<Tasks> tasks_;
    Ref<Notes> notes_;
    Ref<corveth::Company> company_ = make<corveth::Company>();
    Ref<Recordset> rows_; ///< open while the row is being loaded
    bool isUsed_ = false;
};

} // namespace corveth
