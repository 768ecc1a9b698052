#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace corveth::cli {

/// Names compare without regard to ASCII case, as automation does.
bool equalNoCase(std::string_view a, std::string_view b) noexcept;
std::string foldCase(std::string_view text);

/// `"; did you mean X?"` with the nearest of `candidates`; empty when none is near.
std::string didYouMean(std::string_view name, const std::vector<std::string>& candidates);

} // namespace corveth::cli
