#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <string_view>

namespace corveth::cli {

/// The whole of a file; 53 or 75 that names it.
std::string fileContent(const std::string& path);
/// 53 or 75 that names a file that cannot be read.
void requireReadable(const std::string& path);

/// A file that others cannot read, empty at first, which goes with the object or when the program is interrupted. 75
/// when it cannot be made. There is no `OutputFile` beside it.
class PrivateFile {
public:
    PrivateFile();
    ~PrivateFile();
    PrivateFile(const PrivateFile&) = delete;
    PrivateFile& operator=(const PrivateFile&) = delete;

    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    std::string path_;
};

/// A file to be read line by line; `-` is standard input. 53 or 75 that names it.
class InputFile {
public:
    explicit InputFile(const std::string& path);

    /// False at the end. 75 when reading fails.
    bool nextLine(std::string& line);
    [[nodiscard]] std::uint64_t lines() const noexcept { return lines_; }
    [[nodiscard]] std::uint64_t bytesRead() const noexcept { return bytesRead_; }
    /// Of the file, in bytes; 0 when nobody knows.
    [[nodiscard]] std::uint64_t size() const noexcept { return size_; }

private:
    std::ifstream file_;
    std::istream* source_;
    std::uint64_t lines_ = 0, bytesRead_ = 0, size_ = 0;
};

/// What becomes of a file that has the name of the one to be written, and who may read that.
struct OutputRule {
    enum class Existing {
        isKept,
        isReplacedWhenAlike, ///< when it is empty or begins with `beginning`
        isReplaced,
    };
    Existing existing = Existing::isKept;
    const char* beginning = "";
    const char* refusal = "is there already"; ///< what a failure says of the file that is kept
    bool isPrivate = false;                   ///< only its owner may read it; else who may read a new file
};

/// What is written to it stands under its name when it is complete; until then the name is what it was before, and a
/// file that is never completed is taken away, also when the program is interrupted. One at a time.
class OutputFile {
public:
    /// An empty `path` or `-` is standard output. 58 for a file that the rule keeps, 75 for one that cannot be made.
    OutputFile(const std::string& path, const OutputRule& rule);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// 75 with the system's words.
    void write(std::string_view text);
    void complete();

private:
    [[noreturn]] void fail(int cause) const;
    [[noreturn]] void failExisting() const;
    void takeName() const;

    std::string path_;
    OutputRule rule_;
    std::string unfinished_; ///< the name until it is complete; empty where it is written in place
    int file_;
};

} // namespace corveth::cli
