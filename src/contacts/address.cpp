#include "contacts/address.h"

namespace corveth {

struct Address::Table {
    static constexpr MemberRow members[] = {
        field<&Address::Add1>("Add1"),
        field<&Address::Add2>("Add2"),
        field<&Address::Country>("Country"),
        field<&Address::State>("State"),
        field<&Address::City>("City"),
        field<&Address::Pin>("Pin"),
        field<&Address::DisplayAs>("DisplayAs"),
        field<&Address::Email>("Email"),
        method<&Address::InitClass>("InitClass"),
    };
};

constinit const ClassInfo Address::description = describe<Address, Address::Table>();

void Address::InitClass() {
    for (Text* text : {&Add1, &Add2, &Country, &State, &City, &Pin, &DisplayAs, &Email})
        text->clear();
}

Ref<Address> Address::titled(const char* displayAs) {
    auto address = make<Address>();
    address->DisplayAs = displayAs;
    return address;
}

} // namespace corveth
