#include "scheduling/participants.h"

#include "session/statements.h"

namespace corveth {

struct Participants::Table {
    static constexpr MemberRow members[] = {
        method<&Participants::getTotalAvilability>("getTotalAvilability"),
        method<&Participants::GetTotalAllotedHours>("GetTotalAllotedHours"),
        method<&Participants::Clear>("Clear"),
        letGet<&Participants::let_LinkId, &Participants::get_LinkId>("LinkId"),
        loads(method<&Participants::Populate>("Populate")),
        method<&Participants::AddItem>("AddItem", "Item"),
        method<&Participants::Add>("Add", "ID", optional("sKey")),
        defaultMember(get<&Participants::get_Item>("Item", "vntIndexKey")),
        get<&Participants::get_Count>("Count"),
        method<&Participants::Remove>("Remove", "vntIndexKey"),
        enumeratorMember(get<&Participants::get_NewEnum>("NewEnum")),
        method<&Participants::UpdateParticipants>("UpdateParticipants"),
    };
};

constinit const ClassInfo Participants::description = describe<Participants, Participants::Table>();

namespace {

/// What happened follows the one word without anything between them.
template <class Body>
void trapWithWord(Body&& body) {
    try {
        std::forward<Body>(body)();
    } catch (...) {
        throw Error(errors::application, Participants::className, "Error" + currentError().description);
    }
}

} // namespace

/// Every partial sum is a single, so the order of the members counts.
float Participants::sum(float Participant::*figure) const {
    float total = 0;
    for (std::int32_t position = 1; position <= members_.count(); ++position)
        total = toSingle(Value(static_cast<double>(total) + (*members_.at(position)).*figure));
    return total;
}

float Participants::getTotalAvilability() const {
    return sum(&Participant::Availability);
}

float Participants::GetTotalAllotedHours() const {
    return sum(&Participant::WorkAlloted);
}

void Participants::Populate() {
    trapWithWord([&] {
        members_.clear();
        if (linkId_.empty()) return;
        const auto rows =
            openRecordset(Sql{"SELECT ContactId From Users Where LinkId ='", linkId_, "'"}, CursorType::staticCopy);
        for (; !rows->get_EOF(); rows->MoveNext()) {
            const Text contact = toText(rows->value("ContactId"));
            Add(contact, contact);
        }
    });
}

void Participants::AddItem(Ref<Participant> Item) {
    if (!Item) return;
    const Text contact = Item->ID;
    try {
        members_.append(std::move(Item), contact);
    } catch (const Error& error) {
        if (error.number != errors::duplicateKey) throw;
        throw Error(10, className, "Participant already added into list");
    }
}

Ref<Participant> Participants::Add(const Text& ID, const Text& sKey) {
    auto participant = make<Participant>();
    participant->LinkId = linkId_;
    participant->ID = ID;
    participant->Populate();
    members_.appendKeyed(participant, sKey);
    return participant;
}

void Participants::UpdateParticipants() {
    trapWithWord([&] {
        execute(Sql{"Delete From Participants Where LinkId=\"", linkId_, "\""});
        for (std::int32_t position = 1; position <= members_.count(); ++position) {
            const auto participant = members_.at(position);
            participant->LinkId = linkId_;
            participant->Update();
        }
    });
}

} // namespace corveth
