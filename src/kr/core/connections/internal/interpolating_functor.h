#pragma once

#include <memory>

#include "kr/core/connections/internal/unit_delay_functor.h"
#include "kr/core/connections/internal/value_line.h"
#include "kr/core/connections/step_boundary.h"

namespace Kr::detail {

/// Gives the sink values on the line to the value that the source has when the frame begins: at the steps of the group
/// that steps the sink, and at the end of the frame.
///
/// What counts is in fields: the line of each frame begins at the value of the sink, and the time at which it ends
/// follows from the steps of the source (StepBoundary::getSecondsAhead). So a run from a snapshot repeats itself.
/// Thread: application. Ownership: owned by its connection; the fields are borrowed.
class InterpolatingFunctor final : public UnitDelayFunctor {
public:
    InterpolatingFunctor(const KrData::FieldBase& source, KrData::FieldBase& sink,
                         const KrSteppedConnection& connection);
    ~InterpolatingFunctor() override;

    /// False for a type without values between two others.
    [[nodiscard]] bool hasLine() const noexcept { return _line != nullptr; }
    void setSinkOwner(KrSim::KrExtension* owner) override;
    void readSource() override;

private:
    /// At the beginning of frames, or of steps of the sink's group.
    class Start final : public StepStart {
    public:
        using Act = void (InterpolatingFunctor::*)(const StepTime& step);
        Start(InterpolatingFunctor& functor, Act act) : _functor(functor), _act(act) {}
        void join(StepBoundary* boundary) { _join(boundary); }

    private:
        void beginStep(const StepTime& step) override { (_functor.*_act)(step); }

        InterpolatingFunctor& _functor;
        Act _act;
    };

    void _beginFrame(const StepTime& frame);
    void _beginStep(const StepTime& step);
    /// The part of the line that has passed when so many seconds of the frame have.
    [[nodiscard]] double _fractionAfter(double seconds) const noexcept;

    std::unique_ptr<ValueLine> _line;
    double _frameSeconds{0.0};
    double _lineSeconds{0.0};  // from the beginning of the frame to the end of the line
    bool _isOnLine{false};     // in this frame
    Start _frameStart{*this, &InterpolatingFunctor::_beginFrame};
    Start _stepStart{*this, &InterpolatingFunctor::_beginStep};
};

}  // namespace Kr::detail
