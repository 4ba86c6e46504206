#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "kr/core/enum.h"
#include "kr/extension/typed_field.h"
#include "kr/integration/integrator.h"
#include "kr/platform/export.h"

namespace KrSim {

/// How Dynamics integrates.
struct IntegrationOptions {
    eIntegrator method = eIntegrator::kRungeKutta4;
    IntegrationTolerances tolerances = {};
    /// The name of a parameter by which content chooses the method; null for none.
    const char* parameter = nullptr;
    /// The name of the output that has the seconds of the next inner step of kDormandPrince. It belongs to the state of
    /// the simulation, so that a run that continues from a snapshot has the same bits. Only made when the method is
    /// kDormandPrince or content may choose it.
    const char* innerStep = "IntegrationStep";
};

template <class T>
class State;

/// The differential equations of an implementation: a member that holds its states together and advances them.
///
///     class Wheel final : public KrSim::IExtension {
///     public:
///         static constexpr int kVersion = 1;
///         explicit Wheel(KrSim::KrExtension* proxy) : IExtension(proxy, kVersion) {}
///
///         void step(double seconds) {
///             dynamics.step(seconds, [this](double) {
///                 speed.setDerivative((force - stiffness * position - damping * speed) / mass);
///             });
///         }
///
///         KrSim::Input<double> force{this, "Force", {.dimension = Kr::kForce}};
///         KrSim::Dynamics dynamics{this};
///         KrSim::State<double> speed{dynamics, "Speed", {.dimension = Kr::kSpeed}};
///         KrSim::State<double> position{speed, "Position", {.dimension = Kr::kLength}};  // the integral of the speed
///     };
///
/// During a step inputs and parameters keep their values, and states read as the values that the method tries; the
/// outputs of the states get the results once, at its end. Couplings between extensions are exact to the first order of
/// the step: put what must be integrated together into one Dynamics.
/// Thread: application. A steady step allocates nothing.
/// Ownership: a member of the implementation, declared before its states.
class KR_API Dynamics {
public:
    explicit Dynamics(IExtension* owner, const IntegrationOptions& options = {});
    Dynamics(const Dynamics&) = delete;
    Dynamics& operator=(const Dynamics&) = delete;
    ~Dynamics();

    /// Advances all states by `seconds`, at least 0. Not from inside `derivatives`.
    /// \param derivatives  void(double time), called with the seconds since the beginning of the step, several times
    /// and
    ///                     not always with growing times: sets the derivatives of the states that are no integrals, and
    ///                     changes nothing else. A derivative that it does not set is 0.
    /// Throws IntegrationError, which names the extension and the state, when a result is not finite and when
    /// kDormandPrince cannot keep its tolerances; exceptions of `derivatives` pass. All states keep their values then.
    /// Throws std::logic_error from inside `derivatives`.
    template <class Derivatives>
    void step(double seconds, Derivatives&& derivatives) {
        using Function = std::remove_reference_t<Derivatives>;
        struct Call {
            Dynamics& dynamics;
            Function& function;
        } call{*this, derivatives};
        const auto evaluate = [](void* context, double time, const double* states, double* results) {
            auto& current = *static_cast<Call*>(context);
            current.dynamics._beginEvaluation(states, results);
            current.function(time);
            current.dynamics._finishEvaluation();
        };
        _step(seconds, {evaluate, &call});
    }

    /// That of the options, or the choice of the parameter. A choice that is no method counts as that of the options.
    [[nodiscard]] eIntegrator getMethod() const;
    [[nodiscard]] const IntegrationStatistics& getStatistics() const noexcept { return _integrator.getStatistics(); }

private:
    template <class T>
    friend class State;

    /// What a state must let its dynamics do; the states are members of the implementation, too.
    struct StateField {
        virtual void load(double* values) const = 0;
        virtual void store(const double* values) = 0;
        [[nodiscard]] virtual const KrData::FieldBase* getBase() const = 0;

    protected:
        ~StateField() = default;
    };
    struct Place {
        StateField* field;
        std::size_t begin;
        std::size_t count;
    };

