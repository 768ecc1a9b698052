#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// Bytes in memory, read from and written to files whole. Errors carry the source "ADODB.Stream": 3704 when closed,
/// 3219 where the state does not allow it, 3002 and 3004 that name the file.
class CORVETH_API Stream final : public Described<Stream> {
public:
    static constexpr const char* className = "Stream";
    static const ClassInfo description;

    static constexpr std::int32_t binary = 1, text = 2;         ///< values of Type
    static constexpr std::int32_t createNew = 1, overwrite = 2; ///< options of SaveToFile

    // As late-bound clients call it.
    void Open();
    void Close();
    /// `NumBytes` from the position on; 0 (left out) or -1 is all the rest; Null at the end.
    [[nodiscard]] Value Read(std::int32_t NumBytes);
    /// An array of bytes.
    void Write(const Value& Buffer);
    /// The rest as UTF-8 text, or `NumChars` UTF-16 units of it.
    [[nodiscard]] Text ReadText(std::int32_t NumChars);
    void WriteText(const Text& Data);
    /// Replaces the content and leaves the position at 0.
    void LoadFromFile(const Text& FileName);
    /// An existing file is refused (3004) unless `SaveOptions` holds 2.
    void SaveToFile(const Text& FileName, std::int32_t SaveOptions);
    void SetEOS();
    [[nodiscard]] std::int32_t get_Type() const;
    void let_Type(std::int32_t value);
    [[nodiscard]] std::int32_t get_Position() const;
    void let_Position(std::int32_t value);
    [[nodiscard]] std::int32_t get_Size() const;
    [[nodiscard]] bool get_EOS() const;
    [[nodiscard]] std::int32_t get_State() const;

    // For callers in C++.
    [[nodiscard]] const Bytes& bytes() const;
    /// The content moved out; the stream is empty afterwards.
    [[nodiscard]] Bytes take();
    void write(std::span<const std::byte> bytes);

private:
    struct Table;
    void requireOpen() const;
    void requireType(std::int32_t type) const;

    Bytes content_;
    std::size_t position_ = 0;
    std::int32_t type_ = text;
    bool open_ = false;
};

} // namespace corveth
