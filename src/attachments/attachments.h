#pragma once

#include "attachments/attachment.h"
#include "platform/automation/keyed_list.h"
#include "session/sql.h"

namespace corveth {

/// The files of one item, or of all.
class CORVETH_API Attachments final : public Described<Attachments> {
public:
    static constexpr const char* className = "Attachments";
    static const ClassInfo description;

    Attachments();
    ~Attachments() override;

    /// The item whose files `Populate` reads and `UpdateAttachments` writes.
    void let_LinkId(Text value);
    [[nodiscard]] Text get_LinkId() const { return linkId_; }
    /// The files of all items; `LinkId` becomes empty.
    void InitAsAll();
    /// Reads the members, once: the rows stay open with the object, so a second call fails, without any members then.
    void Populate();

    /// Replaces the files of `LinkId` by the members, without a transaction of its own. They keep the IDs they have;
    /// others get one. Only what fails before the first member's row is there is raised, the rest is logged.
    void UpdateAttachments();
    /// A new member from a file that the user chooses; Nothing is written. A file above 5 MB is refused in a message
    /// box.
    void AddAttachment();

    /// By position or key; Nothing for one that is not there.
    [[nodiscard]] Ref<Attachment> get_Item(const Value& vntIndexKey) const;
    [[nodiscard]] std::int32_t get_Count() const { return members_.count(); }
    /// By position or key, from the list only; empty text removes nothing.
    void Remove(Value vntIndexKey);
    [[nodiscard]] Ref<Enumerator> get_NewEnum() const { return members_.enumerate(); }

private:
    struct Table;
    void addMember(Ref<Attachment> member);

    Members<Attachment> members_;
    Ref<Recordset> rows_; ///< of the first `Populate`
    Sql query_;
    Text linkId_;
};

} // namespace corveth
