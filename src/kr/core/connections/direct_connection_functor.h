#pragma once

#include <functional>
#include <memory>

#include "kr/core/connections/connection_functor.h"
#include "kr/data/field_base.h"
#include "kr/data/transfer_function.h"

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
    /// The function where it is data, else null. Good until another one is set.
    [[nodiscard]] const KrData::TransferFunction* getData() const noexcept {
        return _function != nullptr ? _function->target<KrData::TransferFunction>() : nullptr;
    }

    void transfer(const KrData::FieldBase& changed) override;

private:
    std::shared_ptr<const TransferFunction> _function;  // shared with a call under way, which may replace it
};

}  // namespace Kr
