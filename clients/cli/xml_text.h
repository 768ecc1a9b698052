#pragma once

#include <string>
#include <string_view>

namespace corveth::cli {

/// `text` as content or in an attribute's quotes. What no XML may hold becomes U+FFFD.
std::string xmlText(std::string_view text);

/// At most `cells` of a terminal wide; what is cut off leaves an ellipsis.
std::string shortened(std::string_view text, std::size_t cells);

} // namespace corveth::cli
