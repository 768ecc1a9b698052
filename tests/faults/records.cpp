#include "faults/records.h"

#include "platform/automation/convert.h"
#include "services/row_check.h"
#include "services/standard_db_service.h"
#include "session/module_state.h"

namespace corveth::test {

namespace {

Text longText(const Text& version) {
    constexpr int copies = 1500;
    Text text;
    for (int i = 0; i < copies; ++i)
        text += version + " ";
    return text;
}

Ref<Recordset> query(const Ref<Connection>& connection, const Text& sql) {
    auto rows = make<Recordset>();
    rows->open(sql, connection, CursorType::forwardOnly, LockType::readOnly);
    return rows;
}

Text textOf(const Recordset& rows, const char* column) {
    const Value& value = rows.value(column);
    return value.isNull() ? Text() : toText(value);
}

Text idOf(const Text& given) {
    return given.empty() ? lastId() : given;
}

} // namespace

Ref<Connection> share(const Text& connectionString) {
    auto connection = make<Connection>();
    connection->open(connectionString);
    moduleState().SharedConnection = connection;
    return connection;
}

void closeShared() {
    moduleState().SharedConnection->Close();
    moduleState() = {};
}

Text saveNote(const Text& name, const Text& version, const Text& id) {
    const auto note = make<Note>();
    note->let_ID(id);
    note->Title = name;
    note->LinkId = version;
    note->let_Note(longText(version));
    note->Update();
    return idOf(id);
}

Text saveContact(const Text& name, const Text& version, const Text& id) {
    const auto contact = make<Contact>();
    contact->ContactType = ctContactType::ctIndividual;
    contact->let_ID(id);
    contact->FirstName = name;
    contact->Description = longText(version);
    contact->Phone = version;
    contact->WebAddress = longText(version);
    contact->UpdateContact();
    return idOf(id);
}

Text lastId() {
    return make<StandardDbService>()->get_LastId();
}

std::map<Text, Text> storedVersions(const Ref<Connection>& connection) {
    std::map<Text, Text> versions;
    const auto notes = query(connection, "Select Title, LinkId, Note From Notes");
    for (; !notes->get_EOF(); notes->MoveNext()) {
        const Text version = textOf(*notes, "LinkId");
        versions[textOf(*notes, "Title")] = textOf(*notes, "Note") == longText(version) ? version : "half";
    }
    const auto contacts = query(connection, "Select FirstName, Description, Phone, WebAddress From Contacts");
    for (; !contacts->get_EOF(); contacts->MoveNext()) {
        const Text version = textOf(*contacts, "Phone");
        const Text text = longText(version);
        const bool isWhole = textOf(*contacts, "Description") == text && textOf(*contacts, "WebAddress") == text;
        versions[textOf(*contacts, "FirstName")] = isWhole ? version : "half";
    }
    const auto orphans = query(connection, "Select ContactId From ContactDetails Where ContactId Not In "
                                           "(Select ContactId From ContactMaster)");
    for (; !orphans->get_EOF(); orphans->MoveNext())
        versions[textOf(*orphans, "ContactId")] = "half";
    return versions;
}

Text soundness(const Ref<Connection>& connection) {
    Text problems;
    for (const Finding& finding : checkRows(connection->get_ConnectionString()))
        problems += finding.what + "; ";
    return problems.empty() ? "ok" : problems;
}

Text firstValue(const Ref<Connection>& connection, const Text& sql) {
    const auto rows = query(connection, sql);
    return rows->isEmpty() ? Text() : toText(rows->value(0));
}

} // namespace corveth::test
