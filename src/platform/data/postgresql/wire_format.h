#pragma once

#include "platform/data/postgresql/server_link.h"
#include "platform/data/provider.h"

#include <array>
#include <deque>

namespace corveth::data::postgresql {

/// Types by the way in which their values travel.
enum class WireType : unsigned char {
    text, ///< and everything that travels like it
    int2,
    int4,
    int8,
    float4,
    float8,
    numeric,
    boolean,
    bytes,
    date,
    timestamp,
    other, ///< as the server writes it
};

/// Of the server's own types; nothing for those that a database has made.
[[nodiscard]] std::optional<WireType> builtInType(Oid type) noexcept;
/// What a column of the type holds, where it is declared by nothing else.
[[nodiscard]] ColumnKind kindOf(WireType type) noexcept;

/// The types that parameters are declared with.
inline constexpr Oid inferred = 0, bytesType = 17, int8Type = 20, int4Type = 23, textType = 25, float8Type = 701;

/// A statement's parameters on their way to the server.
class Encoder {
public:
    /// 3464 for a text that is not of its type. False when a number does not fit a parameter of `types[position]`,
    /// which is compared with it: `position` says which.
    [[nodiscard]] bool encode(std::span<const Parameter> parameters, std::span<const WireType> types,
                              std::size_t& position);
    /// Good until the next `encode`, and while the parameters stay.
    [[nodiscard]] const Arguments& arguments() const noexcept { return arguments_; }

private:
    bool encode(const Parameter& parameter, WireType type);
    bool encodeWhole(std::int64_t number, WireType type);
    bool encodeReal(double number, WireType type);
    bool encodeText(TextView text, WireType type);
    template <class Bits>
    void addFixed(Bits bits);
    void addBinary(const void* data, std::size_t size);
    void addText(Text text);

    Arguments arguments_;
    std::deque<std::array<char, 8>> fixed_;
    std::deque<Text> texts_;
};

/// The cell of a result that came in binary form; `kind` is its column's.
[[nodiscard]] Value decodeBinary(TextView bytes, WireType type, ColumnKind kind);
/// The same for one that came as text.
[[nodiscard]] Value decodeText(TextView text, WireType type, ColumnKind kind);

} // namespace corveth::data::postgresql
