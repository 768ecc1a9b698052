#include "server/gadget.h"

#include <new>
#include <stdexcept>

namespace corveth {

namespace {

std::atomic<int> gadgets = 0;
std::atomic<int> elsewhere = 0;

} // namespace

struct Gadget::Table {
    static constexpr MemberRow members[] = {
        field<&Gadget::Name>("Name"),
        field<&Gadget::Number>("Number"),
        field<&Gadget::Anything>("Anything"),
        field<&Gadget::Peer>("Peer"),
        method<&Gadget::DoubleNumbers>("DoubleNumbers", "Small", "Integer", "Whole", "Single", "Wide"),
        method<&Gadget::DoubleOthers>("DoubleOthers", "Truth", "Money", "Day", "Text", "Any"),
        method<&Gadget::Exchange>("Exchange", "Object"),
        method<&Gadget::ReadOnly>("ReadOnly", "Text", "Number"),
        method<&Gadget::Join>("Join", "First", optional("Second"), optional("Third")),
        method<&Gadget::Fail>("Fail", "Number", "Source", "Description"),
        method<&Gadget::ThrowForeign>("ThrowForeign", "What"),
        defaultMember(get<&Gadget::get_Item>("Item", "Index")),
        enumeratorMember(method<&Gadget::NewEnum>("NewEnum")),
        method<&Gadget::Add>("Add", "Name"),
        method<&Gadget::Remove>("Remove", "Index"),
        getLet<&Gadget::get_Reading, &Gadget::let_Reading>("Reading"),
        method<&Gadget::WidenReading>("WidenReading", "Reading"),
        unavailable("Wheels", "Wheels"),
    };
};
constinit const ClassInfo Gadget::description = describe<Gadget, Gadget::Table>("Test");

Gadget::Gadget() {
    ++gadgets;
}

Gadget::~Gadget() {
    --gadgets;
    if (!home().isCurrent()) ++elsewhere;
}

int Gadget::count() noexcept {
    return gadgets;
}
int Gadget::destroyedElsewhere() noexcept {
    return elsewhere;
}

void Gadget::forgetDestroyedElsewhere() noexcept {
    elsewhere = 0;
}

void Gadget::DoubleNumbers(std::uint8_t& small, std::int16_t& integer, std::int32_t& whole, float& single,
                           double& wide) {
    small = static_cast<std::uint8_t>(small * 2);
    integer = static_cast<std::int16_t>(integer * 2);
    whole *= 2;
    single *= 2;
    wide *= 2;
}

void Gadget::DoubleOthers(bool& truth, Currency& money, Date& day, Text& text, Value& any) {
    truth = !truth;
    money.scaled *= 2;
    day.day *= 2;
    text += text;
    any = Value(toText(any) + "!");
}

void Gadget::Exchange(Ref<Object>& object) {
    object = object ? Ref<Object>() : Ref<Object>(make<Gadget>());
}

void Gadget::ReadOnly(const Text& text, const std::int32_t& number) {
    Name = text + std::to_string(number);
}

Text Gadget::Join(const Text& first, const Text& second, const Text& third) {
    return first + "|" + second + "|" + third;
}

void Gadget::Fail(std::int32_t number, const Text& source, const Text& description) {
    throw Error(number, source, description);
}

void Gadget::ThrowForeign(const Text& what) {
    if (what == "bad_alloc") throw std::bad_alloc();
    if (what == "broken words") throw Error(58, "Note", "the file \"\xFF.txt\" \xC3");
    if (what == "logic_error") throw std::logic_error("not thought of");
    throw 7;
}

void Gadget::Add(const Text& name) {
    auto part = make<Gadget>();
    part->Name = name;
    parts_.append(part, name);
}

void Gadget::WidenReading(Reading& reading) {
    reading.Width *= 2;
    reading.Name += " wide";
}

} // namespace corveth
