#include "server/gadget.h"
#include "server/object_wrapper.h"
#include "server/raw_call.h"

#include "server/binary/memory.h"

#include <atomic>
#include <functional>
#include <latch>
#include <thread>

namespace corveth::test {
namespace {

namespace results = binary::results;

class ThreadTest : public EdgeTest {
protected:
    void TearDown() override {
        EdgeTest::TearDown();
        EXPECT_EQ(Gadget::destroyedElsewhere(), 0);
    }
};

void onAnotherThread(const std::function<void()>& work) {
    std::thread(work).join();
}

TEST_F(ThreadTest, EveryCallOfAnotherThreadIsRefusedAndTouchesNothing) {
    const auto gadget = make<Gadget>();
    gadget->Name = "mine";
    gadget->Add("part");
    const auto object = hold(gadget);
    auto* dispatch = object.dispatch();
    const binary::DispId name = idOf(*dispatch, u"Name");
    const binary::Held<binary::IEnumVariant> enumerator(
        static_cast<binary::IEnumVariant*>(server::toClient(*gadget->NewEnum())));

    struct Row {
        const char* name;
        std::function<binary::HResult()> call;
    };
    const Row rows[] = {
        {"QueryInterface",
         [&] {
             void* found = nullptr;
             return dispatch->QueryInterface(binary::ids::dispatch, &found);
         }},
        {"GetTypeInfoCount",
         [&] {
             std::uint32_t count = 0;
             return dispatch->GetTypeInfoCount(&count);
         }},
        {"GetTypeInfo",
         [&] {
             binary::ITypeInfo* info = nullptr;
             return dispatch->GetTypeInfo(0, 0, &info);
         }},
        {"GetIDsOfNames",
         [&] {
             std::u16string text = u"Name";
             binary::OleChar* names[] = {text.data()};
             binary::DispId id = 0;
             return dispatch->GetIDsOfNames(binary::ids::none, names, 1, 0, &id);
         }},
        {"Invoke to read", [&] { return invokeRaw(*dispatch, name).result; }},
        {"Invoke to assign",
         [&] {
             return invokeRaw(*dispatch, name, {4, {variantOf(binary::vt::i4, 1)}, {binary::dispIds::propertyPut}})
                 .result;
         }},
        {"Next",
         [&] {
             binary::Variant member{};
             std::uint32_t fetched = 0;
             return enumerator->Next(1, &member, &fetched);
         }},
        {"Skip", [&] { return enumerator->Skip(1); }},
        {"Reset", [&] { return enumerator->Reset(); }},
        {"Clone",
         [&] {
             binary::IEnumVariant* clone = nullptr;
             return enumerator->Clone(&clone);
         }},
    };
    onAnotherThread([&] {
        for (const auto& row : rows)
            EXPECT_EQ(row.call(), results::wrongThread) << row.name;
    });
    EXPECT_EQ(gadget->Name, "mine");
    binary::Variant member{};
    std::uint32_t fetched = 0;
    EXPECT_EQ(enumerator->Next(1, &member, &fetched), results::ok) << "nothing was skipped";
    binary::clear(member);
}

TEST_F(ThreadTest, AnObjectOfAnotherThreadIsRefusedAsArgument) {
    const auto mine = hold(make<Gadget>());
    onAnotherThread([&] {
        const auto other = hold(make<Gadget>());
        try {
            other.let("Anything", mine);
            ADD_FAILURE() << "the object of another thread was taken";
        } catch (const client::Failure& failure) {
            EXPECT_EQ(failure.number, 0x8001010EU);
        }
    });
}

TEST_F(ThreadTest, ALastReleaseElsewhereIsDoneAtTheOwnersNextCall) {
    const auto stays = hold(make<Gadget>());
    auto goes = hold(make<Gadget>());
    onAnotherThread([&] {
        const client::LateObject copy = goes; // counted there too
        goes = {};
    });
    EXPECT_EQ(Gadget::count(), 2);
    stays.let("Name", "next call");
    EXPECT_EQ(Gadget::count(), 1);
}

TEST_F(ThreadTest, AnObjectOutlivesItsThreadUntilItsLastRelease) {
    client::LateObject object;
    onAnotherThread([&] { object = hold(make<Gadget>()); });
    EXPECT_EQ(Gadget::count(), 1);
    EXPECT_EQ(invokeRaw(*object.dispatch(), 0).result, results::wrongThread) << "its thread has ended";
    const int before = Gadget::destroyedElsewhere();
    object = {};
    EXPECT_EQ(Gadget::count(), 0);
    EXPECT_EQ(Gadget::destroyedElsewhere(), before + 1) << "only an ended thread's objects go on another one";
    Gadget::forgetDestroyedElsewhere();
}

TEST_F(ThreadTest, ApartmentsWorkSideBySideAndReleaseEachOthersObjects) {
    constexpr int rounds = 300;
    std::latch started(2);
    std::atomic<binary::IDispatch*> handedOver[2] = {nullptr, nullptr};
    const auto work = [&](std::size_t self) {
        const auto owner = hold(make<Gadget>());
        started.arrive_and_wait();
        for (int round = 0; round < rounds; ++round) {
            client::LateObject part(hold(make<Gadget>()));
            part.let("Name", std::to_string(round));
            owner.let("Peer", part);
            EXPECT_EQ(std::get<client::LateObject>(owner.get("Peer")), part);
            owner.call("Add", {"part " + std::to_string(round)});
            // The other thread releases one of ours, maybe the last reference, while we go on.
            part.dispatch()->AddRef();
            if (auto* earlier = handedOver[self].exchange(part.dispatch())) earlier->Release();
            if (auto* other = handedOver[1 - self].exchange(nullptr)) other->Release();
        }
        EXPECT_EQ(owner.enumerate().size(), static_cast<std::size_t>(rounds));
    };
    std::thread other([&] { work(1); });
    std::thread one([&] { work(0); });
    one.join();
    other.join();
    for (auto& left : handedOver) {
        if (auto* object = left.exchange(nullptr)) object->Release();
    }
    EXPECT_EQ(Gadget::count(), 0);
    Gadget::forgetDestroyedElsewhere(); // what was released after its thread had ended
}

} // namespace
} // namespace corveth::test
