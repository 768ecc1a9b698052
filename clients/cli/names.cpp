#include "cli/names.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace corveth::cli {

namespace {

char fold(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

} // namespace

bool equalNoCase(std::string_view a, std::string_view b) noexcept {
    return std::ranges::equal(a, b, {}, fold, fold);
}

std::string foldCase(std::string_view text) {
    std::string folded(text);
    std::ranges::transform(folded, folded.begin(), fold);
    return folded;
}

std::string didYouMean(std::string_view name, const std::vector<std::string>& candidates) {
    const std::string wanted = foldCase(name);
    const std::string* best = nullptr;
    std::size_t bestDistance = wanted.size() / 2 + 1;
    for (const std::string& candidate : candidates) {
        const std::string folded = foldCase(candidate);
        // Half a name is as good as a misspelt one.
        const bool isPart = wanted.size() >= 3 && folded.find(wanted) != std::string::npos;
        const std::size_t distance = isPart ? 1 : editDistance(wanted, folded);
        if (distance < bestDistance) {
            bestDistance = distance;
            best = &candidate;
        }
    }
    return best == nullptr ? std::string() : "; did you mean " + *best + "?";
}

} // namespace corveth::cli
