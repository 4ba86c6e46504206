#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace test_support {

/// Compares files: of two that differ it shows the place only.
inline testing::AssertionResult areSame(const std::string& file, const std::string& other) {
    if (file == other) return testing::AssertionSuccess();
    const auto place = std::mismatch(file.begin(), file.end(), other.begin(), other.end()).first - file.begin();
    const auto around = [&](const std::string& text) {
        const auto begin = static_cast<std::size_t>(std::max<std::ptrdiff_t>(0, place - 60));
        return testing::PrintToString(text.substr(std::min(begin, text.size()), 120));
    };
    return testing::AssertionFailure() << "they differ at " << place << ": " << around(file) << "\nand "
                                       << around(other);
}

}  // namespace test_support
