#include "platform/automation/dispatch.h"

#include "platform/automation/convert.h"
#include "platform/automation/describe.h"
#include "platform/fixed_list.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace corveth {

namespace {

constexpr std::size_t kindIndex(MemberKind kind) noexcept {
    return static_cast<std::size_t>(kind);
}

/// The slot that a client's request means: a call may read a property, an assignment of either kind may serve the
/// other.
const SlotInfo* chooseSlot(const DispatchIndex& index, DispId id, unsigned flags) noexcept {
    struct Choice {
        unsigned flag;
        MemberKind first, second;
    };
    static constexpr Choice choices[] = {
        {invokeFlags::method, MemberKind::method, MemberKind::method},
        {invokeFlags::propertyGet, MemberKind::get, MemberKind::get},
        {invokeFlags::propertyPut, MemberKind::let, MemberKind::set},
        {invokeFlags::propertyPutRef, MemberKind::set, MemberKind::let},
    };
    for (const auto& choice : choices) {
        if ((flags & choice.flag) == 0) continue;
        if (const auto* slot = index.slot(id, choice.first)) return slot;
        if (const auto* slot = index.slot(id, choice.second)) return slot;
    }
    return nullptr;
}

[[noreturn]] void refuseKind(const ClassInfo& info, const MemberRow& row, unsigned flags) {
    const bool assigns = (flags & (invokeFlags::propertyPut | invokeFlags::propertyPutRef)) != 0;
    const char* why = " cannot be read";
    if (assigns) {
        why = " cannot be assigned";
    } else if ((flags & invokeFlags::method) != 0) {
        why = " cannot be called";
    }
    raise(errors::noSuchMember, memberPath(info, row.name) + why);
}

Text countText(std::size_t given, const MemberRow& row, TextView path) {
    return Text(path) + " takes " + std::to_string(row.paramCount) +
           (row.paramCount == 1 ? " argument, " : " arguments, ") + std::to_string(given) +
           (given == 1 ? " was given" : " were given");
}

/// Arguments in the order of the parameters, the assigned value last.
class Frame {
public:
    Frame(const ClassInfo& info, const MemberRow& row, std::span<Value> positional, std::span<NamedArgument> named,
          Value* assigned)
        : row_(row), positional_(positional), named_(named) {
        if (positional.size() > row.paramCount) {
            raise(errors::argumentCount, countText(positional.size(), row, memberPath(info, row.name)));
        }
        for (auto& value : positional)
            values_.emplace_back(std::move(value));
        while (values_.size() < row.paramCount)
            values_.emplace_back(Missing{});
        for (auto& argument : named) {
            const auto position = static_cast<std::size_t>(argument.position);
            if (argument.position < 0 || position >= row.paramCount) {
                raise(errors::namedArgument, memberPath(info, row.name));
            }
            if (position < positional.size() || !values_[position].isMissing()) {
                raise(errors::namedArgument,
                      Text(row.params[position].name) + " of " + memberPath(info, row.name) + " is given twice");
            }
            values_[position] = std::move(argument.value);
        }
        for (std::size_t i = 0; i < row.paramCount; ++i) {
            if (values_[i].isMissing() && !row.params[i].optional) {
                raise(errors::argumentRequired, Text(row.params[i].name) + " of " + memberPath(info, row.name));
            }
        }
        if (assigned != nullptr) values_.emplace_back(std::move(*assigned));
    }

    Value* values() noexcept { return values_.data(); }

