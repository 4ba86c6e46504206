#include "kr/core/connections/step_boundary.h"

#include "kr/data/field_access.h"

namespace Kr {

using KrData::detail::FieldAccess;

// --- Transfers -----------------------------------------------------------------------------------------------------

SteppedTransfer::~SteppedTransfer() {
    if (_boundary != nullptr) _boundary->_remove(*this);
}

void SteppedTransfer::_join(StepBoundary* boundary, const Copy& copy) {
    if (_boundary != nullptr) _boundary->_remove(*this);
    _boundary = nullptr;
    _copy = copy;
    if (boundary == nullptr) return;
    _isCopied = copy.function != nullptr;
    _place = boundary->_add(*this, _isCopied);
    _boundary = boundary;
}

StepStart::~StepStart() {
    _join(nullptr);
}

void StepStart::_join(StepBoundary* boundary) {
    if (_boundary == boundary) return;
    if (_boundary != nullptr) _boundary->_starts.removeAt(_place);
    _boundary = nullptr;
    if (boundary == nullptr) return;
    _place = boundary->_starts.add(this);
    _boundary = boundary;
}

// --- Boundaries ----------------------------------------------------------------------------------------------------

StepBoundary::StepBoundary() = default;

StepBoundary::~StepBoundary() {
    for (auto* start : _starts.items())
        start->_boundary = nullptr;
    for (auto* transfer : _transfers.items())
        transfer->_boundary = nullptr;
    for (const auto& each : _copies.items())
        each.transfer->_boundary = nullptr;
}

std::size_t StepBoundary::_add(SteppedTransfer& transfer, bool isCopied) {
    return isCopied ? _copies.add({&transfer, transfer._copy}) : _transfers.add(&transfer);
}

void StepBoundary::_remove(const SteppedTransfer& transfer) noexcept {
    transfer._isCopied ? _copies.removeAt(transfer._place) : _transfers.removeAt(transfer._place);
}

void StepBoundary::_move(SteppedTransfer& transfer) {
    const auto place = _add(transfer, !transfer._isCopied);  // before the rest: memory may run out
    _remove(transfer);
    transfer._isCopied = !transfer._isCopied;
    transfer._place = place;
}

double StepBoundary::getSecondsAhead(const StepTime&) const {
    return 0.0;
}

void StepBoundary::_beginAll(const StepTime& step) {
    for (decltype(_starts)::Walk walk(_starts); auto* start = walk.next();)
        start->beginStep(step);
}

void StepBoundary::_endAll() {
    _readSources();
    _copyQuietly();
    for (decltype(_transfers)::Walk walk(_transfers); auto* transfer = walk.next();)
        transfer->setSink();
}

/// Of the transfers that are no copies, or whose sink was not quiet before.
void StepBoundary::_readSources() {
    for (decltype(_transfers)::Walk walk(_transfers); auto* transfer = walk.next();) {
        if (transfer->_copy.function != nullptr && FieldAccess::isQuiet(*transfer->_copy.sink)) {
            _move(*transfer);
        } else {
            transfer->readSource();  // a getter of the source may destroy the transfer
        }
    }
}

/// The others at once, without a copy in between: no connection reads a quiet sink. One whose sink is no longer quiet
/// goes to the transfers, and keeps its value until all sources were read.
void StepBoundary::_copyQuietly() {
    for (decltype(_copies)::Walk walk(_copies); const auto each = walk.next();) {
        const auto& copy = each.copy;
        if (*copy.sinkTakesNoValues) continue;
        if (FieldAccess::isQuiet(*copy.sink)) {
            copy.function(*copy.source, *copy.sink);
        } else {
            _move(*each.transfer);
            each.transfer->readSource();
        }
    }
}

}  // namespace Kr
