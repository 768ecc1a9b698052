#pragma once

// The vocabulary of members tables. A row names its member and what is optional; kinds, types, arity and
// by-reference follow from the C++ signature: a parameter taken by value is by value in the type library, one
// taken by reference (`const T&`: read only, `T&`: written back) is by reference.

#include "platform/automation/class_info.h"
#include "platform/automation/convert.h"
#include "platform/automation/dispatch.h"

#include <optional>
#include <tuple>
#include <type_traits>

namespace corveth {

/// Specialised beside each enumeration of the type library.
template <class E>
inline constexpr std::nullptr_t enumInfo = nullptr;

template <class E>
constexpr EnumInfo::Member enumMember(const char* name, E value) {
    return {name, static_cast<std::int32_t>(value)};
}

/// Specialised beside each record of the type library: `info`, `in(const Record&)`, `out(const R&)`.
template <class R>
struct RecordTraits;

template <class R>
concept AutomationRecord = requires {
    RecordTraits<R>::info;
};

/// A conversion failed before the member ran; the dispatcher says which argument it was.
struct ArgumentError {
    std::size_t index;
    Error error;
};

/// How a C++ type crosses: its type name, and the way in (may move out of the argument) and out.
template <class T>
struct Automation;

template <class T, TypeKind kind, T (*convert)(const Value&)>
struct PlainAutomation {
    static constexpr TypeRef type{kind};
    static T in(Value& value) { return convert(value); }
    static Value out(T value) { return Value(std::move(value)); }
};
template <>
struct Automation<bool> : PlainAutomation<bool, TypeKind::boolean, toBoolean> {};
template <>
struct Automation<std::uint8_t> : PlainAutomation<std::uint8_t, TypeKind::byte, toByte> {};
template <>
struct Automation<std::int16_t> : PlainAutomation<std::int16_t, TypeKind::integer, toInteger> {};
template <>
struct Automation<std::int32_t> : PlainAutomation<std::int32_t, TypeKind::longInteger, toLong> {};
template <>
struct Automation<float> : PlainAutomation<float, TypeKind::single, toSingle> {};
template <>
struct Automation<double> : PlainAutomation<double, TypeKind::doubleFloat, toDouble> {};
template <>
struct Automation<Currency> : PlainAutomation<Currency, TypeKind::currency, toCurrency> {};
template <>
struct Automation<Date> : PlainAutomation<Date, TypeKind::date, toDate> {};

template <>
struct Automation<Text> {
    static constexpr TypeRef type{TypeKind::text};
    static Text in(Value& value) {
        if (auto* text = value.getIf<Text>()) return std::move(*text);
        return toText(value);
    }
    static Value out(Text value) { return Value(std::move(value)); }
};

template <>
struct Automation<Value> {
    static constexpr TypeRef type{TypeKind::variant};
    static Value in(Value& value) { return std::move(value); }
    static Value out(Value value) { return value; }
};

template <class E>
requires std::is_enum_v<E>
struct Automation<E> {
    static_assert(!std::is_same_v<decltype(enumInfo<E>), const std::nullptr_t>,
                  "the enumeration has no entry for the type library");
    static constexpr TypeRef type{TypeKind::enumeration, enumInfo<E>->name, enumInfo<E>};
    static E in(Value& value) { return static_cast<E>(toLong(value)); }
    static Value out(E value) { return Value(static_cast<std::int32_t>(value)); }
};

/// Throws 13 that names the record wanted.
[[noreturn]] CORVETH_API void refuseRecord(const RecordInfo& wanted);

template <AutomationRecord R>
struct Automation<R> {
    static constexpr TypeRef type{TypeKind::record, RecordTraits<R>::info->name, nullptr, RecordTraits<R>::info};
    static R in(Value& value) {
        const auto* record = value.getIf<Record>();
        if (record == nullptr || record->info != RecordTraits<R>::info) {
            refuseRecord(*RecordTraits<R>::info);
        }
        return RecordTraits<R>::in(*record);
    }
    static Value out(const R& value) { return Value(RecordTraits<R>::out(value)); }
};

/// Throws 13 that names the class wanted unless `object` is of it.
CORVETH_API void requireClass(const Object& object, const ClassInfo& wanted);

template <class T>
struct Automation<Ref<T>> {
    static constexpr TypeRef typeOf() {
        if constexpr (std::is_same_v<T, Object>) {
            return {TypeKind::anyObject};
        } else if constexpr (requires { T::typeKind; }) {
            return {T::typeKind, T::className};
        } else {
            return {TypeKind::object, T::className};
        }
    }
    static constexpr TypeRef type = typeOf();

