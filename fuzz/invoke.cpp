// The binary edge: calls of any member of real objects over a real database with any arguments that keep to the layout.
// Whatever comes of it is a result or a filled error record, and everything that was lent comes back.

#include "client.h"

#include "attachments/attachment.h"
#include "platform/automation/class_registry.h"
#include "platform/automation/dispatch.h"
#include "platform/data/connection.h"
#include "platform/desktop/clock.h"
#include "platform/desktop/file_chooser.h"
#include "platform/desktop/message_box.h"
#include "server/class_factory.h"
#include "server/module.h"
#include "server/object_wrapper.h"
#include "session/module_state.h"

#include <algorithm>

using namespace corveth;
using binary::Held;
using binary::Variant;
using fuzz::Client;
using fuzz::Input;
using fuzz::require;

namespace {

namespace results = binary::results;
namespace vt = binary::vt;
constexpr int mostCalls = 24;

void checkFailure(binary::HResult result, binary::ExcepInfo& exception, const Variant& value) {
    if (result != results::ok) {
        require(result == results::exception, "a failed call says so");
        require(exception.scode != 0, "a failure has a number");
        Text words;
        require(binary::appendUtf8(exception.bstrDescription, words) == binary::TextFault::none, "words are text");
        require(exception.bstrDescription != nullptr, "words are given");
        // One of the system's own failures has none: that of a participant asked for a number of tasks.
        require(!words.empty() || exception.scode == errors::application, "a failure has words");
        require(value.vt == vt::empty, "a failed call has no result");
    } else {
        require(exception.scode == 0 && exception.bstrDescription == nullptr,
                "a call that was done reports no failure");
    }
    binary::clear(exception);
}

/// The object in `value` goes to the client.
void keep(Client& client, Variant& value) {
    if ((value.vt == vt::dispatch || value.vt == vt::unknown) && value.unknown != nullptr) {
        client.add(Held<binary::IUnknown>(value.unknown));
        value = {};
    }
    binary::clear(value);
}

binary::DispId memberFrom(Input& input, const ClassInfo& info) {
    const std::uint8_t number = input.byte();
    const auto slots = info.index().slots();
    if (number == 255 || slots.empty()) return input.number<binary::DispId>();
    return slots[number % slots.size()].id;
}

void call(Input& input, Client& client, binary::IDispatch& object, const ClassInfo* info) {
    const binary::DispId member = info != nullptr ? memberFrom(input, *info) : input.number<binary::DispId>();
    constexpr std::uint16_t usual[] = {1, 2, 3, 4, 8, 4, 8, 0};
    const std::uint8_t form = input.byte();
    const std::uint16_t flags = form >= 0xF8 ? input.number<std::uint16_t>() : usual[form % std::size(usual)];
    fuzz::Arguments arguments(input, client);
    Variant value{};
    binary::ExcepInfo exception{};
    const bool wantsResult = (form & 0x40) == 0;
    const auto result = object.Invoke(member, binary::ids::none, 0, flags, arguments.params(),
                                      wantsResult ? &value : nullptr, &exception, nullptr);
    checkFailure(result, exception, value);
    keep(client, value);
}

/// An assignment as most clients make it.
void assign(Input& input, Client& client, binary::IDispatch& object, const ClassInfo& info) {
    Variant argument{};
    argument.vt = vt::bstr;
    argument.bstr = fuzz::textFrom(input);
    binary::DispId named = binary::dispIds::propertyPut;
    binary::DispParams params{&argument, &named, 1, 1};
    Variant value{};
    binary::ExcepInfo exception{};
    const auto result =
        object.Invoke(memberFrom(input, info), binary::ids::none, 0, 4, &params, &value, &exception, nullptr);
    checkFailure(result, exception, value);
    keep(client, value);
    binary::clear(argument);
}

void lookUp(Input& input, binary::IDispatch& object) {
    auto* name = fuzz::textFrom(input);
    binary::DispId id = 0;
    const auto result = object.GetIDsOfNames(binary::ids::none, &name, 1, 0, &id);
    require(result == results::ok || id == binary::dispIds::unknown, "a name that is not known has no number");
    binary::freeText(name);
}

void step(Input& input, Client& client, binary::IEnumVariant& members) {
    constexpr std::uint8_t most = 5;
    Variant fetched[most] = {};
    std::uint32_t count = 0;
    switch (input.below(5)) {
    case 0:
        members.Skip(input.byte());
        break;
    case 1:
        members.Reset();
        break;
    case 2: {
        binary::IEnumVariant* clone = nullptr;
        if (members.Clone(&clone) == results::ok) client.add(Held<binary::IUnknown>(clone));
        break;
    }
    default:
        members.Next(static_cast<std::uint32_t>(input.below(most + 1)), fetched, &count);
        require(count <= most, "no more members than there is room for");
        for (auto& member : fetched)
            keep(client, member);
        break;
    }
}

/// By its name rather than its place in the list, so that inputs mean the same when a class is added.
std::uint16_t markOf(const ClassInfo* info) {
    std::uint32_t mark = 2166136261U;
    for (const char c : info->progId())
        mark = (mark ^ static_cast<std::uint8_t>(c)) * 16777619U;
    return static_cast<std::uint16_t>(mark >> 16U);
}

/// A new object of a class that clients can create.
void create(Input& input, Client& client) {
    const auto wanted = input.number<std::uint16_t>();
    const auto distance = [wanted](const ClassInfo* info) { return static_cast<std::uint16_t>(markOf(info) - wanted); };
    const ClassInfo& info = **std::ranges::min_element(allClasses(), {}, distance);
    if (info.create == nullptr) return;
    const Held<binary::IClassFactory> factory(server::makeFactory(info));
    void* made = nullptr;
    // Some classes read rows as they are made, and fail without a database.
    const auto result = factory->CreateInstance(nullptr, binary::ids::dispatch, &made);
    require((result == results::ok) == (made != nullptr), "an object is made, or there is a failure");
    if (made != nullptr) client.add(Held<binary::IUnknown>(static_cast<binary::IDispatch*>(made)));
}

/// The only property that keeps any object, so also one that holds its owner: such a ring is the client's to open.
void takeObjectOut(Object& owner) {
    auto* const attachment = dynamic_cast<Attachment*>(&owner);
    if (attachment != nullptr && attachment->Data.is(ValueType::object)) attachment->Data = {};
}

void use(Input& input, Client& client) {
    auto* chosen = client.object(input.byte());
    if (const auto members = binary::query<binary::IEnumVariant>(chosen, binary::ids::enumVariant)) {
        step(input, client, *members.get());
        return;
    }
    const auto object = binary::query<binary::IDispatch>(chosen, binary::ids::dispatch);
    if (!object) return;
    const Ref<Object> own = server::objectOfClient(object.get());
    const ClassInfo* info = &own->classInfo();
    switch (input.below(8)) {
    case 0:
        lookUp(input, *object.get());
        break;
    case 1:
        call(input, client, *object.get(), nullptr);
        break;
    case 2:
        assign(input, client, *object.get(), *info);
        break;
    default:
        call(input, client, *object.get(), info);
        break;
    }
    takeObjectOut(*own);
}

/// The folder as it was before: nothing in it but the example.
void emptyFolder() {
    for (const auto& entry : std::filesystem::directory_iterator(fuzz::temporaryFolder())) {
        if (entry.path().filename() == "example.db") continue;
        std::error_code ignored;
        std::filesystem::remove_all(entry.path(), ignored);
    }
}

void openDatabase(Client& client) {
    const auto work = fuzz::temporaryFolder() / "work.db";
    std::error_code fault;
    do { // the fuzzer's own timer interrupts
        std::filesystem::copy_file(fuzz::exampleDatabase(), work, std::filesystem::copy_options::overwrite_existing,
                                   fault);
    } while (fault == std::errc::interrupted);
    require(!fault, "the example is copied", fault.message());
    const auto connection = make<Connection>();
    connection->open("Provider=SQLite;Default Timeout=0;Data Source=" + work.string());
    moduleState().SharedConnection = connection;
    client.add(Held<binary::IUnknown>(server::toClient(*connection)));
}

void session(Input& input) {
    Client client;
    if (input.below(4) != 0) openDatabase(client);
    for (int i = 0; i < mostCalls && !input.atEnd(); ++i) {
        if (client.isEmpty() || input.below(4) == 0) {
            create(input, client);
        } else {
            use(input, client);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
    // Whatever files the calls make, they make them here; so the fuzzer's own paths have to be absolute.
    (void)fuzz::exampleDatabase();
    std::filesystem::current_path(fuzz::temporaryFolder());
    setMessageBoxHandler([](const MessageBox&) { return messageBoxes::ok; });
    setFileChooser([](TextView) { return Text(); });
    setClock([] { return Date{46082.5}; });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::size_t before = Object::liveCount();
    Input input(data, size);
    session(input);
    moduleState() = {};
    Apartment::current()->collect();
    require(Object::liveCount() == before, "no object is left alive");
    require(server::outstanding.load() == 0, "nothing counts as held");
    emptyFolder();
    return 0;
}
