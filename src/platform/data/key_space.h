#pragma once

#include "platform/data/provider.h"

namespace corveth::data {

/// The keys of one kind: a code, and digits up to the length.
class KeyForm {
public:
    /// 5 when `keys` describes none.
    explicit KeyForm(const KeySpace& keys);

    [[nodiscard]] const Text& lowest() const noexcept { return lowest_; }
    [[nodiscard]] const Text& highest() const noexcept { return highest_; }
    [[nodiscard]] std::size_t codeSize() const noexcept { return codeSize_; }
    /// 6 when there are no keys that high.
    [[nodiscard]] Text key(std::int64_t number) const;
    /// Of a key of this form; 0 for another.
    [[nodiscard]] std::int64_t numberIn(TextView key) const noexcept;

private:
    std::size_t codeSize_;
    Text lowest_, highest_;
};

} // namespace corveth::data
