#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "kr/data/field_reference.h"
#include "kr/data/fwd.h"
#include "kr/platform/export.h"

namespace KrData {

/// Field arrays that were resized, with the items that they lost. The destructor restores size and items of each array,
/// unless keep() was called before. Arrays that were destroyed meanwhile are skipped.
/// Thread: that of the fields. Ownership: owns the removed items; the arrays are borrowed.
class KR_API ArrayResizes {
public:
    ArrayResizes();
    ArrayResizes(const ArrayResizes&) = delete;
    ArrayResizes& operator=(const ArrayResizes&) = delete;
    ~ArrayResizes();

    /// As FieldArrayBase::resize, but removed items are kept. False when an observer has destroyed the array.
    bool resize(FieldArrayBase& array, std::size_t count);
    /// Keeps the new sizes and destroys the removed items.
    void keep() noexcept;

private:
    struct Resized {
        FieldReference array;
        std::size_t before;
        std::vector<std::unique_ptr<FieldBase>> dropped;  // the last one first
    };

    static void _takeBack(Resized& resized);

    std::vector<Resized> _all;
};

}  // namespace KrData
