#include "session/crm.h"

#include "attachments/attachments.h"
#include "contacts/contacts.h"
#include "platform/desktop/message_pump.h"
#include "session/failure.h"
#include "session/module_state.h"

namespace corveth {

struct CRM::Table {
    static constexpr MemberRow members[] = {
        get<&CRM::get_Contacts>("Contacts"),
        method<&CRM::UseConnection>("UseConnection", "newConnection"),
        get<&CRM::get_Attachments>("Attachments"),
    };
};

constinit const ClassInfo CRM::description = describe<CRM, CRM::Table>();

CRM::CRM() : contacts_(make<Contacts>()) {}

CRM::~CRM() {
    contacts_ = nullptr;
    // An object that outlived its thread has no shared state left, and must not touch that of the thread it ends on.
    if (!home().isCurrent() || !hasModuleState()) return;
    Ref<Connection> connection;
    connection.swap(moduleState().SharedConnection);
    try {
        if (connection) connection->Close();
    } catch (...) {
        // A release cannot return it. In a transaction the connection stays open, and the client's.
        logSwallowed(*connection, "CRM", "closing the shared connection");
    }
    try {
        pumpMessages();
    } catch (...) {
        if (connection) logSwallowed(*connection, "CRM", "processing window messages");
    }
}

Ref<Contacts> CRM::get_Contacts() const {
    return contacts_;
}

Ref<Attachments> CRM::get_Attachments() const { // NOLINT(readability-convert-member-functions-to-static): a member
    return {};
}

void CRM::UseConnection(const Ref<Connection>& newConnection) {
    moduleState().SharedConnection = newConnection;
}

} // namespace corveth
