#include "kr/integration/dynamics.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "kr/data/field_base.h"
#include "kr/extension/extension.h"
#include "kr/extension/i_extension.h"

KR_REGISTER_ENUM(KrSim::eIntegrator, {KrSim::eIntegrator::kSemiImplicitEuler, "Semi-implicit Euler"},
                 {KrSim::eIntegrator::kHeun, "Heun"}, {KrSim::eIntegrator::kRungeKutta4, "Runge-Kutta 4"},
                 {KrSim::eIntegrator::kDormandPrince, "Dormand-Prince 5(4)"});

namespace KrSim {

using detail::StateSystem;

Dynamics::Dynamics(IExtension* owner, const IntegrationOptions& options) : _owner(owner), _options(options) {
    if (options.parameter != nullptr) {
        _choice.emplace(owner, options.parameter,
                        FieldOptions<Kr::KrEnum>{.value = Kr::KrEnum(options.method),
                                                 .description = "The method that integrates the states."});
    }
    if (options.parameter == nullptr && options.method != eIntegrator::kDormandPrince) return;
    _innerStep.emplace(owner, options.innerStep,
                       FieldOptions<double>{.dimension = Kr::kTime,
                                            .description = "The next step of the adaptive method; 0: not yet known."});
}

Dynamics::~Dynamics() = default;

std::size_t Dynamics::_add(StateField& field, std::size_t count, std::size_t rate) {
    const std::size_t begin = _rateOf.size();
    _places.push_back({&field, begin, count});
    for (std::size_t i = 0; i < count; ++i)
        _rateOf.push_back(rate == StateSystem::kNone ? rate : rate + i);
    _values.resize(_rateOf.size());
    return begin;
}

void Dynamics::_remove(const StateField& field) noexcept {
    for (auto& each : _places) {
        if (each.field == &field) each.field = nullptr;
    }
}

eIntegrator Dynamics::getMethod() const {
    const auto chosen = _choice ? _choice->get().get<eIntegrator>() : std::nullopt;
    return chosen.value_or(_options.method);
}

void Dynamics::_step(double seconds, const detail::DerivativesOf& derivatives) {
    if (_isStepping) throw std::logic_error("Dynamics: a step in the derivatives of a step");
    for (const auto& each : _places) {
        if (each.field != nullptr) each.field->load(&_values[each.begin]);
    }
    double innerSeconds = _innerStep ? _innerStep->get() : 0.0;
    const auto end = [this] {
        _beginEvaluation(nullptr, nullptr);
        _isStepping = false;
    };
    _isStepping = true;
    try {
        _integrator.step(getMethod(), {derivatives, _rateOf}, _values, seconds, _options.tolerances, innerSeconds);
    } catch (const IntegrationError& error) {
        end();
        _fail(seconds, error);
    } catch (...) {
        end();
        throw;
    }
    end();
    if (_innerStep) _innerStep->set(innerSeconds);
    _store();
}

/// Observers of one state may destroy the fields of others, but not the states: these are members beside this object.
void Dynamics::_store() {
    for (const auto& each : _places) {
        if (each.field != nullptr) each.field->store(&_values[each.begin]);
    }
}

void Dynamics::_beginEvaluation(const double* states, double* derivatives) {
    _states = states;
    _derivatives = derivatives;
    // What is not set must not depend on earlier steps, which a snapshot does not contain.
    if (derivatives != nullptr) std::fill_n(derivatives, _rateOf.size(), 0.0);
}

void Dynamics::_finishEvaluation() {
    for (std::size_t i = 0; i < _rateOf.size(); ++i) {
        if (_rateOf[i] != StateSystem::kNone) _derivatives[i] = _states[_rateOf[i]];
    }
    _states = nullptr;
    _derivatives = nullptr;
}

std::string Dynamics::_describe(std::size_t state) const {
    for (const auto& each : _places) {
        if (state < each.begin || state >= each.begin + each.count || each.field == nullptr) continue;
        const auto* field = each.field->getBase();
        if (field == nullptr) break;
        const auto component = each.count > 1 ? ", component " + std::to_string(state - each.begin) : std::string();
        return "state '" + field->getID().str() + "'" + component + ": ";
    }
    return {};
}

void Dynamics::_fail(double seconds, const IntegrationError& error) const {
    const auto* proxy = _owner->_getProxy();
    throw IntegrationError("Dynamics of '" + (proxy != nullptr ? proxy->getPath() : std::string()) +
                               "': " + _describe(error.getState()) + error.what() + ", in a step of " +
                               std::to_string(seconds) +
                               " s. The states keep their values; check inputs, parameters and tolerances, or take "
                               "shorter steps.",
                           error.getState());
}

void Dynamics::_refuseDerivative(const KrData::FieldBase* state, bool isIntegral) {
    throw std::logic_error("State '" + (state != nullptr ? state->getID().str() : std::string()) +
                           (isIntegral ? "' is the integral of another state, so its derivative cannot be set"
                                       : "': its derivative was set outside an evaluation"));
}

}  // namespace KrSim
