#pragma once

#include <functional>
#include <memory>

#include "kr/core/connections/connection_functor.h"
#include "kr/data/field_base.h"
#include "kr/data/transfer_function.h"

namespace Kr {

/// Copies the value of one field to another, with conversion if necessary; the sink notifies.
/// Thread: that of the connection. Ownership: owned by its connection; the fields are borrowed.
class KR_API DirectConnectionFunctor final : public ConnectionFunctor {
public:
    using TransferFunction = std::function<double(double)>;

    /// Both fields are borrowed; their types must be convertible.
    DirectConnectionFunctor(const KrData::FieldBase& source, KrData::FieldBase& sink);
    ~DirectConnectionFunctor() override;

    /// Applied to every component from now on; an empty one copies.
    void setTransferFunction(TransferFunction function);
    [[nodiscard]] bool hasTransferFunction() const noexcept { return _function != nullptr; }
    [[nodiscard]] TransferFunction getTransferFunction() const;  ///< Empty without one.
    /// The function if it is data, else null. Valid until another one is set.
    [[nodiscard]] const KrData::TransferFunction* getData() const noexcept {
        return _function != nullptr ? _function->target<KrData::TransferFunction>() : nullptr;
    }

    void transfer(const KrData::FieldBase& changed) override;

private:
    std::shared_ptr<const TransferFunction> _function;  // shared with a call in progress, which may replace it
};

}  // namespace Kr
