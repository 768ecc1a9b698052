#include "client.h"

#include "platform/automation/class_registry.h"
#include "server/record_layout.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace corveth::fuzz {

namespace {

namespace vt = binary::vt;
namespace results = binary::results;
using binary::Variant;
using binary::VarType;

/// An object that only a client could have made: it can be held and called, and answers nothing.
class OwnObject final : public binary::IDispatch {
public:
    binary::HResult QueryInterface(const binary::Guid& iid, void** object) noexcept override {
        *object = nullptr;
        if (iid != binary::ids::unknown && iid != binary::ids::dispatch) return results::noInterface;
        AddRef();
        *object = this;
        return results::ok;
    }
    std::uint32_t AddRef() noexcept override { return ++references_; }
    std::uint32_t Release() noexcept override {
        const auto left = --references_;
        if (left == 0) delete this;
        return left;
    }
    binary::HResult GetTypeInfoCount(std::uint32_t* /*count*/) noexcept override { return results::notImplemented; }
    binary::HResult GetTypeInfo(std::uint32_t /*index*/, binary::Lcid /*locale*/,
                                binary::ITypeInfo** /*info*/) noexcept override {
        return results::notImplemented;
    }
    binary::HResult GetIDsOfNames(const binary::Guid& /*reserved*/, binary::OleChar** /*names*/,
                                  std::uint32_t /*count*/, binary::Lcid /*locale*/,
                                  binary::DispId* /*ids*/) noexcept override {
        return results::unknownName;
    }
    binary::HResult Invoke(binary::DispId /*member*/, const binary::Guid& /*reserved*/, binary::Lcid /*locale*/,
                           std::uint16_t /*flags*/, binary::DispParams* /*params*/, Variant* /*result*/,
                           binary::ExcepInfo* /*exception*/, std::uint32_t* /*badArgument*/) noexcept override {
        return results::memberNotFound;
    }

private:
    std::uint32_t references_ = 1;
};

constexpr std::array plainTypes = {vt::empty,   vt::null, vt::i1,      vt::ui1,        vt::i2,
                                   vt::ui2,     vt::i4,   vt::ui4,     vt::i8,         vt::ui8,
                                   vt::r4,      vt::r8,   vt::cy,      vt::date,       vt::error,
                                   vt::boolean, vt::none, vt::decimal, vt::intMachine, vt::uintMachine};

/// What members understand: keys, names, conditions, statements, a connection string.
constexpr std::array knownTexts = std::to_array<TextView>({
    "",
    "CN00000001",
    "CM00000001",
    "NT00000001",
    "Notes",
    "Contacts",
    "Contact",
    "Title",
    "LinkId",
    "NoteId",
    "Select * From Notes",
    "Select NoteId, Title From Notes Where LinkId = 'CN00000001' Order By 1",
    "Select * From Contacts",
    "Update Notes Set Title = 'x'",
    "Delete From Notes",
    "Title = 'Call back'",
    "Title Like 'C*'",
    "NoteId ASC, Title DESC",
    "Provider=SQLite;Data Source=work.db",
    "work.db",
    "new.db",
    "2026-03-01",
    "12.5",
    "True",
    "prjCorveth.Note",
});

constexpr std::size_t longestText = 40;
constexpr std::size_t mostArguments = 10;

binary::Bstr toText(std::u16string_view units, std::size_t extraBytes) {
    // An odd length is none that a text should have, but one that a client can send.
    auto* text = binary::allocateText(units.size() + 1);
    std::copy(units.begin(), units.end(), text);
    text[units.size()] = 0;
    const auto length = static_cast<std::uint32_t>(units.size() * sizeof(char16_t) + extraBytes);
    std::memcpy(reinterpret_cast<char*>(text) - sizeof length, &length, sizeof length);
    return text;
}

} // namespace

binary::Bstr textFrom(Input& input) {
    constexpr std::size_t letters = 0, anything = 1;
    const std::size_t form = input.below(4);
    std::u16string units;
    std::size_t extraBytes = 0;
    if (form == letters) {
        for (const auto byte : input.take(input.below(longestText)))
            units += static_cast<char16_t>(byte % 0x80);
    } else if (form == anything) {
        const std::size_t count = input.below(longestText);
        extraBytes = count % 8 == 7 ? 1 : 0;
        for (std::size_t i = 0; i < count && !input.atEnd(); ++i)
            units += input.number<char16_t>();
    } else {
        const TextView known = knownTexts[input.below(knownTexts.size())];
        units.assign(known.begin(), known.end());
    }
    for (auto& unit : units) {
        if (unit == u'/') unit = u'_';
    }
    return toText(units, extraBytes);
}

Client::Client() : own_(new OwnObject) {}

Client::~Client() {
    objects_.clear();
    require(own_->Release() == 0, "a client's object is released as often as it was held");
}

void Client::add(binary::Held<binary::IUnknown> object) {
    if (objects_.size() < mostObjects) objects_.push_back(std::move(object));
}

