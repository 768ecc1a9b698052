#pragma once

// A late-bound client of the server library: loads it, makes objects by programmatic identifier and drives them by
// name. It knows no class; what it can tell of one comes from the object's own type description.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace corveth::binary {
struct IDispatch;
struct IEnumVariant;
struct SafeArray;
} // namespace corveth::binary

namespace corveth::client {

/// What the server raised, or why it could not be reached.
struct Failure : std::runtime_error {
    Failure(std::uint32_t failureNumber, std::string failureSource, const std::string& description)
        : std::runtime_error(description), number(failureNumber), source(std::move(failureSource)) {}

    [[nodiscard]] std::string description() const { return what(); }

    std::uint32_t number; ///< small for run-time and data-access errors, else the whole code
    std::string source;
};

struct NullTag {
    friend bool operator==(NullTag, NullTag) = default;
};
/// Stands where an optional argument is left out.
struct MissingTag {
    friend bool operator==(MissingTag, MissingTag) = default;
};
/// Currency: ten-thousandths.
struct Money {
    std::int64_t scaled = 0;
    friend bool operator==(Money, Money) = default;
};
/// Days since 1899-12-30, the fraction is the time of day.
struct DateNumber {
    double day = 0;
    friend bool operator==(DateNumber, DateNumber) = default;
};

/// Bytes as the server hands them over, which are not copied for it: copies of the object share them.
class ByteArray {
public:
    ByteArray() noexcept = default;
    explicit ByteArray(std::span<const std::byte> bytes);
    explicit ByteArray(std::string_view bytes) : ByteArray(std::as_bytes(std::span(bytes))) {}
    /// Takes the array over; 13 when it is not one of bytes.
    static ByteArray take(binary::SafeArray* array);

    [[nodiscard]] std::span<const std::byte> bytes() const noexcept;
    [[nodiscard]] std::string_view text() const noexcept;
    friend bool operator==(const ByteArray& a, const ByteArray& b) noexcept { return a.text() == b.text(); }

private:
    std::shared_ptr<binary::SafeArray> array_;
};

class LateObject;
struct RecordField;

/// Its fields hold values, so what needs their layout is defined apart.
struct RecordValue {
    RecordValue();
    RecordValue(std::string recordName, std::vector<RecordField> recordFields);
    RecordValue(const RecordValue&);
    RecordValue(RecordValue&&) noexcept;
    RecordValue& operator=(const RecordValue&);
    RecordValue& operator=(RecordValue&&) noexcept;
    ~RecordValue();

    std::string name;
    std::vector<RecordField> fields;
};

/// A value of automation. Empty is `monostate`, Nothing an empty `LateObject`.
using Variant = std::variant<std::monostate, NullTag, bool, std::uint8_t, std::int16_t, std::int32_t, float, double,
                             Money, DateNumber, std::string, LateObject, ByteArray, RecordValue, MissingTag>;
using Arguments = std::vector<Variant>;
using NamedArguments = std::vector<std::pair<std::string, Variant>>;

struct EnumDescription {
    std::string name;
    std::vector<std::pair<std::string, std::int32_t>> members;
};

struct RecordDescription {
    std::string name;
    std::vector<std::pair<std::string, std::string>> fields; ///< name and type
};

struct ParameterDescription {
    std::string name;
    std::string type; ///< as the type library names types: "String", "Object:Notes", "Enum:ctContactType", "none" ...
    bool byRef = false;
    bool optional = false;
};

enum class MemberKind { get, let, set, method };

struct MemberDescription {
    int slot = 0; ///< from 1
    std::int32_t dispId = 0;
    std::string name;
    MemberKind kind = MemberKind::method;
    std::vector<ParameterDescription> params; ///< without the assigned value of a let or set
    std::string type;                         ///< of the result, or of the assigned value
    bool isDefault = false;
    bool isEnumerator = false;
    bool isHidden = false;
};

/// A class as its type description tells it.
struct ClassDescription {
    std::string name;
    std::string progId;
    std::vector<MemberDescription> members;           ///< in slot order
    std::map<std::string, EnumDescription> enums;     ///< that the members name
    std::map<std::string, RecordDescription> records; ///< that the members name

