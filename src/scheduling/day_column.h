#pragma once

#include "session/columns.h"

namespace corveth {

namespace detail {

/// The date text of a day number.
template <class C, auto... path>
void loadDay(C& object, Value& cell) {
    auto& property = Path<path...>::in(object);
    if (cell.is(ValueType::empty)) {
        property.clear();
    } else {
        property = toText(toDate(cell));
    }
}
template <class C, auto... path>
Value storeDay(const C& object) {
    const Text& text = Path<path...>::in(object);
    return text.empty() ? Value(Null{}) : Value(parseDate(text).day);
}

} // namespace detail

/// A column of day numbers whose property is date text: Null reads as empty, empty is written as Null.
template <auto... path>
constexpr auto dayColumn(const char* name) {
    using C = typename detail::OwnerOf<path...>::Type;
    return Column<C>{name, &detail::loadDay<C, path...>, &detail::storeDay<C, path...>, OnNull::empties};
}

} // namespace corveth
