#pragma once

#include "platform/automation/describe.h"
#include "platform/desktop/bitmap.h"

namespace corveth {

/// A picture as a client holds it: nothing, or a bitmap file whose bytes are kept as they came.
class CORVETH_API Picture final : public Described<Picture> {
public:
    static constexpr const char* className = "Picture";
    static constexpr TypeKind typeKind = TypeKind::picture;
    static const ClassInfo description;

    /// 53 or 75 for a file that cannot be read, 481 for one that is no bitmap; each names the path.
    static Ref<Picture> fromFile(TextView path);

    /// As `fromFile`; after a failure the picture is what it was before.
    void Load(Text path);
    /// Writes the bytes that were loaded, over a file that exists. 481 without a picture, 75 when it cannot be written.
    void Save(Text path) const;
    /// Not 0 while there is a picture, and another one after each load.
    [[nodiscard]] std::int32_t get_Handle() const noexcept { return handle_; }
    /// Pixels; 0 without a picture.
    [[nodiscard]] std::int32_t get_Width() const noexcept { return header_.width; }
    [[nodiscard]] std::int32_t get_Height() const noexcept { return header_.height; }
    /// 1 for a bitmap, 0 without a picture.
    [[nodiscard]] std::int32_t get_Type() const noexcept { return handle_ != 0 ? 1 : 0; }

    [[nodiscard]] const Bytes& bytes() const noexcept { return bytes_; }

private:
    struct Table;

    void read(TextView path);

    Bytes bytes_;
    BitmapHeader header_;
    std::int32_t handle_ = 0;
};

} // namespace corveth
