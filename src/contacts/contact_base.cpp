#include "contacts/contact_base.h"

namespace corveth {

const char* ContactBase::typeText(ctContactType type) {
    switch (type) {
    case ctContactType::ctCompany:
        return "Company";
    case ctContactType::ctIndividual:
        return "Individual";
    case ctContactType::ctOthers:
        return "Others";
    default:
        return "Company Individual";
    }
}

} // namespace corveth
