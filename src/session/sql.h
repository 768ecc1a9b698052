#pragma once

#include "platform/automation/convert.h"

#include <concepts>
#include <type_traits>

namespace corveth {

/// The text of one statement, put together from literals and values:
///     Sql{"Select * From Notes Where NoteId=\"", id, "\""}
/// The text is exactly the concatenation. A value that holds the quote it stands in (or a NUL), and a text outside
/// quotes that is more than a plain word, make a statement that is refused when it would run.
class CORVETH_API Sql {
public:
    Sql() = default;
    template <class... Pieces>
    requires(sizeof...(Pieces) > 0) explicit Sql(const Pieces&... pieces) {
        text_.reserve((lengthOf(pieces) + ...));
        (add(pieces), ...);
    }
    /// A condition or query that the client wrote itself; taken as it is.
    static Sql verbatim(Text text);

    [[nodiscard]] const Text& text() const noexcept { return text_; }
    /// Why it must not run; empty when it may.
    [[nodiscard]] const Text& refusal() const noexcept { return refusal_; }

private:
    template <std::size_t size>
    void add(const char (&literal)[size]) {
        addLiteral(TextView(literal, size - 1));
    }
    void add(const Text& value) { addValue(value); }
    void add(std::integral auto value) { addLiteral(std::to_string(value)); }
    void add(std::floating_point auto value) { addLiteral(plainDecimal(value)); }
    void add(const Sql& part);

    template <std::size_t size>
    static std::size_t lengthOf(const char (&)[size]) {
        return size;
    }
    static std::size_t lengthOf(const Text& value) { return value.size(); }
    static std::size_t lengthOf(const Sql& part) { return part.text_.size(); }
    template <class Number>
    requires std::is_arithmetic_v<Number>
    static std::size_t lengthOf(Number /*number*/) {
        return 20; // hardly more
    }

    void addLiteral(TextView literal);
    void addValue(TextView value);

    Text text_;
    Text refusal_;
    char quote_ = 0; ///< the quote that is open at the end of the text
};

} // namespace corveth
