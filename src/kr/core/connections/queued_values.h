#pragma once

#include <cstddef>

#include "kr/core/connections/queued_connection_functor.h"

/// The values of queued connections that events carry, for simulation states.
namespace Kr::detail {

/// Whether the event carries a copy.
[[nodiscard]] KR_API bool isCarrier(const KrSim::KrSimEvent& event) noexcept;
/// The copy of the event, which stays in progress. Any thread.
[[nodiscard]] KR_API QueuedConnectionFunctor::Waiting peekValue(const KrSim::KrSimEvent& event);
/// An event that carries the copy (again), to be sent once.
[[nodiscard]] KR_API KrSim::KrSimEvent carryValue(const QueuedConnectionFunctor::Waiting& waiting);
/// For events that are never sent: destroys their copy.
KR_API void dropValue(const KrSim::KrSimEvent& event);
/// Number of copies in progress in this process. Any thread.
[[nodiscard]] KR_API std::size_t getWaitingCount();

}  // namespace Kr::detail
