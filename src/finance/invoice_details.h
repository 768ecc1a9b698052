#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// One detail line of an invoice; `HCAmount` is the amount in home currency.
struct tpInvoiceDetails {
    Text SlNo;
    Text Description;
    float Qty = 0;
    float Rate = 0;
    float Amount = 0;
    float HCAmount = 0;
};

inline constexpr RecordInfo::Field tpInvoiceDetailsFields[] = {
    recordField<&tpInvoiceDetails::SlNo>("SlNo"),     recordField<&tpInvoiceDetails::Description>("Description"),
    recordField<&tpInvoiceDetails::Qty>("Qty"),       recordField<&tpInvoiceDetails::Rate>("Rate"),
    recordField<&tpInvoiceDetails::Amount>("Amount"), recordField<&tpInvoiceDetails::HCAmount>("HCAmount"),
};
inline constexpr RecordInfo tpInvoiceDetailsInfo{"tpInvoiceDetails", tpInvoiceDetailsFields};

template <>
struct RecordTraits<tpInvoiceDetails>
    : RecordMembers<tpInvoiceDetailsInfo, &tpInvoiceDetails::SlNo, &tpInvoiceDetails::Description,
                    &tpInvoiceDetails::Qty, &tpInvoiceDetails::Rate, &tpInvoiceDetails::Amount,
                    &tpInvoiceDetails::HCAmount> {};

} // namespace corveth
