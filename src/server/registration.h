#pragma once

#include <filesystem>

namespace corveth::server {

// The registration is one file of the user's, `corveth/registration.json` in the folder for data of programs
// (XDG_DATA_HOME, else ~/.local/share):
//   {"classes": {"prjCorveth.Note": {"classId": "{...}", "server": "/path/prjCorveth.so"}, ...},
//    "madeFolders": ["/home/user/.local/share/corveth", ...]}
// Several servers may stand in it; each class belongs to the one that registered it last.

/// Throws `Error` that names the file, which is then as it was before.
void registerClasses(const std::filesystem::path& server);

/// Takes out the classes that are registered for `server`; with the last one the file goes, and the folders that
/// registering made, where nothing else is in them.
void unregisterClasses(const std::filesystem::path& server);

/// Of the file; throws when the user has no home folder.
std::filesystem::path registrationFile();

} // namespace corveth::server
