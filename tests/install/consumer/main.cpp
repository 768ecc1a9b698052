// Makes a database, saves a contact with a note through the classes, reads it back through a list and a recordset.
#include <corveth/contacts/contacts.h>
#include <corveth/platform/data/connection.h>
#include <corveth/platform/data/field.h>
#include <corveth/services/schema.h>
#include <corveth/session/crm.h>
#include <corveth/session/notes.h>

#include <exception>
#include <iostream>

namespace {

void run(const std::string& file) {
    const std::string place = "Provider=SQLite;Data Source=" + file;
    corveth::createDatabase(place);
    const auto connection = corveth::make<corveth::Connection>();
    connection->open(place);
    const auto crm = corveth::make<corveth::CRM>();
    crm->UseConnection(connection);

    auto contact = corveth::make<corveth::Contact>();
    contact->ContactType = corveth::ctContactType::ctIndividual;
    contact->FirstName = "Astrid";
    contact->LastName = "Nygård";
    contact->UpdateContact();

    const auto contacts = crm->get_Contacts();
    contacts->InitializeAsType(corveth::ctContactType::ctIndividual);
    for (std::int32_t i = 1; i <= contacts->get_Count(); ++i) {
        contact = contacts->get_Item(i);
        const auto note = corveth::make<corveth::Note>();
        note->LinkId = contact->get_ID();
        note->Title = "Call back";
        note->Update();
        const auto notes = contact->get_Notes();
        notes->SetLinkFilter(note->LinkId);
        notes->Populate();
        std::cout << contact->FirstName << ' ' << contact->LastName << ": " << notes->get_Count() << '\n';
    }
    corveth::Value affected;
    const auto rows = connection->Execute("Select Title From Notes", affected, -1);
    std::cout << corveth::toText(rows->get_Fields()->get_Item("Title")->get_Value()) << '\n';
    try {
        connection->Execute("Select Missing From Notes", affected, -1);
    } catch (const corveth::Error& error) {
        std::cout << error.source << ": " << error.description << '\n';
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        run(argc > 1 ? argv[1] : "consumer.db");
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
