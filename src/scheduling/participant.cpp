#include "scheduling/participant.h"

#include "session/columns.h"
#include "session/failure.h"
#include "session/statements.h"

namespace corveth {

struct Participant::Table {
    static constexpr MemberRow members[] = {
        field<&Participant::Description>("Description"),
        preset(field<&Participant::LinkId>("LinkId")),
        preset(key(field<&Participant::ID>("ID"), "Participants.ContactId+LinkId")),
        field<&Participant::Role>("Role"),
        field<&Participant::Permission>("Permission"),
        field<&Participant::WorkDone>("WorkDone"),
        field<&Participant::WorkAlloted>("WorkAlloted"),
        field<&Participant::Rate>("Rate"),
        field<&Participant::Amount>("Amount"),
        field<&Participant::Account>("Account"),
        field<&Participant::Billable>("Billable"),
        field<&Participant::Comment>("Comment"),
        field<&Participant::Availability>("Availability"),
        field<&Participant::WorkCalcMethod>("WorkCalcMethod"),
        field<&Participant::PlanWork>("PlanWork"),
        field<&Participant::PlanDuration>("PlanDuration"),
        field<&Participant::Resource>("Resource"),
        loads(method<&Participant::Populate>("Populate")),
        saves(method<&Participant::Update>("Update")),
        method<&Participant::getTaskCount>("getTaskCount"),
        removes(method<&Participant::DeleteParticipant>("DeleteParticipant")),
    };
    static constexpr Column<Participant> read[] = {
        column<&Participant::Description>("ContactName", OnNull::empties),
        column<&Participant::LinkId>("LinkId"),
        column<&Participant::Role>("Role", OnNull::empties),
        column<&Participant::Permission>("Permission", OnNull::empties),
        column<&Participant::Account>("Account", OnNull::empties),
        column<&Participant::Comment>("Comment", OnNull::empties),
        column<&Participant::WorkDone>("WorkHrs", OnNull::empties),
        column<&Participant::WorkAlloted>("AllotedHrs", OnNull::empties),
        column<&Participant::Rate>("Rate", OnNull::empties),
        column<&Participant::Amount>("Amount", OnNull::empties),
        column<&Participant::Availability>("Availability", OnNull::empties),
        column<&Participant::Billable>("Billable"),
    };
    static constexpr Column<Participant> written[] = {
        column<&Participant::ID>("ContactId"),     column<&Participant::LinkId>("LinkId"),
        column<&Participant::Role>("Role"),        column<&Participant::Permission>("Permission"),
        column<&Participant::WorkDone>("WorkHrs"), column<&Participant::WorkAlloted>("AllotedHrs"),
        column<&Participant::Rate>("Rate"),        column<&Participant::Amount>("Amount"),
        column<&Participant::Account>("Account"),  column<&Participant::Billable>("Billable"),
        column<&Participant::Comment>("Comment"),  column<&Participant::Availability>("Availability"),
    };
    static constexpr const char* source = "Projects";
};

constinit const ClassInfo Participant::description = describe<Participant, Participant::Table>();

void Participant::Populate() {
    trap(Table::source, Report::cause, "", [&] {
        const auto rows = openRecordset(
            Sql{"Select * From Users Where ContactId ='", ID, "' And LinkID ='", LinkId, "'"}, CursorType::staticCopy);
        if (!rows->isEmpty()) {
            loadRow<Table::read>(*rows, *this);
            return;
        }
        Description.clear();
        LinkId.clear();
        Role = "Team Member";
        Permission = "Full";
        Account.clear();
        Billable = true;
        Comment.clear();
        Availability = 100;
    });
}

void Participant::Update() {
    trap(Table::source, Report::cause, "", [&] {
        const auto rows =
            openRecordset(Sql{"Select * From Participants Where ContactId=\"", ID, "\" And LinkId=\"", LinkId, "\""},
                          CursorType::keyset);
        if (rows->isEmpty()) rows->AddNew();
        storeRow<Table::written>(*this, *rows);
        rows->Update();
    });
}

std::int32_t Participant::getTaskCount() const {
    throw Error(errors::application, Table::source, {});
}

void Participant::DeleteParticipant() {
    execute(Sql{"DELETE From Participants Where ContactId ='", ID, "' And LinkID ='", LinkId, "'"});
}

} // namespace corveth
