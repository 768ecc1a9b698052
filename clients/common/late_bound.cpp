#include "common/late_bound.h"

#include "common/conversion.h"
#include "common/description.h"
#include "server/binary/memory.h"

#include <algorithm>

namespace corveth::client {

RecordValue::RecordValue() = default;
RecordValue::RecordValue(std::string recordName, std::vector<RecordField> recordFields)
    : name(std::move(recordName)), fields(std::move(recordFields)) {}
RecordValue::RecordValue(const RecordValue&) = default;
RecordValue::RecordValue(RecordValue&&) noexcept = default;
RecordValue& RecordValue::operator=(const RecordValue&) = default;
RecordValue& RecordValue::operator=(RecordValue&&) noexcept = default;
RecordValue::~RecordValue() = default;

namespace {

namespace vt = binary::vt;
namespace results = binary::results;
using binary::HResult;

constexpr std::uint32_t objectNotSet = 91;
constexpr std::uint32_t noSuchMember = 438;
constexpr std::uint16_t callFlags = 1 | 2; // a method, or a property that is read
constexpr std::uint16_t readFlags = 2;
constexpr std::uint16_t putFlag = 4;
constexpr std::uint16_t putReferenceFlag = 8;

bool equalNoCase(std::string_view a, std::string_view b) noexcept {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::ranges::equal(a, b, [&](char x, char y) { return lower(x) == lower(y); });
}

/// Owns the variants of one call.
class VariantList {
public:
    explicit VariantList(std::size_t count) : variants_(count) {}
    VariantList(const VariantList&) = delete;
    VariantList& operator=(const VariantList&) = delete;
    ~VariantList() {
        for (auto& variant : variants_)
            binary::clear(variant);
    }