Arguments::Arguments(Input& input, const Client& client) : input_(input), client_(client) {
    constexpr std::uint8_t damaged = 255;
    const std::uint8_t form = input_.byte();
    const std::size_t count = form % (mostArguments + 1);
    for (std::size_t i = 0; i < count; ++i)
        variants_.push_back(variant(0));
    const std::uint8_t naming = input_.byte();
    const std::size_t namedCount = naming < 0x80 ? 0 : naming % (count + 1);
    for (std::size_t i = 0; i < namedCount; ++i) {
        const std::uint8_t name = input_.byte();
        named_.push_back(name < 0x80 ? binary::dispIds::propertyPut : static_cast<std::int8_t>(name - 0x80));
    }
    params_ = {variants_.data(), named_.data(), static_cast<std::uint32_t>(count),
               static_cast<std::uint32_t>(namedCount)};
    // Lists that are not in order, as far as that can be seen.
    if (form == damaged) {
        switch (input_.below(4)) {
        case 0:
            isLeftOut_ = true;
            break;
        case 1:
            params_.rgvarg = nullptr;
            break;
        case 2:
            params_.cNamedArgs = params_.cArgs + 1;
            break;
        default:
            params_.rgdispidNamedArgs = nullptr;
            params_.cNamedArgs = 1;
            break;
        }
    }
}

Arguments::~Arguments() {
    for (auto& variant : variants_)
        binary::clear(variant);
    for (auto& variant : pointed_)
        binary::clear(variant);
}

Variant Arguments::variant(int depth) {
    Variant made{};
    switch (input_.below(9)) {
    case 0:
    case 1:
        made.bstr = input_.below(16) == 0 ? nullptr : textFrom(input_);
        made.vt = vt::bstr;
        return made;
    case 2:
        if (depth < 4) return byReference(depth);
        break;
    case 3: {
        const std::uint8_t which = input_.byte();
        made.vt = which % 2 == 0 ? vt::dispatch : vt::unknown;
        if (which == 255 || client_.isEmpty()) return made; // Nothing
        auto* object = which > 240 ? client_.ownObject() : client_.object(which / 2U);
        // Only what has members may stand as an object with members.
        auto callable = binary::query<binary::IDispatch>(object, binary::ids::dispatch);
        if (callable) {
            made.dispatch = callable.detach();
        } else {
            object->AddRef();
            made.unknown = object;
            made.vt = vt::unknown;
        }
        return made;
    }
    case 4:
        return bytes();
    case 5:
        return record();
    case 6: {
        made.i4 = static_cast<std::int8_t>(input_.byte());
        made.vt = vt::i4;
        return made;
    }
    default:
        break;
    }
    made.vt = plainTypes[input_.below(plainTypes.size())];
    made.i8 = input_.number<std::int64_t>();
    if (made.vt == vt::error && input_.below(2) == 0) made.scode = results::paramNotFound;
    return made;
}

Variant Arguments::byReference(int depth) {
    Variant& target = pointed_.emplace_back(variant(depth + 1));
    Variant made{};
    const bool wrapped = input_.below(2) == 0;
    if (wrapped || (target.vt & vt::byRef) != 0 || target.vt == vt::empty || target.vt == vt::null) {
        made.vt = vt::variant | vt::byRef;
        made.byRef = &target;
    } else if (target.vt == vt::record) {
        made.vt = vt::record | vt::byRef;
        made.record = target.record;
    } else {
        made.vt = static_cast<VarType>(target.vt | vt::byRef);
        made.byRef = &target.i8;
    }
    if (input_.below(64) == 63) made = {.vt = made.vt, .reserved = {}, .i8 = 0}; // nowhere
    return made;
}

Variant Arguments::record() {
    const auto records = allRecords();
    auto* type = server::makeRecordInfo(*records[input_.below(records.size())]);
    Variant made{};
    made.vt = vt::record;
    made.record = {type->RecordCreate(), type};
    std::uint32_t fields = 0;
    type->GetFieldNames(&fields, nullptr);
    std::vector<binary::Bstr> names(fields);
    type->GetFieldNames(&fields, names.data());
    for (auto* name : names) {
        Variant value = variant(4);
        (void)type->PutField(0, made.record.data, name, &value);
        binary::clear(value);
        binary::freeText(name);
    }
    return made;
}

Variant Arguments::bytes() {
    const auto given = input_.take(input_.below(200));
    Variant made{};
    made.vt = vt::array | vt::ui1;
    made.array = binary::toSafeArray(std::as_bytes(given));
    constexpr std::size_t twoDimensions = 1, wideElements = 2, noData = 3;
    switch (input_.below(16)) {
    case twoDimensions:
        made.array->cDims = 2;
        break;
    case wideElements:
        made.array->cbElements = 4;
        break;
    case noData:
        std::free(std::exchange(made.array->pvData, nullptr));
        break;
    default:
        break;
    }
    return made;
}

} // namespace corveth::fuzz
