#pragma once

#include "cli/session.h"

#include <string>

namespace corveth::cli {

/// The key of the item that files are to be kept with, as it is stored. 3021 when the server can tell that there is no
/// such item, or that the key is none of an item; one of a class that this build has not is taken as it stands.
std::string existingItem(const Session& session, const std::string& key);

/// What an attachment that was loaded holds; 13 when that is no file.
client::ByteArray contentOf(const client::LateObject& attachment);

/// Fails, with what the log knows of it, unless the row of the attachment holds what the object holds: in saving the
/// server passes over what does not work. The object's `Data` are empty afterwards.
void requireStored(const Session& session, const client::LateObject& attachment, const std::string& item,
                   const FailureLog& log);

} // namespace corveth::cli
