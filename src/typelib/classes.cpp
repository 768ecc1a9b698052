// The one list of classes. A new class is added here and nowhere else.

#include "attachments/attachments.h"
#include "bidding/bid_source.h"
#include "contacts/address.h"
#include "contacts/company.h"
#include "contacts/contact.h"
#include "contacts/contacts.h"
#include "favourites/favourite_type.h"
#include "finance/invoice_details.h"
#include "platform/automation/class_registry.h"
#include "platform/automation/collection.h"
#include "platform/data/connection.h"
#include "platform/data/field.h"
#include "platform/data/recordset.h"
#include "platform/data/stream.h"
#include "platform/desktop/desktop_object.h"
#include "platform/desktop/picture.h"
#include "scheduling/parent_item.h"
#include "scheduling/participants.h"
#include "scheduling/project_types.h"
#include "scheduling/tasks.h"
#include "services/schema.h"
#include "services/standard_db_service.h"
#include "services/standard_file_info_service.h"
#include "services/transfer.h"
#include "session/crm.h"
#include "session/financial.h"
#include "session/link_item.h"
#include "session/notes.h"
#include "tracking/actions.h"
#include "tracking/product_type.h"
#include "tracking/version.h"
#include "typelib/type_library_object.h"

namespace corveth {

std::span<const ClassInfo* const> allClasses() noexcept {
    static constexpr const ClassInfo* classes[] = {
        // The type library.
        &CRM::description,
        &FINANCIAL::description,
        &Note::description,
        &Notes::description,
        &LinkItem::description,
        &Address::description,
        &Contact::description,
        &Company::description,
        &Contacts::description,
        &Attachment::description,
        &Attachments::description,
        &ProjectTask::description,
        &Tasks::description,
        &ParentItem::description,
        &ProjectType::description,
        &ProjectTypes::description,
        &Participant::description,
        &Participants::description,
        &Version::description,
        &Action::description,
        &Actions::description,
        // Data access.
        &Connection::description,
        &Recordset::description,
        &Stream::description,
        &Fields::description,
        &Field::description,
        // Services and the desktop.
        &StandardDbService::description,
        &StandardFileInfoService::description,
        &Schema::description,
        &Transfer::description,
        &TypeLibrary::description,
        &Picture::description,
        &Desktop::description,
        &Collection::description,
    };
    return classes;
}

std::span<const EnumInfo* const> allEnums() noexcept {
    static constexpr const EnumInfo* enums[] = {
        &ptParentTypeInfo, &ctContactTypeInfo, &ptCalcMethodInfo, &ptTypeInfo,
        &dpTypeInfo,       &tpBidSourceInfo,   &fvFilterTypeInfo,
    };
    return enums;
}

std::span<const RecordInfo* const> allRecords() noexcept {
    static constexpr const RecordInfo* records[] = {&tpInvoiceDetailsInfo};
    return records;
}

} // namespace corveth
