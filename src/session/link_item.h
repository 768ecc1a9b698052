#pragma once

#include "platform/automation/describe.h"
#include "platform/data/recordset.h"
#include "session/sql.h"

namespace corveth {

/// Names and describes whatever item an ID denotes.
class CORVETH_API LinkItem final : public Described<LinkItem> {
public:
    static constexpr const char* className = "LinkItem";
    static const ClassInfo description;

    Text ID;
    Text ItemDescription;
    Text ProjectId;
    Text ParentId;
    Text SourceType; ///< display name of the item's type, as the last `Populate` found it

    /// Display name of the type of `LinkId`, and of `ID`.
    [[nodiscard]] Text get_ItemTypeAsLink() const;
    [[nodiscard]] Text get_ItemTypeID() const;
    void let_LinkId(Text value) { linkId_ = std::move(value); }
    [[nodiscard]] Text get_LinkId() const { return linkId_; }

    /// Has no effect.
    void PopulateWithLinkId() {}
    /// Looks the item up by its type: contacts, companies, projects, tasks and products have a description, others only
    /// take their type. Without a row the description stays as it was.
    void Populate();

private:
    struct Table;
    [[nodiscard]] bool lookUp(Sql sql);

    Text linkId_;
    Sql sql_;
    Ref<Recordset> rows_; ///< the last lookup's, until the next one
};

} // namespace corveth
