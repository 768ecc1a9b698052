#include "tracking/version.h"

#include "session/columns.h"
#include "session/failure.h"
#include "session/statements.h"

namespace corveth {

struct Version::Table {
    static constexpr MemberRow members[] = {
        field<&Version::VersionName>("VersionName"),
        field<&Version::Description>("Description"),
        fieldLetFirst<&Version::ReleaseDate>("ReleaseDate"),
        key(letGet<&Version::let_ID, &Version::get_ID>("ID"), "Versions.Id"),
        loads(method<&Version::Populate>("Populate")),
        saves(method<&Version::Update>("Update")),
    };
    static constexpr Column<Version> columns[] = {
        column<&Version::VersionName>("VersionName"),
        column<&Version::Description>("Description", OnNull::empties),
        dateColumn<&Version::ReleaseDate>("ReleaseDate", OnNull::keeps),
    };
    static constexpr IdSource id{"VR", "ID", "Versions"};

    static Ref<Recordset> open(const Text& key) {
        return openRecordset(Sql{"Select * From Versions Where Id=\"", key, "\""}, CursorType::dynamic);
    }
};

constinit const ClassInfo Version::description = describe<Version, Version::Table>();

void Version::Populate() {
    const auto rows = Table::open(id_);
    if (rows->isEmpty()) {
        VersionName.clear();
        Description.clear();
        ReleaseDate.clear();
        return;
    }
    loadRow<Table::columns>(*rows, *this);
}

void Version::Update() {
    trap("Versions", Report::cause, "", [&] {
        const auto rows = Table::open(id_);
        if (rows->isEmpty()) {
            rows->AddNew();
            rows->setNewKey("Id", [this] { return id_ = generateId(Table::id); });
        }
        storeRow<Table::columns>(*this, *rows);
        rows->Update();
    });
}

} // namespace corveth
