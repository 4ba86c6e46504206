#pragma once

#include "kr/data/fwd.h"
#include "kr/platform/export.h"

namespace KrData {

/// What the worst real number of a value is.
enum class eRealRank { kFinite, kInfinite, kNaN };

/// Receives each field whose value becomes infinite or NaN, before that value is stored, on the thread that sets it:
/// when a value with a NaN is set where there was none, or one with an infinite number where all were finite. Setting
/// it again reports nothing. The value of a getter counts as set when it is read, as a record or a connection does.
/// Values that a transfer writes into its sink, those restored or loaded, and items of a Vector are not reported.
/// \param rank  of the new value
using NotFiniteObserver = void (*)(const FieldBase& field, eRealRank rank) noexcept;

/// Installs the one observer of the process and returns the previous one; null, as at first, is none. Any thread.
/// Setting finite values costs a comparison, with or without observer.
KR_API NotFiniteObserver setNotFiniteObserver(NotFiniteObserver observer) noexcept;

/// For fields: calls the observer, if there is one.
void _observeNotFinite(const FieldBase& field, eRealRank rank) noexcept;

}  // namespace KrData