    /// \param rate  place of the state whose value is the derivative; none for a state with a derivative of its own.
    std::size_t _add(StateField& field, std::size_t count, std::size_t rate = detail::StateSystem::kNone);
    void _remove(const StateField& field) noexcept;
    void _step(double seconds, const detail::DerivativesOf& derivatives);
    void _beginEvaluation(const double* states, double* derivatives);
    void _finishEvaluation();
    void _store();
    [[noreturn]] void _fail(double seconds, const IntegrationError& error) const;
    [[nodiscard]] std::string _describe(std::size_t state) const;
    [[noreturn]] static void _refuseDerivative(const KrData::FieldBase* state, bool isIntegral);

    IExtension* _owner;
    const IntegrationOptions _options;
    std::optional<Parameter<Kr::KrEnum>> _choice;
    std::optional<Output<double>> _innerStep;
    std::vector<Place> _places;
    std::vector<std::size_t> _rateOf;  // for each number of a state
    std::vector<double> _values;
    bool _isStepping{false};
    // During an evaluation; null otherwise
    const double* _states{nullptr};
    double* _derivatives{nullptr};
    detail::StateIntegrator _integrator;
};

/// A state of an implementation: an output whose value Dynamics advances. Reads as its value; see Dynamics.
/// Thread: application. Ownership: a member of the implementation, declared after its Dynamics.
/// \tparam T  double, or a vector of doubles.
template <class T>
class State final : private Dynamics::StateField {
    static_assert(std::is_same_v<T, double> || (std::is_same_v<typename KrData::ValueTraits<T>::Component, double> &&
                                                KrData::ValueTraits<T>::kIsConvertedByParts),
                  "a state is a double or a vector of doubles");
    static constexpr std::size_t kCount = sizeof(T) / sizeof(double);

public:
    /// A state with a derivative of its own.
    /// \param id  the name of the output; content stores it, so it must not change (see addDeprecatedName).
    State(Dynamics& dynamics, const Kr::KrID& id, const FieldOptions<T>& options = {})
        : _dynamics(dynamics), _output(dynamics._owner, id, options), _place(dynamics._add(*this, kCount)) {}
    /// The integral of another state over time: its derivative is the value of `rate`, a member before this one.
    /// kSemiImplicitEuler advances it by the new value of `rate`.
    State(const State& rate, const Kr::KrID& id, const FieldOptions<T>& options = {})
        : _dynamics(rate._dynamics),
          _output(_dynamics._owner, id, options),
          _place(_dynamics._add(*this, kCount, rate._place)),
          _isIntegral(true) {}
    State& operator=(const State&) = delete;
    ~State() { _dynamics._remove(*this); }

    /// The value; during an evaluation the one that the method tries.
    [[nodiscard]] T get() const {
        if (_dynamics._states == nullptr) return _output.get();
        return read(_dynamics._states + _place);
    }
    operator T() const { return get(); }

    /// The change of the value in one second. Throws std::logic_error outside an evaluation, and for the integral of
    /// another state.
    void setDerivative(const T& derivative) {
        if (_dynamics._derivatives == nullptr || _isIntegral) Dynamics::_refuseDerivative(getField(), _isIntegral);
        std::memcpy(_dynamics._derivatives + _place, &derivative, sizeof(T));
    }

    /// Sets the value from outside of the equations, as after a collision. False during an evaluation.
    bool set(const T& value) { return _dynamics._states == nullptr && _output.set(value); }
    State& operator=(const T& value) {
        set(value);
        return *this;
    }

    /// See Input.
    [[nodiscard]] KrData::Field<T>* getField() const noexcept { return _output.getField(); }
    bool addDeprecatedName(const Kr::KrID& former) { return _output.addDeprecatedName(former); }

private:
    [[nodiscard]] static T read(const double* values) {
        std::array<double, kCount> components;
        std::memcpy(components.data(), values, sizeof(components));
        return std::bit_cast<T>(components);
    }
    void load(double* values) const override { std::memcpy(values, &_output.get(), sizeof(T)); }
    void store(const double* values) override { _output.set(read(values)); }
    [[nodiscard]] const KrData::FieldBase* getBase() const override { return getField(); }

    Dynamics& _dynamics;
    Output<T> _output;
    const std::size_t _place;
    const bool _isIntegral{false};
};

}  // namespace KrSim
