#pragma once

#include <memory>

#include "kr/core/connections/connection_functor.h"
#include "kr/data/types.h"

namespace Kr::detail {

/// Whether a field of the one role may drive a field of the other.
[[nodiscard]] bool mayDrive(KrData::Types::FieldTypeEnum source, KrData::Types::FieldTypeEnum sink) noexcept;

/// Whether a value of the one field can be put into the other; of two enumerations only where they are the same.
[[nodiscard]] bool doValuesFit(const KrData::FieldBase& source, const KrData::FieldBase& sink);

/// The functor that fits the kinds of the two fields, whatever their roles; null when none does.
/// \param connection  whose functor it will be; null below a container functor.
[[nodiscard]] std::unique_ptr<ConnectionFunctor> selectFunctor(const KrData::FieldBase& source, KrData::FieldBase& sink,
                                                               const KrConnectionBase* connection);

}  // namespace Kr::detail
