#include "session/item_type.h"

#include "platform/automation/convert.h"

#include <algorithm>

namespace corveth {

namespace {

struct CodeAndType {
    TextView code;
    ptParentType type;
};

// Both in the order in which they are compared.
constexpr CodeAndType codes[] = {
    {"NT", ptParentType::ptNote},     {"AP", ptParentType::ptAppointment}, {"BG", ptParentType::ptBug},
    {"CN", ptParentType::ptContact},  {"CM", ptParentType::ptCompany},     {"IN", ptParentType::ptInvoice},
    {"PT", ptParentType::ptProject},  {"TK", ptParentType::ptTask},        {"AT", ptParentType::ptAttachment},
    {"RM", ptParentType::ptReminder}, {"BD", ptParentType::ptBid},         {"PD", ptParentType::ptProduct},
    {"CR", ptParentType::ptRequest},  {"RK", ptParentType::ptRisk},        {"RQ", ptParentType::ptRequirement},
};

struct TypeAndName {
    ptParentType type;
    const char* name;
};

constexpr TypeAndName names[] = {
    {ptParentType::ptAppointment, "Appointment"},
    {ptParentType::ptBug, "Bug"},
    {ptParentType::ptContact, "Contact"},
    {ptParentType::ptCompany, "Company"},
    {ptParentType::ptInvoice, "Invoice"},
    {ptParentType::ptProject, "Project"},
    {ptParentType::ptTask, "Task"},
    {ptParentType::ptReminder, "Reminder"},
    {ptParentType::ptBid, "Bid"},
    {ptParentType::ptProduct, "Product"},
    {ptParentType::ptRequest, "Change Request"},
    {ptParentType::ptRisk, "Risk"},
    {ptParentType::ptRequirement, "Requirement"},
};

} // namespace

Value ConvertItemType(const Value& value) {
    if (value.isNull()) raise(errors::invalidNull);
    if (!isNumeric(value)) {
        const Text text = toText(value);
        const auto* found = std::ranges::find(codes, leftUnits(text, 2), &CodeAndType::code);
        return found == std::end(codes) ? std::int16_t{0} : static_cast<std::int16_t>(found->type);
    }
    const double number = toDouble(value);
    const auto* found =
        std::ranges::find_if(names, [&](const TypeAndName& row) { return static_cast<double>(row.type) == number; });
    return found == std::end(names) ? "None" : found->name;
}

Text itemTypeName(const Text& id) {
    return toText(ConvertItemType(ConvertItemType(Value(id))));
}

} // namespace corveth
