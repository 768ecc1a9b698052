#pragma once

// The vocabulary of columns tables: which column feeds which property, in reading order. A record class loads and
// stores its row through its table; conversions follow from the property's type.

#include "platform/automation/describe.h"
#include "platform/data/recordset.h"
#include "session/failure.h"

namespace corveth {

/// What a Null in the column does to the property.
enum class OnNull : std::uint8_t {
    fails,              ///< 94
    empties,            ///< the property takes its type's empty value
    keeps,              ///< the property stays as it was
    ignored,            ///< the same, and so does any value that cannot be converted
    passes,             ///< the property takes the Null, as a variant can
    emptiesElseIgnored, ///< Null empties; a value that cannot be converted leaves the property as it was
};

/// One column of class `C`.
template <class C>
struct Column {
    const char* name;
    void (*load)(C&, Value&); ///< may move the value out; null when the column is only written
    Value (*store)(const C&); ///< null when the column is only read
    OnNull onNull;
};

namespace detail {

template <auto... path>
struct Path;

/// A member of the object itself.
template <auto member>
struct Path<member> {
    static auto& in(auto& object) { return object.*member; }
};
/// A member of an object that the object holds, by reference or as a plain part of it.
template <auto holder, auto member>
struct Path<holder, member> {
    static auto& in(auto& object) {
        auto& held = object.*holder;
        if constexpr (requires { *held; }) {
            return (*held).*member;
        } else {
            return (held.*member);
        }
    }
};

template <class C, auto... path>
void loadPath(C& object, Value& cell) {
    auto& property = Path<path...>::in(object);
    property = Automation<std::remove_reference_t<decltype(property)>>::in(cell);
}
template <class C, auto... path>
Value storePath(const C& object) {
    auto copy = Path<path...>::in(object);
    return Automation<decltype(copy)>::out(std::move(copy));
}
/// A date held as text: empty is Null, anything else the date it reads as.
template <class C, auto... path>
Value storeDateText(const C& object) {
    const Text& text = Path<path...>::in(object);
    return text.empty() ? Value(Null{}) : Value(parseDate(text));
}

template <auto first, auto... rest>
struct OwnerOf {
    using Type = typename MemberPointer<decltype(first)>::Class;
};

template <const auto& columns>
constexpr auto columnNames() {
    std::array<const char*, std::size(columns)> names{};
    for (std::size_t i = 0; i < names.size(); ++i)
        names[i] = columns[i].name;
    return names;
}
/// One array a table: its address is what a statement remembers the positions under.
template <const auto& columns>
inline constexpr auto namesOf = columnNames<columns>();

/// Whether a column that cannot be read is passed over.
constexpr bool isLenient(OnNull policy) noexcept {
    return policy == OnNull::ignored || policy == OnNull::emptiesElseIgnored;
}

/// For the log: a column was passed over for the error being handled.
template <class C>
void logIgnored(const Column<C>& column, const C& object) {
    if constexpr (requires { object.get_ID(); }) {
        logSwallowed(C::className, Text("reading ") + column.name, object.get_ID());
    } else {
        logSwallowed(C::className, Text("reading ") + column.name);
    }
}

template <class C>
void passOverMissing(const Column<C>& column, const C& object) {
    try {
        raise(errors::noSuchItem, column.name);
    } catch (const Error&) {
        if (!isLenient(column.onNull)) throw;
        logIgnored(column, object);
    }
}

template <class C>
void loadCell(const Column<C>& column, C& object, Value& cell) {
    if (cell.isNull() && column.onNull != OnNull::passes) {
        if (column.onNull == OnNull::fails) raise(errors::invalidNull, Text("column ") + column.name);
        if (column.onNull == OnNull::empties || column.onNull == OnNull::emptiesElseIgnored) {
            Value nothing;
            column.load(object, nothing);
        }
        return;
    }
    if (!isLenient(column.onNull)) {
        column.load(object, cell);
        return;
    }
    try {
        column.load(object, cell);
    } catch (const Error&) {
        logIgnored(column, object);
    }
}

} // namespace detail

/// `column<&C::property>`, `column<&C::address, &Address::City>` for a held object's property.
template <auto... path>
constexpr auto column(const char* name, OnNull onNull = OnNull::fails) {
    using C = typename detail::OwnerOf<path...>::Type;
    return Column<C>{name, &detail::loadPath<C, path...>, &detail::storePath<C, path...>, onNull};
}
/// The same for properties that `C` inherits from a shared base.
template <class C, auto... path>
constexpr auto columnOf(const char* name, OnNull onNull = OnNull::fails) {
    return Column<C>{name, &detail::loadPath<C, path...>, &detail::storePath<C, path...>, onNull};
}
/// A date column whose property is text: Null reads as empty, empty is written as Null.
template <auto... path>
constexpr auto dateColumn(const char* name, OnNull onNull = OnNull::empties) {
    using C = typename detail::OwnerOf<path...>::Type;
    return Column<C>{name, &detail::loadPath<C, path...>, &detail::storeDateText<C, path...>, onNull};
}
/// What is read goes to a function of the class, which may move the value out.
template <auto reader>
constexpr auto readBy(const char* name, OnNull onNull = OnNull::fails) {
    using C = typename detail::Signature<decltype(reader)>::Class;
    return Column<C>{name, [](C& object, Value& cell) { (object.*reader)(cell); }, nullptr, onNull};
}
/// What is written comes from a function of the class.
template <auto getter>
constexpr auto computed(const char* name) {
    using C = typename detail::Signature<decltype(getter)>::Class;
    return Column<C>{name, nullptr, [](const C& object) -> Value { return (object.*getter)(); }, OnNull::keeps};
}
template <class C>
constexpr Column<C> readOnly(Column<C> column) {
    column.store = nullptr;
    return column;
}

/// The current row into the properties, column by column. Texts are moved out of the row: it is read once.
template <const auto& columns, class C>
void loadRow(Recordset& rows, C& object) {
    const auto& names = detail::namesOf<columns>;
    const auto positions = rows.positions(static_cast<const void*>(names.data()), names);
    const auto cells = rows.cells();
    for (std::size_t i = 0; i < names.size(); ++i) {
        const auto& column = columns[i];
        if (column.load == nullptr) continue;
        if (positions[i] < 0) {
            detail::passOverMissing(column, object);
            continue;
        }
        detail::loadCell(column, object, cells[static_cast<std::size_t>(positions[i])]);
    }
}

/// Some columns of a recordset's rows as texts, Null read as empty; for collections that read their rows themselves.
template <std::size_t count>
class TextColumns {
public:
    TextColumns(const Recordset& rows, const std::array<const char*, count>& names) {
        for (std::size_t i = 0; i < count; ++i) {
            const auto position = rows.columnPosition(names[i]);
            if (!position) raise(errors::noSuchItem, names[i]);
            positions_[i] = *position;
        }
    }

