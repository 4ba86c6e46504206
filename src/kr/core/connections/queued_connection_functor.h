#pragma once

#include <memory>

#include "kr/core/connections/connection_functor.h"
#include "kr/data/field_reference.h"
#include "kr/events/fwd.h"
#include "kr/platform/thread_id.h"

namespace Kr {

namespace detail {
class CopyStore;
}  // namespace detail

/// Takes a copy of the source and sends it through the event dispatcher, in the queue of the sink's application; the
/// sink takes it when the event is delivered, on the thread that runs that application. While no thread runs it, values
/// set by the thread that created the connection arrive before the setter returns. Delivered copies are used again, so
/// that a steady frame allocates nothing.
/// Thread: that of the source. Ownership: owned by its connection; the fields are borrowed.
class KR_API QueuedConnectionFunctor final : public ConnectionFunctor {
public:
    QueuedConnectionFunctor(const KrData::FieldBase& source, KrData::FieldBase& sink);
    ~QueuedConnectionFunctor() override;

    void transfer(const KrData::FieldBase& changed) override;

    /// A copy that is being sent to its sink.
    struct Waiting {
        std::shared_ptr<const KrData::FieldBase> value;  ///< null: the event has no copy
        KrData::FieldReference sink;
    };

private:
    KrData::FieldReference _sinkLife;
    ThreadId _home;  // created the connection
    std::shared_ptr<detail::CopyStore> _copies;
};

}  // namespace Kr