    static Ref<T> in(Value& value) {
        if (value.is(ValueType::empty) || value.isMissing()) return {};
        auto* held = value.getIf<Ref<Object>>();
        if (held == nullptr) raise(errors::typeMismatch, "an object is needed");
        if (!*held) return {};
        if constexpr (std::is_same_v<T, Object>) {
            return std::move(*held);
        } else {
            requireClass(**held, T::description);
            return Ref<T>(static_cast<T*>(held->get()));
        }
    }
    static Value out(const Ref<T>& value) { return Value(Ref<Object>(value)); }
};

/// A parameter's name in a members table; `optional(...)` when it may be left out and then reads as its type's empty
/// value.
struct Param {
    const char* name;
    bool optional = false;

    constexpr Param(const char* paramName)
        : name(paramName) {} // NOLINT(google-explicit-constructor): a plain string is a required parameter
    constexpr Param(const char* paramName, bool isOptional) : name(paramName), optional(isOptional) {}
};
constexpr Param optional(const char* name) {
    return {name, true};
}

namespace detail {

template <class... P>
struct ParamList {
    static constexpr std::size_t count = sizeof...(P);
};

template <class>
struct Signature;
template <class C, class R, class... P>
struct Signature<R (C::*)(P...)> {
    using Class = C;
    using Result = R;
    using Params = ParamList<P...>;
};
template <class C, class R, class... P>
struct Signature<R (C::*)(P...) const> : Signature<R (C::*)(P...)> {};
template <class C, class R, class... P>
struct Signature<R (C::*)(P...) noexcept> : Signature<R (C::*)(P...)> {};
template <class C, class R, class... P>
struct Signature<R (C::*)(P...) const noexcept> : Signature<R (C::*)(P...)> {};

template <class>
struct MemberPointer;
template <class C, class T>
struct MemberPointer<T C::*> {
    using Class = C;
    using Type = T;
};

template <class P>
class Argument {
    using Plain = std::remove_cvref_t<P>;
    static constexpr bool isOut = std::is_lvalue_reference_v<P> && !std::is_const_v<std::remove_reference_t<P>>;

public:
    Argument(Value& source, std::size_t index) : source_(source), value_(convert(source, index)) {}
    P pass() {
        if constexpr (std::is_reference_v<P>) {
            return value_;
        } else {
            return std::move(value_);
        }
    }
    void writeBack() {
        if constexpr (isOut) source_ = Automation<Plain>::out(std::move(value_));
    }

    static constexpr ParamInfo info(const Param& param) {
        return {param.name, Automation<Plain>::type, std::is_lvalue_reference_v<P>, param.optional, isOut};
    }

private:
    static Plain convert(Value& source, std::size_t index) {
        try {
            return Automation<Plain>::in(source);
        } catch (const Error& error) {
            throw ArgumentError{index, error};
        }
    }

