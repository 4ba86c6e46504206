#pragma once

#include <functional>
#include <memory>

#include "kr/core/connections/connection_functor.h"
#include "kr/data/field_base.h"

namespace Kr {

/// Copies the value of one field to another, converting it where the types ask for it; the sink notifies.
class KR_API DirectConnectionFunctor final : public ConnectionFunctor {
public:
    using TransferFunction = std::function<double(double)>;

    DirectConnectionFunctor(const KrData::FieldBase& source, KrData::FieldBase& sink);
    ~DirectConnectionFunctor() override;

    /// Applied to every component on the way from now on; an empty one copies.
    void setTransferFunction(TransferFunction function);
    [[nodiscard]] bool hasTransferFunction() const noexcept { return _function != nullptr; }
    [[nodiscard]] TransferFunction getTransferFunction() const;

    void transfer(const KrData::FieldBase& changed) override;

    /// Whether _step does the work of `run`: the fields are of one type, and nothing but copying is to be done.
    [[nodiscard]] bool _canStep() const noexcept { return _quietCopy != nullptr && _function == nullptr; }
    /// Copies without notification. Answers whether the sink has changed; the functor stays guarded then.
    [[nodiscard]] bool _step() {
        if (!isEnabled() || _getGuard().isEntered() || _isSinkSuspended()) return false;
        switch (_quietCopy(_getSource(), _getSink())) {
            case KrData::FieldBase::QuietCopyResult::kChanged:
                _getGuard().enter();
                return true;
            case KrData::FieldBase::QuietCopyResult::kSame:
                return false;
            case KrData::FieldBase::QuietCopyResult::kImpossible:
                break;
        }
        run(_getSource());
        return false;
    }

private:
    KrData::FieldBase::QuietCopy _quietCopy;
    std::shared_ptr<const TransferFunction> _function;  // shared with a call under way, which may replace it
};

}  // namespace Kr
