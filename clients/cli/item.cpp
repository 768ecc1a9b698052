#include "cli/item.h"

#include "cli/names.h"
#include "cli/record.h"
#include "cli/value_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <optional>

namespace corveth::cli {

using client::Failure;
using client::LateObject;
using client::Variant;

namespace {

constexpr std::uint32_t applicationError = 0x80040001U;
constexpr std::uint32_t noRecord = 3021;
constexpr std::size_t typeLetters = 2;

/// The display name of the item's type, as the library tells it by the first letters of the key.
std::string typeName(const Library& library, const std::string& key) {
    const LateObject link = library.create("prjCorveth.LinkItem");
    link.let("ID", key);
    return std::get<std::string>(link.get("ItemTypeID"));
}

std::vector<std::string> publicClasses(const Library& library) {
    std::vector<std::string> names;
    const std::string list = library.typeText("ClassNames", {true});
    constexpr std::string_view prefix = "prjCorveth.";
    for (std::string_view rest = list; !rest.empty();) {
        const std::string_view name = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), name.size() + 1));
        if (name.starts_with(prefix)) names.emplace_back(name.substr(prefix.size()));
    }
    return names;
}

/// Tells one content from another.
struct Mark {
    std::size_t size, hash;
    friend bool operator==(const Mark&, const Mark&) = default;
};

/// Nothing when it holds no file.
std::optional<Mark> markOf(const LateObject& attachment) {
    const Variant data = attachment.get("Data");
    const auto* bytes = std::get_if<client::ByteArray>(&data);
    if (bytes == nullptr) return std::nullopt;
    return Mark{bytes->text().size(), std::hash<std::string_view>{}(bytes->text())};
}

} // namespace

std::string existingItem(const Session& session, const std::string& key) {
    Library& library = session.library();
    std::string id = key;
    // Keys compare without regard to case, the letters that tell the type do not.
    std::transform(id.begin(), id.begin() + static_cast<std::ptrdiff_t>(std::min(id.size(), typeLetters)), id.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    std::string type = typeName(library, id);
    std::erase(type, ' ');
    bool isKnown = false;
    for (const std::string& name : publicClasses(library)) {
        if (type != "None" && !equalNoCase(name, type)) continue;
        isKnown = true;
        // Types without a name of their own: whatever class has the row.
        const std::string stored = storedKey(session, library.model(name), id);
        if (!stored.empty()) return stored;
    }
    if (type == "None") {
        throw Failure(noRecord, "corveth",
                      fmt::format("there is no item with the key \"{}\"; a key begins with the letters of its type, "
                                  "as CN for a contact",
                                  key));
    }
    if (isKnown) throw Failure(noRecord, type, fmt::format("there is no {} with the key \"{}\"", type, key));
    return id;
}

client::ByteArray contentOf(const LateObject& attachment) {
    const Variant data = attachment.get("Data");
    if (const auto* bytes = std::get_if<client::ByteArray>(&data)) return *bytes;
    throw Failure(13, "corveth",
                  fmt::format("Type mismatch: the attachment {} holds no file",
                              std::get<std::string>(attachment.get("AttachmentID"))));
}

void requireStored(const Session& session, const LateObject& attachment, const std::string& item,
                   const FailureLog& log) {
    const auto& model = session.library().model("Attachment");
    const auto id = std::get<std::string>(attachment.get("AttachmentID"));
    if (!storedKey(session, model, id).empty()) {
        const auto wanted = markOf(attachment);
        attachment.let("Data", Variant{}); // the same file is not in memory twice
        const LateObject stored = existingRecord(session, model, id);
        const auto isSameText = [&](const char* member) {
            return plainText(stored.get(member)) == plainText(attachment.get(member));
        };
        const bool isSame = wanted && wanted == markOf(stored) && plainText(stored.get("LinkId")) == item &&
                            isSameText("AttachmentSize") && isSameText("AttachmentTitle");
        if (isSame) return;
    }
    const std::string words = log.words("Attachment");
    throw Failure(applicationError, "Attachment",
                  words.empty() ? "the attachment could not be saved; the log may tell why"
                                : "the attachment could not be saved: " + words);
}

} // namespace corveth::cli
