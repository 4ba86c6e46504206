#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "kr/data/field_reference.h"
#include "kr/data/fwd.h"
#include "kr/platform/export.h"

namespace KrData {

/// Field arrays that were given another size, with the items that they lost. When this object dies, each array gets
/// its size and items back, unless keep() was called before. An array that was destroyed meanwhile is left out.
/// Thread: that of the fields.
class KR_API ArrayResizes {
public:
    ArrayResizes();
    ArrayResizes(const ArrayResizes&) = delete;
    ArrayResizes& operator=(const ArrayResizes&) = delete;
    ~ArrayResizes();

    /// As FieldArrayBase::resize, but what is dropped lives on. False when an observer has destroyed the array.
    bool resize(FieldArrayBase& array, std::size_t count);
    /// The new sizes stay. Destroys the items that were dropped.
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
