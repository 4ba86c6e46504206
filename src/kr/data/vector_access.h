#pragma once

#include <cstddef>
#include <cstdint>

#include "kr/data/vector_base.h"

namespace KrData::detail {

/// The functions of a vector for the framework; vector_base.h says what each does.
struct VectorAccess {
    static bool followItems(VectorBase& vector, const VectorBase& source, const VectorBase::ChangeRanges& ranges) {
        return vector._followItems(source, ranges);
    }
    static bool restoreItems(VectorBase& vector, const VectorBase& source) { return vector._restoreItems(source); }
    static void prepareRestore(VectorBase& vector, const VectorBase& source) { vector._prepareRestore(source); }
    static bool hasIdenticalItems(const VectorBase& vector, const VectorBase& other) {
        return vector._hasIdenticalItems(other);
    }
    static std::size_t getItemBytes(const VectorBase& vector) noexcept { return vector._getItemBytes(); }
    static std::uint64_t getChangeCount(const VectorBase& vector) noexcept { return vector._changeCount; }
    static std::uint64_t getForgottenChangeCount(const VectorBase& vector) noexcept { return vector._forgottenCount; }
};

}  // namespace KrData::detail
