#pragma once

#include <cstdint>
#include <unordered_map>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// Numbers of the objects that several sections of one file name: the section that writes an object numbers it here,
/// later sections write the number alone. Empty at the start of each save, and again at the end of a save or load.
class KR_API FileObjectNumbers {
public:
    /// The table of the calling thread, on which one file is loaded or saved at a time.
    [[nodiscard]] static FileObjectNumbers& instance();

    /// Whether a save is under way.
    [[nodiscard]] bool isInUse() const noexcept { return _isInUse; }
    /// The number of the object; a new one gets the next, from 0 up. The object is borrowed.
    std::uint32_t getNumber(const Kr::KrBase* object);
    [[nodiscard]] bool contains(const Kr::KrBase* object) const { return _numbers.contains(object); }

    void _begin() noexcept;
    void _end() noexcept;

private:
    std::unordered_map<const Kr::KrBase*, std::uint32_t> _numbers;
    bool _isInUse{false};
};

}  // namespace KrPersistence
