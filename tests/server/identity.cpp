#include "server/gadget.h"
#include "server/object_wrapper.h"
#include "server/raw_call.h"

#include "server/binary/class_ids.h"
#include "server/binary/memory.h"
#include "server/module.h"

namespace corveth::test {
namespace {

namespace ids = binary::ids;
namespace results = binary::results;
using binary::Held;

class IdentityTest : public EdgeTest {};

TEST_F(IdentityTest, InterfacesThatAnObjectHas) {
    struct Row {
        const char* name;
        binary::Guid iid;
        binary::HResult onObject, onEnumerator;
    };
    const Row rows[] = {
        {"IUnknown", ids::unknown, results::ok, results::ok},
        {"IDispatch", ids::dispatch, results::ok, results::noInterface},
        {"IEnumVARIANT", ids::enumVariant, results::noInterface, results::ok},
        {"its own", binary::nameBasedId("Test._Gadget"), results::ok, results::noInterface},
        {"another class's", binary::nameBasedId("prjCorveth._Note"), results::noInterface, results::noInterface},
        {"IClassFactory", ids::classFactory, results::noInterface, results::noInterface},
    };
    const auto gadget = make<Gadget>();
    const Held<binary::IUnknown> object(server::toClient(*gadget));
    const Held<binary::IUnknown> enumerator(server::toClient(*gadget->NewEnum()));
    for (const auto& row : rows) {
        for (auto* held : {object.get(), enumerator.get()}) {
            int none = 0;
            void* found = &none;
            const auto expected = held == object.get() ? row.onObject : row.onEnumerator;
            EXPECT_EQ(held->QueryInterface(row.iid, &found), expected) << row.name;
            EXPECT_EQ(found != nullptr, expected == results::ok) << row.name;
            if (expected == results::ok) static_cast<binary::IUnknown*>(found)->Release();
        }
    }
    EXPECT_EQ(object->QueryInterface(ids::unknown, nullptr), results::badPointer);
}

TEST_F(IdentityTest, OneObjectHasOnePointerAsLongAsItLives) {
    const auto gadget = make<Gadget>();
    gadget->Peer = make<Gadget>();
    const auto object = hold(gadget);
    const auto peer = std::get<client::LateObject>(object.get("Peer"));
    EXPECT_EQ(std::get<client::LateObject>(object.get("peer")), peer);
    EXPECT_EQ(binary::query<binary::IUnknown>(peer.dispatch(), ids::unknown).get(), peer.dispatch());

    object.let("Anything", peer);
    EXPECT_EQ(gadget->Anything.getIf<Ref<Object>>()->get(), gadget->Peer.get()) << "our own comes back as itself";
    object.let("Peer", object);
    EXPECT_EQ(gadget->Peer.get(), gadget.get());
    gadget->Peer = nullptr;
}

TEST_F(IdentityTest, AClientsReferenceKeepsTheObjectAlive) {
    auto object = hold(make<Gadget>());
    object.let("Peer", hold(make<Gadget>()));
    EXPECT_EQ(Gadget::count(), 2);
    {
        const auto peer = std::get<client::LateObject>(object.get("Peer"));
        EXPECT_EQ(server::outstanding.load(), 2);
        object = {};
        EXPECT_EQ(Gadget::count(), 1) << "the peer is the client's now";
        peer.let("Name", "still here");
        EXPECT_EQ(std::get<std::string>(peer.get("Name")), "still here");
    }
    EXPECT_EQ(Gadget::count(), 0);
}

/// An object of a client, as another language makes it: with or without members.
class ClientObject final : public binary::IDispatch {
public:
    explicit ClientObject(bool isCallable) : isCallable_(isCallable) {}

    binary::HResult QueryInterface(const binary::Guid& iid, void** object) noexcept override {
        *object = nullptr;
        if (iid != ids::unknown && (iid != ids::dispatch || !isCallable_)) return results::noInterface;
        AddRef();
        *object = this;
        return results::ok;
    }
    std::uint32_t AddRef() noexcept override { return ++references; }
    std::uint32_t Release() noexcept override { return --references; }
    binary::HResult GetTypeInfoCount(std::uint32_t* count) noexcept override {
        *count = 0;
        return results::ok;
    }
    binary::HResult GetTypeInfo(std::uint32_t, binary::Lcid, binary::ITypeInfo**) noexcept override {
        return results::notImplemented;
    }
    binary::HResult GetIDsOfNames(const binary::Guid&, binary::OleChar**, std::uint32_t, binary::Lcid,
                                  binary::DispId*) noexcept override {
        return results::unknownName;
    }
    binary::HResult Invoke(binary::DispId, const binary::Guid&, binary::Lcid, std::uint16_t, binary::DispParams*,
                           binary::Variant*, binary::ExcepInfo*, std::uint32_t*) noexcept override {
        return results::memberNotFound;
    }

    std::uint32_t references = 1;

private:
    bool isCallable_;
};

TEST_F(IdentityTest, AnObjectOfTheClientComesBackAsItself) {
    for (const bool isCallable : {true, false}) {
        ClientObject foreign(isCallable);
        auto gadget = make<Gadget>();
        const auto object = hold(gadget);
        const auto set = [&](binary::VarType type) {
            const auto outcome = invokeRaw(*object.dispatch(), idOf(*object.dispatch(), u"Anything"),
                                           {4, {variantOf(type, &foreign)}, {binary::dispIds::propertyPut}});
            ASSERT_EQ(outcome.result, results::ok) << outcome.description;
        };
        set(isCallable ? binary::vt::dispatch : binary::vt::unknown);
        EXPECT_EQ(foreign.references, 2U) << "held";
        auto back = invokeRaw(*object.dispatch(), idOf(*object.dispatch(), u"Anything"));
        EXPECT_EQ(back.value.vt, isCallable ? binary::vt::dispatch : binary::vt::unknown);
        EXPECT_EQ(back.value.unknown, &foreign);
        EXPECT_EQ(foreign.references, 3U);
        binary::clear(back.value);
        gadget->Anything = Value();
        EXPECT_EQ(foreign.references, 1U) << "given up with the value";
    }
}

TEST_F(IdentityTest, AnObjectOfAnotherClassIsRefusedByName) {
    const auto connection = hold(make<Gadget>());
    try {
        connection.let("Name", connection);
        FAIL() << "an object is no text";
    } catch (const client::Failure& failure) {
        EXPECT_EQ(failure.number, 13U);
        EXPECT_NE(failure.description().find("Gadget.Name"), std::string::npos) << failure.description();
    }
}

} // namespace
} // namespace corveth::test
