#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "kr/platform/export.h"

namespace KrSim::StringUtils {

/// Set of names that makes every name added to it unique: "Wheel", "Wheel 2", "Wheel 3".
/// Adding takes the same time however many equal names there are. Not safe to use from two threads at once.
class KR_API UniqueNamesCollection {
public:
    /// Adds the name and returns it; a name that is taken gets a blank and the lowest free number from 2 up.
    std::string add(const std::string& name);
    /// Frees a name; false when it was not in the collection.
    bool remove(const std::string& name);
    [[nodiscard]] bool contains(const std::string& name) const { return _names.contains(name); }
    [[nodiscard]] std::size_t size() const noexcept { return _names.size(); }
    void clear() noexcept;

private:
    /// The numbers that were tried for one base name: all below next were given out, those in freed came back.
    struct Numbers {
        std::uint64_t next{2};
        std::set<std::uint64_t> freed;
    };

    std::unordered_set<std::string> _names;
    std::unordered_map<std::string, Numbers> _numbers;
};

}  // namespace KrSim::StringUtils
