#include "kr/core/connections/direct_connection_functor.h"

#include <utility>

#include "kr/data/value_conversion.h"

namespace Kr {

using KrData::FieldBase;

DirectConnectionFunctor::DirectConnectionFunctor(const FieldBase& source, FieldBase& sink)
    : ConnectionFunctor(source, sink) {}

DirectConnectionFunctor::~DirectConnectionFunctor() = default;

void DirectConnectionFunctor::setTransferFunction(TransferFunction function) {
    _function = function ? std::make_shared<const TransferFunction>(std::move(function)) : nullptr;
}

DirectConnectionFunctor::TransferFunction DirectConnectionFunctor::getTransferFunction() const {
    return _function ? *_function : TransferFunction();
}

void DirectConnectionFunctor::transfer(const FieldBase&) {
    if (_isSinkSuspended()) return;
    if (const auto function = _function) {
        KrData::ApplyTransferFunction(_getSource(), _getSink(), *function);
    } else {
        _getSink().copyValue(_getSource());
    }
}

}  // namespace Kr