    Value& source_;
    Plain value_;
};

template <class C, auto method, class R, class... P>
Value invokeWith(Object& self, Value* arguments, ParamList<P...> /*unused*/) {
    return [&]<std::size_t... I>(std::index_sequence<I...>)->Value {
        // Braces: the arguments are converted from left to right.
        std::tuple<Argument<P>...> converted{Argument<P>(arguments[I], I)...};
        auto& object = static_cast<C&>(self);
        if constexpr (std::is_void_v<R>) {
            (object.*method)(std::get<I>(converted).pass()...);
            (std::get<I>(converted).writeBack(), ...);
            return {};
        } else {
            Value result = Automation<std::remove_cvref_t<R>>::out((object.*method)(std::get<I>(converted).pass()...));
            (std::get<I>(converted).writeBack(), ...);
            return result;
        }
    }
    (std::index_sequence_for<P...>{});
}

template <class C, auto method>
Value invokeMethod(Object& self, Value* arguments) {
    using S = Signature<decltype(method)>;
    return invokeWith<C, method, typename S::Result>(self, arguments, typename S::Params{});
}

template <class C, auto member>
Value readField(Object& self, Value* /*arguments*/) {
    using Type = typename MemberPointer<decltype(member)>::Type;
    return Automation<Type>::out(static_cast<C&>(self).*member);
}

template <class C, auto member>
Value writeField(Object& self, Value* arguments) {
    using Type = typename MemberPointer<decltype(member)>::Type;
    Argument<Type> value(arguments[0], 0);
    static_cast<C&>(self).*member = value.pass();
    return {};
}

template <class... P, std::size_t... I>
constexpr void addParams(MemberRow& row, ParamList<P...> /*unused*/, const Param* names, std::index_sequence<I...>) {
    ((row.params[I] = Argument<P>::info(names[I])), ...);
    row.paramCount = static_cast<std::uint8_t>(sizeof...(P));
}

template <class T>
constexpr bool isReference =
    TypeKind::object == Automation<T>::type.kind || TypeKind::picture == Automation<T>::type.kind ||
    TypeKind::connection == Automation<T>::type.kind || TypeKind::anyObject == Automation<T>::type.kind;

constexpr void addSlot(MemberRow& row, MemberKind kind, Invoker invoke) {
    row.slots[row.slotCount++] = {kind, invoke};
}

template <auto getter, class C>
constexpr void addGet(MemberRow& row) {
    using S = Signature<decltype(getter)>;
    addSlot(row, MemberKind::get, &invokeMethod<C, getter>);
    row.type = Automation<std::remove_cvref_t<typename S::Result>>::type;
}

template <class>
struct LastParam;
template <class P>
struct LastParam<ParamList<P>> {
    using Type = std::remove_cvref_t<P>;
};

template <auto setter, class C>
constexpr void addLet(MemberRow& row) {
    using Assigned = typename LastParam<typename Signature<decltype(setter)>::Params>::Type;
    addSlot(row, isReference<Assigned> ? MemberKind::set : MemberKind::let, &invokeMethod<C, setter>);
    row.type = Automation<Assigned>::type;
}

template <auto member>
using ClassOf = typename Signature<decltype(member)>::Class;

} // namespace detail

/// A public field of class `C` (which may inherit it): get, then let (set for an object).
template <class C, auto member>
constexpr MemberRow field(const char* name) {
    using Type = typename detail::MemberPointer<decltype(member)>::Type;
    MemberRow row{.name = name, .type = Automation<Type>::type, .isField = true};
    detail::addSlot(row, MemberKind::get, &detail::readField<C, member>);
    detail::addSlot(row, detail::isReference<Type> ? MemberKind::set : MemberKind::let, &detail::writeField<C, member>);
    return row;
}
template <auto member>
constexpr MemberRow field(const char* name) {
    return field<typename detail::MemberPointer<decltype(member)>::Class, member>(name);
}

/// The same with the let before the get.
template <auto member>
constexpr MemberRow fieldLetFirst(const char* name) {
    MemberRow row = field<member>(name);
    std::swap(row.slots[0], row.slots[1]);
    return row;
}

/// A read-only property, with or without parameters.
template <auto getter, class C = detail::ClassOf<getter>, class... Names>
constexpr MemberRow get(const char* name, Names... params) {
    using Params = typename detail::Signature<decltype(getter)>::Params;
    static_assert(sizeof...(Names) == Params::count, "a name for each parameter");
    MemberRow row{.name = name};
    detail::addGet<getter, C>(row);
    if constexpr (sizeof...(Names) > 0) {
        const Param names[] = {params...};
        detail::addParams(row, Params{}, names, std::make_index_sequence<Params::count>{});
    }
    return row;
}

/// A write-only property.
template <auto setter, class C = detail::ClassOf<setter>>
constexpr MemberRow let(const char* name) {
    MemberRow row{.name = name};
    detail::addLet<setter, C>(row);
    return row;
}

/// A property with behaviour; the name tells the order of its slots.
template <auto getter, auto setter, class C = detail::ClassOf<getter>>
constexpr MemberRow getLet(const char* name) {
    MemberRow row{.name = name};
    detail::addGet<getter, C>(row);
    detail::addLet<setter, C>(row);
    return row;
}
template <auto setter, auto getter, class C = detail::ClassOf<getter>>
constexpr MemberRow letGet(const char* name) {
    MemberRow row{.name = name};
    detail::addLet<setter, C>(row);
    detail::addGet<getter, C>(row);
    return row;
}

template <auto method_, class C = detail::ClassOf<method_>, class... Names>
constexpr MemberRow method(const char* name, Names... params) {
    using S = detail::Signature<decltype(method_)>;
    using Params = typename S::Params;
    static_assert(sizeof...(Names) == Params::count, "a name for each parameter");
    MemberRow row{.name = name};
    detail::addSlot(row, MemberKind::method, &detail::invokeMethod<C, method_>);
    if constexpr (!std::is_void_v<typename S::Result>) {
        row.type = Automation<std::remove_cvref_t<typename S::Result>>::type;
    }
    if constexpr (sizeof...(Names) > 0) {
        const Param names[] = {params...};
        detail::addParams(row, Params{}, names, std::make_index_sequence<Params::count>{});
    }
    return row;
}

/// A property that hands out an object of a class that this build does not have: listed, raises 445.
constexpr MemberRow unavailable(const char* name, const char* className) {
    MemberRow row{.name = name, .type = {TypeKind::object, className}, .isAvailable = false};
    detail::addSlot(row, MemberKind::get, nullptr);
    return row;
}

/// A field of a record type.
template <auto member>
constexpr RecordInfo::Field recordField(const char* name) {
    return {name, Automation<typename detail::MemberPointer<decltype(member)>::Type>::type};
}

/// `RecordTraits` of a plain structure whose members stand in the order of `layout`.
template <const RecordInfo& layout, auto first, auto... rest>
struct RecordMembers {
    using R = typename detail::MemberPointer<decltype(first)>::Class;
    static constexpr const RecordInfo* info = &layout;

