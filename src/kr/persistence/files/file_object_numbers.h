#pragma once

#include <cstdint>
#include <unordered_map>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// Numbers of the objects that several sections of one file name: the section that writes an object numbers it here,
/// later sections write the number alone. Empty at the start of each save, and again at the end of a save or load. A
/// section may load and save other files meanwhile: its own numbers wait for their end.
class KR_API FileObjectNumbers {
public:
    /// The table of the calling thread, on which one file is loaded or saved at a time.
    [[nodiscard]] static FileObjectNumbers& instance();

    /// Whether a save is under way.
    [[nodiscard]] bool isInUse() const noexcept { return _isInUse; }
    /// The number of the object; a new one gets the next, from 0 up. The object is borrowed.
    std::uint32_t getNumber(const Kr::KrBase* object);
    [[nodiscard]] bool contains(const Kr::KrBase* object) const { return _numbers.contains(object); }

    /// An empty table for a file, while it lives; then the one before again.
    class Scope;

    void _begin() noexcept;
    void _end() noexcept;

private:
    std::unordered_map<const Kr::KrBase*, std::uint32_t> _numbers;
    bool _isInUse{false};
};

class KR_API FileObjectNumbers::Scope {
public:
    Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope();

private:
    FileObjectNumbers _outer;
};

}  // namespace KrPersistence
