#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace KrPersistence::detail {

/// Containers of Boost give all their items one name, "item". In a group, where each name is unique, they become
/// "item", "item2", "item3", ...; earlier releases wrote "item" for all of them.
class ItemNames {
public:
    static constexpr const char* kItem = "item";

    void enter() { _counts.push_back(0); }
    void leave() noexcept { _counts.pop_back(); }
    /// Returns the unique name of the next value of this name, which may be null; valid until the next call.
    [[nodiscard]] const char* next(const char* name) {
        if (name == nullptr || std::strcmp(name, kItem) != 0 || ++_counts.back() == 1) return name;
        _name = kItem + std::to_string(_counts.back());
        return _name.c_str();
    }

private:
    std::vector<std::uint32_t> _counts{0};  // of items, for each group that is open
    std::string _name;
};

}  // namespace KrPersistence::detail