    static R in(const Record& record) {
        R result;
        std::size_t i = 0;
        read<first>(result, record.fields.at(i++));
        (read<rest>(result, record.fields.at(i++)), ...);
        return result;
    }
    static Record out(const R& value) { return {info, {write<first>(value), write<rest>(value)...}}; }

private:
    template <auto member>
    static void read(R& result, Value field) {
        result.*member = Automation<typename detail::MemberPointer<decltype(member)>::Type>::in(field);
    }
    template <auto member>
    static Value write(const R& value) {
        return Automation<typename detail::MemberPointer<decltype(member)>::Type>::out(value.*member);
    }
};

// What a row is besides its signature.

constexpr MemberRow defaultMember(MemberRow row) {
    row.isDefault = true;
    return row;
}
constexpr MemberRow enumeratorMember(MemberRow row) {
    row.isEnumerator = true;
    return row;
}
constexpr MemberRow withRole(Role role, MemberRow row, const char* argument = nullptr) {
    row.role = row.role | role;
    if (argument != nullptr) row.roleArgument = argument;
    return row;
}
/// `column`: where a generic client looks whether a row exists, as `Notes.NoteId`, several separated by commas;
/// `Participants.ContactId+LinkId` for a key of two parts, the second column called as the property for it.
constexpr MemberRow key(MemberRow row, const char* column = nullptr) {
    return withRole(Role::key, row, column);
}
constexpr MemberRow loads(MemberRow row) {
    return withRole(Role::loads, row);
}
/// `argument`: what a generic client passes when the member takes one: text, or `=NAME` for what that property holds.
constexpr MemberRow saves(MemberRow row, const char* argument = nullptr) {
    return withRole(Role::saves, row, argument);
}
constexpr MemberRow preset(MemberRow row) {
    return withRole(Role::preset, row);
}
constexpr MemberRow removes(MemberRow row) {
    return withRole(Role::removes, row);
}

/// Base of a class that is described by `T::description` and named by `T::className`.
template <class T>
class Described : public Object {
public:
    [[nodiscard]] const ClassInfo& classInfo() const noexcept final { return T::description; }
};

namespace detail {
template <class T, class Table>
const DispatchIndex& indexOf() {
    static const DispatchIndex index(T::description);
    return index;
}
} // namespace detail

/// The description of `T` from its table's `members`; `creatable` by clients, or handed out only.
template <class T, class Table>
constexpr ClassInfo describe(const char* library = defaultSource, bool creatable = true) {
    Ref<Object> (*create)() = nullptr;
    if constexpr (std::is_default_constructible_v<T>) {
        if (creatable) create = []() -> Ref<Object> { return make<T>(); };
    }
    return {library, T::className, create, std::span<const MemberRow>(Table::members), &detail::indexOf<T, Table>};
}

} // namespace corveth