    /// Of the current row, in the order of the names; moved out of it.
    [[nodiscard]] std::array<Text, count> take(Recordset& rows) const {
        const auto cells = rows.cells();
        std::array<Text, count> texts;
        for (std::size_t i = 0; i < count; ++i) {
            Value& cell = cells[positions_[i]];
            if (!cell.isNull()) texts[i] = Automation<Text>::in(cell);
        }
        return texts;
    }

private:
    std::array<std::size_t, count> positions_{};
};

/// The properties into the current row, or the one being added; nothing is written before `Update`.
template <const auto& columns, class C>
void storeRow(const C& object, Recordset& rows) {
    const auto& names = detail::namesOf<columns>;
    const auto positions = rows.positions(static_cast<const void*>(names.data()), names);
    for (std::size_t i = 0; i < names.size(); ++i) {
        const auto& column = columns[i];
        if (column.store == nullptr) continue;
        if (positions[i] < 0) raise(errors::noSuchItem, column.name);
        rows.set(static_cast<std::size_t>(positions[i]), column.store(object));
    }
}

/// The same, but a column that does not take its value is passed over and logged, with the record's `id`.
template <const auto& columns, class C>
void storeRowLeniently(const C& object, Recordset& rows, TextView id) {
    for (const auto& column : columns) {
        if (column.store == nullptr) continue;
        passOver(C::className, Text("writing ") + column.name, id,
                 [&] { rows.set(TextView(column.name), column.store(object)); });
    }
}

} // namespace corveth