    /// The slot of `kind` of the member `memberName`, compared without regard to case; null when there is none.
    [[nodiscard]] const MemberDescription* find(std::string_view memberName, MemberKind kind) const noexcept;
    /// Any slot of that name.
    [[nodiscard]] const MemberDescription* find(std::string_view memberName) const noexcept;
};

/// Steps through a collection.
class LateEnumerator {
public:
    /// Takes the reference over.
    explicit LateEnumerator(binary::IEnumVariant* enumerator) noexcept : enumerator_(enumerator) {}
    LateEnumerator(LateEnumerator&& other) noexcept : enumerator_(std::exchange(other.enumerator_, nullptr)) {}
    LateEnumerator& operator=(LateEnumerator&& other) noexcept {
        std::swap(enumerator_, other.enumerator_);
        return *this;
    }
    LateEnumerator(const LateEnumerator&) = delete;
    LateEnumerator& operator=(const LateEnumerator&) = delete;
    ~LateEnumerator();

    /// False at the end.
    bool next(Variant& member);

private:
    binary::IEnumVariant* enumerator_;
};

/// A counted reference to an object of the server; empty is Nothing. All members but copying and destroying belong to
/// the thread that created the object; they throw `Failure`, with 91 through an empty reference, with 438 for a name
/// that the class has not.
class LateObject {
public:
    LateObject() noexcept = default;
    /// Takes the reference over.
    explicit LateObject(binary::IDispatch* dispatch) noexcept : dispatch_(dispatch) {}
    LateObject(const LateObject& other) noexcept;
    LateObject(LateObject&& other) noexcept : dispatch_(std::exchange(other.dispatch_, nullptr)) {}
    LateObject& operator=(LateObject other) noexcept {
        std::swap(dispatch_, other.dispatch_);
        return *this;
    }
    ~LateObject();

    explicit operator bool() const noexcept { return dispatch_ != nullptr; }
    friend bool operator==(const LateObject& a, const LateObject& b) noexcept { return a.dispatch_ == b.dispatch_; }

    // Overloads, no default arguments: a default would need the record's fields before they can be declared.
    [[nodiscard]] Variant get(std::string_view name) const;
    [[nodiscard]] Variant get(std::string_view name, const Arguments& arguments) const;
    /// Assigns a value, or an object reference where the member takes one.
    void let(std::string_view name, const Variant& value) const;
    Variant call(std::string_view name) const;
    Variant call(std::string_view name, const Arguments& arguments) const;
    Variant call(std::string_view name, const Arguments& arguments, const NamedArguments& named) const;
    /// The same with `arguments` by reference: what the member left in them stands there afterwards.
    Variant callByRef(std::string_view name, Arguments& arguments) const;

    [[nodiscard]] bool has(std::string_view name) const;
    /// Read once a class and process, then kept.
    [[nodiscard]] const ClassDescription& description() const;
    /// Over the registered enumerator; 438 when the class has none.
    [[nodiscard]] LateEnumerator enumerator() const;
    [[nodiscard]] std::vector<Variant> enumerate() const;

    [[nodiscard]] binary::IDispatch* dispatch() const noexcept { return dispatch_; }

private:
    binary::IDispatch* dispatch_ = nullptr;
};

struct RecordField {
    std::string name;
    Variant value;
};

/// The loaded server library; it stays loaded until the process ends.
class Server {
public:
    /// `path` when given; else the environment variable CORVETH_SERVER, the build folder of the checkout that the
    /// executable stands in, the executable's own folder (or ../lib beside it), the registration, in this order.
    /// Failure 429 that names the places looked at when there is none, or the loader's words.
    static Server load(const std::filesystem::path& path = {});

    /// 429 that names the identifier when it is unknown.
    [[nodiscard]] LateObject create(std::string_view progId) const;
    void registerServer() const;
    void unregisterServer() const;
    /// True when no client holds an object.
    [[nodiscard]] bool canUnload() const;
    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

private:
    Server(std::filesystem::path path, void* library) : path_(std::move(path)), library_(library) {}
    [[nodiscard]] void* entryPoint(const char* name) const;

    std::filesystem::path path_;
    void* library_;
};

} // namespace corveth::client