    /// Only what the callee may have replaced goes back; the rest may have been moved from.
    void writeBack() {
        for (std::size_t i = 0; i < positional_.size(); ++i) {
            if (row_.params[i].writesBack) positional_[i] = std::move(values_[i]);
        }
        for (auto& argument : named_) {
            const auto position = static_cast<std::size_t>(argument.position);
            if (row_.params[position].writesBack) argument.value = std::move(values_[position]);
        }
    }

private:
    const MemberRow& row_;
    std::span<Value> positional_;
    std::span<NamedArgument> named_;
    FixedList<Value, maxParams + 1> values_;
};

Value callSlot(Object& self, const SlotInfo& slot, Value* values) {
    try {
        return slot.invoke(self, values);
    } catch (const ArgumentError& failed) {
        const auto& row = *slot.row;
        const auto path = memberPath(self.classInfo(), row.name);
        const Text where =
            failed.index < row.paramCount ? Text(row.params[failed.index].name) + " of " + path : Text(path);
        throw Error(failed.error.number, failed.error.source, failed.error.description + " (" + where + ")");
    }
}

/// A property without parameters that is read with arguments: they are for the default member of what it yields.
bool meantForDefaultMember(const SlotInfo& slot, std::span<const Value> positional) noexcept {
    return slot.kind == MemberKind::get && slot.row->paramCount == 0 && !positional.empty() &&
           (slot.row->type.kind == TypeKind::object || slot.row->type.kind == TypeKind::anyObject);
}

} // namespace

DispatchIndex::DispatchIndex(const ClassInfo& info) {
    std::size_t count = 0;
    for (const auto& row : info.members)
        count += row.slotCount;
    slots_.reserve(count); // the entries point into it

    for (const auto& row : info.members) {
        DispId id = dispIds::procedures + static_cast<DispId>(procedures_.size());
        if (row.isDefault) {
            id = dispIds::defaultMember;
        } else if (row.isEnumerator) {
            id = dispIds::enumerator;
        } else if (row.isField) {
            id = dispIds::fields + static_cast<DispId>(fields_.size());
        }
        Entry entry{.row = &row};
        for (std::size_t i = 0; i < row.slotCount; ++i) {
            slots_.push_back({static_cast<int>(slots_.size()) + 1, id, row.slots[i].kind, &row, row.slots[i].invoke});
            entry.byKind[kindIndex(row.slots[i].kind)] = &slots_.back();
        }
        if (row.isDefault) {
            default_ = entry;
        } else if (row.isEnumerator) {
            enumerator_ = entry;
        } else {
            (row.isField ? fields_ : procedures_).push_back(entry);
        }
        names_.push_back({row.name, id});
    }
    std::ranges::sort(names_, [](const Name& a, const Name& b) { return compareNoCase(a.name, b.name) < 0; });
}

const DispatchIndex::Entry* DispatchIndex::entry(DispId id) const noexcept {
    if (id >= dispIds::fields) {
        const auto position = static_cast<std::size_t>(id - dispIds::fields);
        return position < fields_.size() ? &fields_[position] : nullptr;
    }
    if (id >= dispIds::procedures) {
        const auto position = static_cast<std::size_t>(id - dispIds::procedures);
        return position < procedures_.size() ? &procedures_[position] : nullptr;
    }
    if (id == dispIds::defaultMember && default_.row != nullptr) return &default_;
    if (id == dispIds::enumerator && enumerator_.row != nullptr) return &enumerator_;
    return nullptr;
}

std::optional<DispId> DispatchIndex::idOf(TextView name) const noexcept {
    const auto found = std::ranges::lower_bound(
        names_, name, [](TextView a, TextView b) { return compareNoCase(a, b) < 0; }, &Name::name);
    if (found == names_.end() || !equalNoCase(found->name, name)) return std::nullopt;
    return found->id;
}

const MemberRow* DispatchIndex::member(DispId id) const noexcept {
    const auto* found = entry(id);
    return found == nullptr ? nullptr : found->row;
}

const SlotInfo* DispatchIndex::slot(DispId id, MemberKind kind) const noexcept {
    const auto* found = entry(id);
    return found == nullptr ? nullptr : found->byKind[kindIndex(kind)];
}

