#pragma once

#include <memory>

#include "kr/core/connections/connection_functor.h"
#include "kr/data/types.h"

namespace Kr::detail {

/// Whether a field of the one role may drive a field of the other.
[[nodiscard]] bool mayDrive(KrData::Types::FieldTypeEnum source, KrData::Types::FieldTypeEnum sink) noexcept;

/// Whether a value of one field can be assigned to the other; two enumerations must be the same.
[[nodiscard]] bool doValuesFit(const KrData::FieldBase& source, const KrData::FieldBase& sink);

/// The functor for the kinds of the two fields, independent of their roles; null when none fits.
/// \param connection  the owner of the functor; null below a container functor.
[[nodiscard]] std::unique_ptr<ConnectionFunctor> selectFunctor(const KrData::FieldBase& source, KrData::FieldBase& sink,
                                                               const KrConnectionBase* connection);

}  // namespace Kr::detail
