#pragma once

#include "kr/data/fwd.h"
#include "kr/platform/export.h"

namespace KrData {

/// The worst real number of a value.
enum class eRealRank { kFinite, kInfinite, kNaN };

/// Receives each field whose value becomes infinite or NaN, before that value is stored, on the thread that sets it:
/// when a value with a NaN replaces one without, or one with an infinite number replaces a finite one. Setting it again
/// reports nothing. A value of a bound getter counts as set when it is read, for example by a record or a connection.
/// Sinks that a transfer gives such a value are reported after its source. Restored and loaded values, and items of a
/// Vector, are not reported.
/// \param rank  of the new value
using NotFiniteObserver = void (*)(const FieldBase& field, eRealRank rank) noexcept;

/// Installs the one observer of the process and returns the previous one; null, as initially, is none. Any thread.
/// Setting finite values costs a comparison, with or without observer.
KR_API NotFiniteObserver setNotFiniteObserver(NotFiniteObserver observer) noexcept;

/// For fields: calls the observer, if there is one.
void _observeNotFinite(const FieldBase& field, eRealRank rank) noexcept;

}  // namespace KrData