Value invoke(Object& self, DispId id, unsigned flags, std::span<Value> positional, std::span<NamedArgument> named,
             Value* assigned) {
    self.checkThread();
    const ClassInfo& info = self.classInfo();
    const DispatchIndex& index = info.index();
    const MemberRow* row = index.member(id);
    if (row == nullptr) raise(errors::noSuchMember, info.progId() + " has no member " + std::to_string(id));
    const SlotInfo* slot = chooseSlot(index, id, flags);
    if (slot == nullptr) refuseKind(info, *row, flags);
    if (!row->isAvailable) raise(errors::notAvailable, memberPath(info, row->name));

    const bool assigns = slot->kind == MemberKind::let || slot->kind == MemberKind::set;
    if (assigns != (assigned != nullptr)) raise(errors::argumentCount, memberPath(info, row->name));

    if (named.empty() && positional.empty() && row->paramCount == 0) return callSlot(self, *slot, assigned);
    if (meantForDefaultMember(*slot, positional)) {
        const Value object = callSlot(self, *slot, nullptr);
        const auto* held = object.getIf<Ref<Object>>();
        if (held == nullptr || !*held) raise(errors::objectNotSet, memberPath(info, row->name));
        return invoke(**held, dispIds::defaultMember, invokeFlags::method | invokeFlags::propertyGet, positional,
                      named);
    }
    Frame frame(info, *row, positional, named, assigned);
    Value result = callSlot(self, *slot, frame.values());
    frame.writeBack();
    return result;
}

DispId memberId(const ClassInfo& info, TextView name) {
    if (const auto id = info.index().idOf(name)) return *id;
    std::vector<TextView> names;
    names.reserve(info.members.size());
    for (const auto& row : info.members)
        names.emplace_back(row.name);
    Text detail = memberPath(info, name);
    if (const auto closest = closestName(name, names); !closest.empty()) {
        detail += " (did you mean " + Text(closest) + "?)";
    }
    raise(errors::noSuchMember, detail);
}

Value callMember(Object& self, TextView name, std::initializer_list<Value> arguments) {
    std::vector<Value> positional(arguments);
    return invoke(self, memberId(self.classInfo(), name), invokeFlags::method | invokeFlags::propertyGet, positional);
}

Value getMember(Object& self, TextView name, std::initializer_list<Value> arguments) {
    std::vector<Value> positional(arguments);
    return invoke(self, memberId(self.classInfo(), name), invokeFlags::propertyGet, positional);
}

void letMember(Object& self, TextView name, Value value) {
    invoke(self, memberId(self.classInfo(), name), invokeFlags::propertyPut, {}, {}, &value);
}

Text memberPath(const ClassInfo& info, TextView member) {
    return Text(info.name) + "." + Text(member);
}

TextView closestName(TextView name, std::span<const TextView> candidates) {
    const Text wanted = foldCase(name);
    TextView best;
    std::size_t bestDistance = wanted.size() / 2 + 1; // more than half of the name changed is no likeness
    std::vector<std::size_t> row;
    for (const auto candidate : candidates) {
        const Text other = foldCase(candidate);
        row.resize(other.size() + 1);
        std::iota(row.begin(), row.end(), std::size_t{0});
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            std::size_t diagonal = row[0];
            row[0] = i + 1;
            for (std::size_t j = 0; j < other.size(); ++j) {
                const std::size_t replaced = diagonal + (wanted[i] == other[j] ? 0 : 1);
                diagonal = row[j + 1];
                row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
            }
        }
        if (row.back() < bestDistance) {
            bestDistance = row.back();
            best = candidate;
        }
    }
    return best;
}

void refuseRecord(const RecordInfo& wanted) {
    raise(errors::typeMismatch, Text("a record ") + wanted.name + " is needed");
}

void requireClass(const Object& object, const ClassInfo& wanted) {
    const ClassInfo& given = object.classInfo();
    if (&given != &wanted) {
        raise(errors::typeMismatch, Text("a ") + wanted.name + " is needed, a " + given.name + " was given");
    }
}

} // namespace corveth
