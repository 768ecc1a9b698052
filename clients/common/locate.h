#pragma once

#include <filesystem>

namespace corveth::client {

/// The server library of a client whose executable stands in `folder`: the one that CORVETH_SERVER names (whether or
/// not it is there), else the first that exists of the build folder of the checkout around `folder`, `folder` itself,
/// `lib` beside it, where both were installed to, and the registration. Failure 429 that names the places looked at.
std::filesystem::path locateServer(const std::filesystem::path& folder);

} // namespace corveth::client
