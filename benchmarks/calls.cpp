#include "operations.h"

#include "common/late_bound.h"
#include "contacts/contacts.h"
#include "platform/automation/dispatch.h"
#include "server/binary/memory.h"
#include "session/link_item.h"
#include "session/note.h"

#include <stdexcept>

namespace corveth::bench {

namespace {

constexpr int callsOfTurn = 20'000;
constexpr std::string_view text = "the text of a property, 32 bytes";
static_assert(text.size() == 32);

/// An object as a client in another language holds it, and one of its members.
class Called {
public:
    Called(const char* progId, const char* member)
        : object_(client::Server::load().create(progId)), id_(idOf(member)) {}

    void invoke(std::uint16_t flags, binary::DispParams& params, binary::Variant* result) const {
        const auto code =
            object_.dispatch()->Invoke(id_, binary::ids::none, 0, flags, &params, result, nullptr, nullptr);
        if (code < 0) throw std::runtime_error("a call through the binary interface failed");
    }

private:
    [[nodiscard]] binary::DispId idOf(const char* member) const {
        std::u16string name(member, member + std::char_traits<char>::length(member));
        binary::OleChar* names = name.data();
        binary::DispId id = 0;
        if (object_.dispatch()->GetIDsOfNames(binary::ids::none, &names, 1, 0, &id) < 0) {
            throw std::runtime_error(std::string("no member ") + member);
        }
        return id;
    }

    client::LateObject object_;
    binary::DispId id_;
};

/// Names are looked up, and the client's own text is made, before anything is measured.
struct TextArgument {
    binary::Variant variant{};
    TextArgument() {
        variant.vt = binary::vt::bstr;
        variant.bstr = binary::toBstr(text);
    }
    TextArgument(const TextArgument&) = delete;
    TextArgument& operator=(const TextArgument&) = delete;
    ~TextArgument() { binary::clear(variant); }
};

template <class Call>
Side repeated(Call&& call) {
    return {{}, [call = std::forward<Call>(call)] {
                for (int i = 0; i < callsOfTurn; ++i)
                    call();
                return text.size();
            }};
}

void put(const Called& called, TextArgument& argument) {
    binary::DispId named = binary::dispIds::propertyPut;
    binary::DispParams params{&argument.variant, &named, 1, 1};
    called.invoke(static_cast<std::uint16_t>(binary::InvokeKind::propertyPut), params, nullptr);
}

} // namespace

Pair propertyGet(World& /*world*/) {
    auto called = std::make_shared<Called>("prjCorveth.Note", "Title");
    TextArgument argument;
    put(*called, argument);
    auto note = make<Note>();
    note->Title = text;
    return {callsOfTurn, repeated([called] {
                binary::DispParams params{};
                binary::Variant result;
                called->invoke(static_cast<std::uint16_t>(binary::InvokeKind::propertyGet), params, &result);
                keep(result);
                binary::clear(result);
            }),
            repeated([note] {
                const Text result = note->Title;
                keep(result);
            })};
}

Pair propertyLet(World& /*world*/) {
    auto called = std::make_shared<Called>("prjCorveth.Note", "Title");
    auto argument = std::make_shared<TextArgument>();
    auto note = make<Note>();
    return {callsOfTurn, repeated([called, argument] { put(*called, *argument); }), repeated([note] {
                note->Title = Text(text);
                keep(note->Title);
            })};
}

Pair methodCall(World& /*world*/) {
    auto called = std::make_shared<Called>("prjCorveth.LinkItem", "PopulateWithLinkId");
    auto item = make<LinkItem>();
    return {callsOfTurn, repeated([called] {
                binary::DispParams params{};
                called->invoke(static_cast<std::uint16_t>(binary::InvokeKind::function), params, nullptr);
            }),
            repeated([item] {
                item->PopulateWithLinkId();
                keep(*item);
            })};
}

Pair methodCallWithText(World& /*world*/) {
    auto called = std::make_shared<Called>("prjCorveth.Contacts", "SetCompanyFilter");
    auto argument = std::make_shared<TextArgument>();
    auto contacts = make<Contacts>();
    return {callsOfTurn, repeated([called, argument] {
                binary::DispParams params{&argument->variant, nullptr, 1, 0};
                called->invoke(static_cast<std::uint16_t>(binary::InvokeKind::function), params, nullptr);
            }),
            repeated([contacts] {
                contacts->SetCompanyFilter(Text(text));
                keep(*contacts);
            })};
}

} // namespace corveth::bench
