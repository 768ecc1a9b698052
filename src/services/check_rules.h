#pragma once

#include <array>
#include <string_view>

// What can be wrong between rows that are each right by themselves. A domain adds its own to these tables. Keys are
// expressions of the statement dialect over the columns of the table.

namespace corveth::rules {

/// Where the items live whose IDs begin with a type code.
struct ItemTable {
    std::string_view code;
    const char* table;
    const char* key;
};
inline constexpr std::array itemTables = std::to_array<ItemTable>({
    {"AC", "Actions", "Id"},
    {"AT", "Attachments", "AttachmentID"},
    {"CM", "ContactMaster", "ContactId"},
    {"CN", "ContactMaster", "ContactId"},
    {"NT", "Notes", "NoteId"},
    {"PC", "ProjectTypeMaster", "ItemID"},
    {"PD", "Products", "Id"},
    {"PT", "Projects", "Id"},
    {"RM", "Reminders", "ReminderId"},
    {"TK", "Projects", "Id"},
    {"VR", "Versions", "Id"},
});

/// A column that holds the ID of an item of any type. Empty is no link, and items of types that have no table here are
/// taken to be there.
struct ItemLink {
    const char* table;
    const char* key;
    const char* column;
};
inline constexpr std::array itemLinks = std::to_array<ItemLink>({
    {"Actions", "Id", "LinkId"},
    {"Actions", "Id", "AssignedTo"},
    {"Actions", "Id", "TaskId"},
    {"Attachments", "AttachmentID", "LinkID"},
    {"Favourites", "FavouriteID", "LinkId"},
    {"ItemMap", "LinkId & ' ' & ItemId", "LinkId"},
    {"ItemMap", "LinkId & ' ' & ItemId", "ItemId"},
    {"Notes", "NoteId", "LinkId"},
    {"Participants", "ContactId & ' ' & LinkId", "LinkId"},
    {"Products", "Id", "LinkId"},
    {"Projects", "Id", "SourceId"},
    {"Reminders", "ReminderId", "LinkId"},
    {"StatusHistory", "Id", "LinkId"},
});

/// A column that holds a key of one table.
struct Reference {
    const char* check; ///< "link", where empty is no link, or "orphan", where the row is nothing by itself
    const char* table;
    const char* key;
    const char* column;
    const char* target;
    const char* targetKey;
};
inline constexpr std::array references = std::to_array<Reference>({
    {"link", "ContactMaster", "ContactId", "CompanyId", "ContactMaster", "ContactId"},
    {"orphan", "ContactDetails", "ContactId", "ContactId", "ContactMaster", "ContactId"},
    {"orphan", "Participants", "ContactId & ' ' & LinkId", "ContactId", "ContactMaster", "ContactId"},
    {"link", "Holidays", "excDate & ' ' & ProjectId", "ProjectId", "Projects", "Id"},
    {"link", "Projects", "Id", "ParentID", "Projects", "Id"},
    {"link", "Projects", "Id", "ProjectId", "Projects", "Id"},
    {"link", "Projects", "Id", "VersionId", "Versions", "Id"},
    {"link", "Projects", "Id", "prjCategoryId", "ProjectTypeMaster", "ItemID"},
    {"link", "ProjectTypeMaster", "ItemID", "ParentID", "ProjectTypeMaster", "ItemID"},
    {"link", "WorkingHours", "Id", "ProjectId", "Projects", "Id"},
});

/// Columns that no two rows may hold alike, though nothing in the table keeps them from it.
struct Uniqueness {
    const char* table;
    const char* columns;
    const char* key;
};
inline constexpr std::array uniquenesses = std::to_array<Uniqueness>({
    {"ItemMap", "LinkId, ItemId", "LinkId & ' ' & ItemId"},
    {"Holidays", "excDate, ProjectId", "excDate & ' ' & ProjectId"},
    {"WorkingHours", "ProjectId", "ProjectId"},
});

} // namespace corveth::rules
