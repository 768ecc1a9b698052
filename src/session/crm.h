#pragma once

#include "platform/automation/describe.h"

namespace corveth {

class Attachments;
class Connection;
class Contacts;

/// The root object. Ending it closes the thread's shared connection for every object of that thread.
class CORVETH_API CRM final : public Described<CRM> {
public:
    static constexpr const char* className = "CRM";
    static const ClassInfo description;

    CRM();
    ~CRM() override;

    /// The same collection on every read.
    [[nodiscard]] Ref<Contacts> get_Contacts() const;
    /// Makes `newConnection` (Nothing included) the thread's shared connection; the earlier one stays open.
    void UseConnection(const Ref<Connection>& newConnection);
    /// Nothing, always: an item's files are reached through the item.
    [[nodiscard]] Ref<Attachments> get_Attachments() const;

private:
    struct Table;

    Ref<Contacts> contacts_;
};

} // namespace corveth