    binary::Variant& operator[](std::size_t i) noexcept { return variants_[i]; }
    binary::Variant* data() noexcept { return variants_.data(); }
    [[nodiscard]] std::size_t size() const noexcept { return variants_.size(); }

private:
    std::vector<binary::Variant> variants_;
};

[[noreturn]] void throwException(binary::ExcepInfo& exception) {
    const std::string source = takeText(std::exchange(exception.bstrSource, nullptr));
    const std::string description = takeText(std::exchange(exception.bstrDescription, nullptr));
    const auto number = numberOf(exception.scode);
    binary::clear(exception);
    throw Failure(number, source, description);
}

binary::IDispatch& checked(binary::IDispatch* dispatch) {
    if (dispatch == nullptr) throw Failure(objectNotSet, "corveth", "Object variable or With block variable not set");
    return *dispatch;
}

Variant invoke(binary::IDispatch& object, binary::DispId id, std::uint16_t flags, VariantList& arguments,
               std::span<binary::DispId> namedIds = {}) {
    binary::DispParams params{arguments.data(), namedIds.data(), static_cast<std::uint32_t>(arguments.size()),
                              static_cast<std::uint32_t>(namedIds.size())};
    VariantList result(1);
    binary::ExcepInfo exception{};
    const HResult outcome = object.Invoke(id, binary::ids::none, 0, flags, &params, &result[0], &exception, nullptr);
    if (outcome == results::exception) throwException(exception);
    requireSuccess(outcome, "a call of the server");
    return takeVariant(result[0]);
}

const MemberDescription& findMember(const ClassDescription& description, std::string_view name) {
    const auto* member = description.find(name);
    if (member == nullptr) {
        throw Failure(noSuchMember, description.progId,
                      "Object doesn't support this property or method: " + description.name + "." + std::string(name));
    }
    return *member;
}

binary::DispId parameterId(const MemberDescription& member, std::string_view className, std::string_view name) {
    const auto found =
        std::ranges::find_if(member.params, [&](const auto& param) { return equalNoCase(param.name, name); });
    if (found == member.params.end()) {
        throw Failure(448, std::string(className),
                      "Named argument not found: " + std::string(name) + " of " + std::string(className) + "." +
                          member.name);
    }
    return static_cast<binary::DispId>(found - member.params.begin());
}

/// Last argument first, behind the named ones.
std::size_t placeOf(std::size_t position, std::size_t count, std::size_t named) noexcept {
    return named + count - 1 - position;
}

} // namespace

const MemberDescription* ClassDescription::find(std::string_view memberName, MemberKind kind) const noexcept {
    const auto found = std::ranges::find_if(
        members, [&](const auto& member) { return member.kind == kind && equalNoCase(member.name, memberName); });
    return found == members.end() ? nullptr : &*found;
}

const MemberDescription* ClassDescription::find(std::string_view memberName) const noexcept {
    const auto found =
        std::ranges::find_if(members, [&](const auto& member) { return equalNoCase(member.name, memberName); });
    return found == members.end() ? nullptr : &*found;
}

LateEnumerator::~LateEnumerator() {
    if (enumerator_ != nullptr) enumerator_->Release();
}

bool LateEnumerator::next(Variant& member) {
    VariantList next(1);
    std::uint32_t fetched = 0;
    requireSuccess(enumerator_->Next(1, &next[0], &fetched), "the enumerator");
    if (fetched == 0) return false;
    member = takeVariant(next[0]);
    return true;
}

LateObject::LateObject(const LateObject& other) noexcept : dispatch_(other.dispatch_) {
    if (dispatch_ != nullptr) dispatch_->AddRef();
}

LateObject::~LateObject() {
    if (dispatch_ != nullptr) dispatch_->Release();
}

const ClassDescription& LateObject::description() const {
    return describe(checked(dispatch_));
}

bool LateObject::has(std::string_view name) const {
    return description().find(name) != nullptr;
}

Variant LateObject::get(std::string_view name) const {
    return get(name, {});
}

Variant LateObject::get(std::string_view name, const Arguments& arguments) const {
    const auto& member = findMember(description(), name);
    VariantList list(arguments.size());
    for (std::size_t i = 0; i < arguments.size(); ++i)
        toBinary(arguments[i], list[placeOf(i, arguments.size(), 0)], *dispatch_);
    return invoke(*dispatch_, member.dispId, readFlags, list);
}

void LateObject::let(std::string_view name, const Variant& value) const {
    const auto& members = description();
    const auto& member = findMember(members, name);
    const bool takesReference =
        members.find(name, MemberKind::let) == nullptr && members.find(name, MemberKind::set) != nullptr;
    VariantList list(1);
    toBinary(value, list[0], *dispatch_);
    binary::DispId assigned = binary::dispIds::propertyPut;
    invoke(*dispatch_, member.dispId, takesReference ? putReferenceFlag : putFlag, list, {&assigned, 1});
}

Variant LateObject::call(std::string_view name) const {
    return call(name, {}, {});
}

Variant LateObject::call(std::string_view name, const Arguments& arguments) const {
    return call(name, arguments, {});
}

Variant LateObject::call(std::string_view name, const Arguments& arguments, const NamedArguments& named) const {
    const auto& members = description();
    const auto& member = findMember(members, name);
    VariantList list(arguments.size() + named.size());
    std::vector<binary::DispId> ids;
    ids.reserve(named.size());
    for (const auto& [parameter, value] : named) {
        toBinary(value, list[ids.size()], *dispatch_);
        ids.push_back(parameterId(member, members.name, parameter));
    }
    for (std::size_t i = 0; i < arguments.size(); ++i)
        toBinary(arguments[i], list[placeOf(i, arguments.size(), named.size())], *dispatch_);
    return invoke(*dispatch_, member.dispId, callFlags, list, ids);
}

Variant LateObject::callByRef(std::string_view name, Arguments& arguments) const {
    const auto& member = findMember(description(), name);
    VariantList own(arguments.size());
    VariantList list(arguments.size());
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        toBinary(arguments[i], own[i], *dispatch_);
        auto& reference = list[placeOf(i, arguments.size(), 0)];
        reference.vt = vt::byRef | vt::variant;
        reference.byRef = &own[i];
    }
    Variant result = invoke(*dispatch_, member.dispId, callFlags, list);
    for (std::size_t i = 0; i < arguments.size(); ++i)
        arguments[i] = takeVariant(own[i]);
    return result;
}

LateEnumerator LateObject::enumerator() const {
    const auto& members = description();
    if (std::ranges::none_of(members.members, &MemberDescription::isEnumerator)) {
        throw Failure(noSuchMember, members.progId, members.name + " cannot be enumerated");
    }
    VariantList result(1);
    binary::ExcepInfo exception{};
    binary::DispParams params{};
    const HResult outcome = dispatch_->Invoke(binary::dispIds::newEnum, binary::ids::none, 0, callFlags, &params,
                                              &result[0], &exception, nullptr);
    if (outcome == results::exception) throwException(exception);
    requireSuccess(outcome, "the enumerator of " + members.name);
    auto enumerator = binary::query<binary::IEnumVariant>(
        result[0].vt == vt::unknown || result[0].vt == vt::dispatch ? result[0].unknown : nullptr,
        binary::ids::enumVariant);
    if (!enumerator) throw Failure(noSuchMember, members.progId, members.name + " gave no enumerator");
    return LateEnumerator(enumerator.detach());
}

std::vector<Variant> LateObject::enumerate() const {
    std::vector<Variant> all;
    auto members = enumerator();
    for (Variant member; members.next(member);)
        all.push_back(std::move(member));
    return all;
}

} // namespace corveth::client
