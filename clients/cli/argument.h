#pragma once

#include "cli/session.h"
#include "cli/value_text.h"

#include <string>
#include <unordered_map>

namespace corveth::cli {

/// Label to key, as `load` collects them.
using Labels = std::unordered_map<std::string, std::string>;

/// Makes the values that members take from what a person or a file writes. In a text, `@file:PATH` stands for what the
/// file holds, `@LABEL` for a label's key and `@@` for a plain `@`.
class ArgumentReader {
public:
    ArgumentReader(const Session& session, const Labels& labels) : session_(session), labels_(labels) {}

    /// A value of `type`, which `owner` names. Texts stay texts where the server converts them; names of enumerations,
    /// keys of objects, files and JSON of records are resolved here. Errors: 13, 53, 5 for an unknown label.
    [[nodiscard]] client::Variant read(const Json& given, const std::string& type,
                                       const client::ClassDescription& owner) const;

    /// `@LABEL` stands for a label's key, `@@` for a plain `@`. 5 for an unknown label.
    [[nodiscard]] std::string withoutLabel(std::string given) const;

private:
    [[nodiscard]] client::Variant readText(std::string text, const std::string& type,
                                           const client::ClassDescription& owner) const;
    [[nodiscard]] client::Variant readFile(const std::string& path, const std::string& type) const;
    [[nodiscard]] client::Variant readRecord(const Json& given, const std::string& type,
                                             const client::ClassDescription& owner) const;

    const Session& session_;
    const Labels& labels_;
};

} // namespace corveth::cli
