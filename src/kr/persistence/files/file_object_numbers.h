#pragma once

#include <cstdint>
#include <unordered_map>

#include "kr/core/fwd.h"
#include "kr/persistence/files/fwd.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// Numbers of the objects that several sections of one file refer to: the section that writes an object numbers it
/// here, later sections write only the number. Empty at the start of each save, and at the end of a save or load. A
/// section may load and save other files meanwhile: its own numbers are kept.
/// Thread: one table for each thread. Ownership: objects are borrowed.
class KR_API FileObjectNumbers {
public:
    /// The table of the calling thread, on which one file is loaded or saved at a time.
    [[nodiscard]] static FileObjectNumbers& instance();

    /// Whether a save is in progress.
    [[nodiscard]] bool isInUse() const noexcept { return _isInUse; }
    /// The number of the object; a new object gets the next number, from 0 up. The object is borrowed.
    std::uint32_t getNumber(const Kr::KrBase* object);
    /// Whether the object has a number.
    [[nodiscard]] bool contains(const Kr::KrBase* object) const { return _numbers.contains(object); }

    /// An empty table for a file, during its lifetime; afterwards the previous one again.
    class Scope;

private:
    friend class KrFile;
    void _begin() noexcept;
    void _end() noexcept;

    std::unordered_map<const Kr::KrBase*, std::uint32_t> _numbers;
    bool _isInUse{false};
};

/// Thread: the constructing one. Ownership: keeps the previous numbers.
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
