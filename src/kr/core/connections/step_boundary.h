#pragma once

#include <cstddef>

#include "kr/core/fwd.h"
#include "kr/core/unnotified_copy.h"
#include "kr/data/fwd.h"
#include "kr/platform/export.h"
#include "kr/signals/walk_list.h"

namespace Kr {

class StepBoundary;

/// A frame or a step in it, in simulated time.
/// Thread: value. Ownership: value.
struct StepTime {
    double begin{0.0};       ///< in seconds of simulated time
    double seconds{0.0};     ///< its length; 0 where none is simulated
    double sinceFrame{0.0};  ///< seconds from the beginning of the frame; exact also at large times
};

/// The part of a connection that acts where a step begins.
/// Thread: application. Ownership: owned by its connection; the boundary borrows it until it leaves it or dies.
class KR_API StepStart {
public:
    StepStart(const StepStart&) = delete;
    StepStart& operator=(const StepStart&) = delete;

    /// Observers may destroy this object.
    virtual void beginStep(const StepTime& step) = 0;

protected:
    StepStart() = default;
    /// Leaves the boundary.
    virtual ~StepStart();

    /// Leaves the present boundary and joins that one; null joins none.
    void _join(StepBoundary* boundary);

private:
    friend class StepBoundary;

    StepBoundary* _boundary{nullptr};
    std::size_t _place{0};
};

/// The part of a connection that acts where one step ends and the next one begins.
/// Thread: application. Ownership: owned by its connection; the boundary borrows it until it leaves it or dies.
class KR_API SteppedTransfer {
public:
    SteppedTransfer(const SteppedTransfer&) = delete;
    SteppedTransfer& operator=(const SteppedTransfer&) = delete;

    /// At the end of a step, before the sinks are set: keeps the value of the source.
    virtual void readSource() = 0;
    /// At the end of a step, after all sources were read: gives the sink the value that was kept, if any. Observers may
    /// destroy this object.
    virtual void setSink() = 0;

protected:
    /// A transfer that only copies a value from field to field, as long as the sink is quiet: see UnnotifiedCopy.
    struct Copy {
        UnnotifiedCopy function;  ///< null for a transfer that does more
        const KrData::FieldBase* source;
        KrData::FieldBase* sink;
        const bool* sinkTakesNoValues;
    };

    SteppedTransfer() = default;
    /// Leaves the boundary.
    virtual ~SteppedTransfer();

    /// Leaves the present boundary and joins that one; null joins none.
    void _join(StepBoundary* boundary, const Copy& copy);

private:
    friend class StepBoundary;

    StepBoundary* _boundary{nullptr};
    std::size_t _place{0};
    bool _isCopied{false};  // listed among the copies
    Copy _copy{};
};

/// The connections that act where a step ends and the next one begins, such as unit delays.
///
/// An application has one, whose step is the frame. A group of units with a rate of its own has one, too, for the
/// connections among its units.
/// Thread: application. Ownership: borrows the transfers, which belong to none when it dies.
class KR_API StepBoundary {
public:
    StepBoundary();
    StepBoundary(const StepBoundary&) = delete;
    StepBoundary& operator=(const StepBoundary&) = delete;
    virtual ~StepBoundary();

    /// Calls what acts at the beginning of a step: of the frame before onPreUpdate of all modules, of a group before
    /// its units are stepped.
    void beginStep(const StepTime& step) {
        if (!_starts.empty()) _beginAll(step);
    }
    /// First reads the sources of all connections, then sets all sinks. So a value that passes two unit delays takes
    /// two steps, in whatever order the two were made. Allocates nothing once each connection has transferred.
    void endStep() {
        if (!_transfers.empty() || !_copies.empty()) _endAll();
    }
    /// Seconds from the beginning of a frame to the end of the last step that began before it: 0, unless a step lasts
    /// for several frames.
    [[nodiscard]] virtual double getSecondsAhead(const StepTime& frame) const;

private:
    friend class StepStart;
    friend class SteppedTransfer;

    /// A copy beside its transfer, so that a step reads only this and the two fields.
    struct Listed {
        SteppedTransfer* transfer{nullptr};
        SteppedTransfer::Copy copy{};

        [[nodiscard]] explicit operator bool() const noexcept { return transfer != nullptr; }
    };
    struct SetPlace {
        void operator()(SteppedTransfer* transfer, std::size_t place) const noexcept { transfer->_place = place; }
        void operator()(StepStart* start, std::size_t place) const noexcept { start->_place = place; }
        void operator()(const Listed& listed, std::size_t place) const noexcept { listed.transfer->_place = place; }
    };

    [[nodiscard]] std::size_t _add(SteppedTransfer& transfer, bool isCopied);
    void _remove(const SteppedTransfer& transfer) noexcept;
    /// To the other list.
    void _move(SteppedTransfer& transfer);
    void _beginAll(const StepTime& step);
    void _endAll();
    void _readSources();
    void _copyQuietly();

    WalkList<StepStart*, SetPlace> _starts;
    WalkList<SteppedTransfer*, SetPlace> _transfers;
    WalkList<Listed, SetPlace> _copies;
};

}  // namespace Kr
