#include "kr/core/connections/connection.h"

#include <utility>

#include "kr/core/connections/internal/connection_texts.h"
#include "kr/core/connections/internal/functor_selection.h"
#include "kr/core/connections/internal/new_connection.h"
#include "kr/data/field_base.h"
#include "kr/data/full_path.h"
#include "kr/data/value_conversion.h"
#include "kr/extension/connection_settings.h"
#include "kr/platform/assert.h"
#include "kr/platform/log.h"

namespace Kr {

using KrData::FieldBase;

namespace {

class TransferFunctions final : public KrSim::ITransferFunctions {
public:
    [[nodiscard]] KrSim::ConnectionSettings::TransferFunction find(const KrConnectionBase& connection) const override {
        if (!connection.isOfClassType(KrConnection::getClassType())) return {};
        return static_cast<const KrConnection&>(connection)._copyTransferFunction();
    }
};

[[maybe_unused]] const bool areFunctionsInstalled = [] {
    static const TransferFunctions functions;
    UpperLayer<KrSim::ITransferFunctions>::install(&functions);
    return true;
}();

}  // namespace

KrConnection::KrConnection() = default;

KrConnection::KrConnection(FieldBase* source, FieldBase* sink) {
    init(source, sink);
}

KrConnection::~KrConnection() = default;

bool KrConnection::init(FieldBase* source, FieldBase* sink, bool transferNow) {
    KR_ASSERT(source != nullptr && sink != nullptr, "KrConnection: source and sink must not be null");
    if (source == nullptr || sink == nullptr) return false;
    if (!_end()) return false;
    auto functor = _mayConnect(*source, *sink) ? detail::selectFunctor(*source, *sink, this) : nullptr;
    if (!functor) {
        logMessage(eLogLevel::kDebug,
                   "KrConnection: could not create connection from %s.%s -> %s%s. Check that types match. \n",
                   detail::ownerNameOf(*source).c_str(), source->getPath().c_str(), detail::ownerNameOf(*sink).c_str(),
                   sink->getPath().c_str());
        return false;
    }
    return _begin(*source, *sink, std::move(functor), Roles::kChecked, transferNow);
}

bool KrConnection::setTransferFunction(DirectConnectionFunctor::TransferFunction function) {
    if (!_restoreTransferFunction(std::move(function))) return false;
    transferValue(*getSource());
    return true;
}

bool KrConnection::hasTransferFunction() const noexcept {
    const auto* functor = _getDirectFunctor();
    return functor != nullptr && functor->hasTransferFunction();
}

const KrData::TransferFunction* KrConnection::getTransferFunction() const noexcept {
    const auto* functor = _getDirectFunctor();
    return functor != nullptr ? functor->getData() : nullptr;
}

DirectConnectionFunctor::TransferFunction KrConnection::_copyTransferFunction() const {
    const auto* functor = _getDirectFunctor();
    return functor != nullptr ? functor->getTransferFunction() : DirectConnectionFunctor::TransferFunction();
}

bool KrConnection::_restoreTransferFunction(DirectConnectionFunctor::TransferFunction function) {
    auto* functor = _getDirectFunctor();
    if (functor == nullptr || !KrData::CanApplyTransferFunction(*getSource(), *getSink())) return false;
    if (const auto* data = function.target<KrData::TransferFunction>(); data != nullptr && !data->isValid()) {
        logMessage(eLogLevel::kDebug, "KrConnection: the transfer function from %s to %s is refused: %s\n",
                   KrData::getFullPath(*getSource()).c_str(), KrData::getFullPath(*getSink()).c_str(),
                   data->getFault().c_str());
        return false;
    }
    functor->setTransferFunction(std::move(function));
    _update();
    return true;
}

bool KrConnection::areFieldsCompatible(const FieldBase* source, const FieldBase* sink) {
    return source != nullptr && sink != nullptr &&
           detail::selectFunctor(*source, const_cast<FieldBase&>(*sink), nullptr) != nullptr;
}

KrConnectionBase* KrConnection::_createBetween(FieldBase& source, FieldBase& sink) const {
    detail::NewConnection<KrConnection> made;
    made->_setCopy();
    if (!made->init(&source, &sink, false)) return nullptr;
    if (hasTransferFunction()) made->_restoreTransferFunction(_copyTransferFunction());
    _finishCopy(*made);
    return made.take().release();
}

}  // namespace Kr
