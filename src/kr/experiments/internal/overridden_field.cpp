#include "kr/experiments/internal/overridden_field.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <istream>
#include <limits>
#include <ostream>
#include <type_traits>
#include <vector>

#include "kr/application/context/random_stream.h"
#include "kr/core/physical_dimension.h"
#include "kr/data/field_access.h"
#include "kr/experiments/field_text.h"
#include "kr/platform/text.h"

namespace KrExperiments::detail {
namespace {

using Dimension = Kr::KrPhysicalDimension;
using KrData::Field;
using KrData::FieldBase;
using KrData::detail::FieldAccess;

constexpr std::size_t kMostSamples = 1'000'000;
constexpr std::size_t kLongestText = 1'000'000;
/// Of a frame; times that are nearer are equal. Less is the rounding of times.
constexpr double kRounding = 1e-6;

// --- Amounts -------------------------------------------------------------------------------------------------------

/// A difference in a unit: 2 degrees Celsius are 2 K here.
std::string parseDifference(const FieldBase& field, const std::string& text, double& amount) {
    if (auto problem = parseFieldNumber(field, text, amount); !problem.empty()) return problem;
    const auto digits = text.find_first_not_of("0123456789.+-eE \t");
    double zero = 0.0;
    auto problem = parseFieldNumber(field, digits == std::string::npos ? "0" : "0 " + text.substr(digits), zero);
    amount -= zero;
    return problem;
}

std::string parseRatio(const std::string& text, double& amount) {
    const auto parsed = Dimension::parse(text, Dimension::ePhysicalDimension::kRatio);
    if (!parsed) return Kr::quote(text) + " is neither a number nor a number with %";
    amount = *parsed;
    return {};
}

std::string parseAmount(const FieldBase& field, const OverridePlan& plan, double& amount) {
    std::string problem;
    switch (plan.kind) {
        case eOverrideKind::kBias:
            return parseDifference(field, plan.amount, amount);
        case eOverrideKind::kNoise:
            problem = parseDifference(field, plan.amount, amount);
            return problem.empty() && amount < 0.0 ? "a standard deviation is not negative" : problem;
        case eOverrideKind::kGain:
            return parseRatio(plan.amount, amount);
        case eOverrideKind::kDropout:
            problem = parseRatio(plan.amount, amount);
            if (problem.empty() && !(amount >= 0.0 && amount <= 1.0)) return "a probability is from 0 to 1";
            return problem;
        case eOverrideKind::kDelay: {
            const auto seconds = Dimension::parse(plan.amount, Kr::kTime);
            if (!seconds || *seconds <= 0.0) return Kr::quote(plan.amount) + " is no time above 0";
            amount = *seconds;
            return {};
        }
        default:
            return {};
    }
}

// --- Values as bytes of a state --------------------------------------------------------------------------------------

template <class T>
void writeBytes(std::ostream& state, const T& value) {
    state.write(reinterpret_cast<const char*>(&value), sizeof value);
}

template <class T>
bool readBytes(std::istream& state, T& value) {
    return static_cast<bool>(state.read(reinterpret_cast<char*>(&value), sizeof value));
}

template <class T>
void writeValue(std::ostream& state, const T& value) {
    if constexpr (std::is_same_v<T, std::string>) {
        writeBytes(state, static_cast<std::uint64_t>(value.size()));
        state.write(value.data(), static_cast<std::streamsize>(value.size()));
    } else if constexpr (std::is_same_v<T, Kr::KrEnum>) {
        writeBytes(state, static_cast<std::int32_t>(static_cast<int>(value)));
    } else {
        writeBytes(state, value);
    }
}

/// \param value  has the type of an enumeration before.
template <class T>
bool readValue(std::istream& state, T& value) {
    if constexpr (std::is_same_v<T, std::string>) {
        std::uint64_t size = 0;
        if (!readBytes(state, size) || size > kLongestText) return false;
        value.resize(size);
        return static_cast<bool>(state.read(value.data(), static_cast<std::streamsize>(size)));
    } else if constexpr (std::is_same_v<T, Kr::KrEnum>) {
        std::int32_t number = 0;
        if (!readBytes(state, number)) return false;
        if (const auto* type = value.getType()) value = Kr::KrEnum(*type, number);
        return true;
    } else {
        return readBytes(state, value);
    }
}

template <class T>
inline constexpr bool kIsNumber = std::is_arithmetic_v<T> && !std::is_same_v<T, bool>;

template <class T>
T toNumber(double value) {
    if constexpr (std::is_integral_v<T>) {
        if (std::isnan(value)) return T{};
        const double rounded = std::nearbyint(value);  // half to even
        return static_cast<T>(std::clamp(rounded, static_cast<double>(std::numeric_limits<T>::lowest()),
                                         static_cast<double>(std::numeric_limits<T>::max())));
    } else {
        return static_cast<T>(value);
    }
}

// --- The samples of a delay ------------------------------------------------------------------------------------------

/// The values at the beginnings of frames, as far back as a delay needs them. Allocates only when the frame rate rises.
class Samples {
public:
    void reserve(std::size_t count) { _ring.resize(std::min(count, kMostSamples)); }
    void clear() noexcept { _count = 0; }

    void add(double seconds, double value) {
        if (_ring.empty()) return;
        if (_count == _ring.size()) {
            _first = (_first + 1) % _ring.size();
            --_count;
        }
        _at(_count++) = {seconds, value};
    }
    /// The newest one that is not later; the oldest when all are later, and nothing older is kept.
    [[nodiscard]] double take(double seconds) {
        while (_count > 1 && _at(1).seconds <= seconds) {
            _first = (_first + 1) % _ring.size();
            --_count;
        }
        return _at(0).value;
    }
    /// Whether the next one would push out one that is still needed.
    [[nodiscard]] bool isFull() const noexcept { return _count == _ring.size() && _count < kMostSamples; }
    void grow() {
        std::rotate(_ring.begin(), _ring.begin() + static_cast<std::ptrdiff_t>(_first), _ring.end());
        _first = 0;
        reserve(2 * _ring.size());
    }

    void save(std::ostream& state) const {
        writeBytes(state, static_cast<std::uint64_t>(_count));
        for (std::size_t i = 0; i < _count; ++i)
            writeBytes(state, _ring[(_first + i) % _ring.size()]);
    }
    [[nodiscard]] bool restore(std::istream& state) {
        std::uint64_t count = 0;
        if (!readBytes(state, count) || count > kMostSamples) return false;
        _first = 0;
        _count = 0;
        if (count > _ring.size()) reserve(count);
        for (; _count < count; ++_count)
            if (!readBytes(state, _ring[_count])) return false;
        return true;
    }

private:
    struct Sample {
        double seconds{0.0};
        double value{0.0};
    };

    [[nodiscard]] Sample& _at(std::size_t index) { return _ring[(_first + index) % _ring.size()]; }

    std::vector<Sample> _ring;
    std::size_t _first{0};
    std::size_t _count{0};
};

// --- The overrides of a field of one type ----------------------------------------------------------------------------

template <class T>
struct Effect {
    std::size_t number{0};
    eOverrideKind kind{eOverrideKind::kForce};
    const bool* isWanted{nullptr};
    KrSim::RandomStream random{};
    double amount{0.0};  // in SI units
    double moment{0.0};  // the number that noise adds in this frame
    bool isActive{false};
    bool isDropped{false};  // the value of this frame
    T value{};              // that is forced, was frozen, came through last, or is delayed
    Samples samples{};
};

template <class T>
class TypedOverriddenField final : public OverriddenField {
public:
    TypedOverriddenField(Field<T>& field, std::string path, KrSim::ApplicationContext context)
        : OverriddenField(field, std::move(path), std::move(context)) {}
    ~TypedOverriddenField() override { _install(false); }

    std::string add(std::size_t number, const OverridePlan& plan, const bool& isWanted) override {
        auto* field = _typed();
        if (field == nullptr) return "the field was removed";
        if (field->isBound()) return "it is bound to a variable of its extension, which others cannot override";
        const bool isSimple = plan.kind == eOverrideKind::kForce || plan.kind == eOverrideKind::kFreeze;
        if (!kIsNumber<T> && !isSimple) return "only numbers can have it; this field can be forced and frozen";
        Effect<T> effect{number, plan.kind, &isWanted,
                         _context.getRandomStream("Override/" + _path + "/" + std::to_string(_effects.size() + 1))};
        if (auto problem = parseAmount(*field, plan, effect.amount); !problem.empty()) return problem;
        effect.value = field->getOwnValue();
        if (plan.kind == eOverrideKind::kForce) {
            const std::unique_ptr<Field<T>> probe(field->clone(nullptr));
            if (auto problem = setField(*probe, plan.amount); !problem.empty()) return problem;
            effect.value = probe->getValue();
        }
        if (plan.kind == eOverrideKind::kDelay) {
            const double frames = effect.amount / _context.getSimulationTimeStep();
            if (!(frames < static_cast<double>(kMostSamples))) return "so long a delay takes too many samples";
            effect.samples.reserve(static_cast<std::size_t>(frames) + 3);
        }
        _effects.push_back(std::move(effect));
        return {};
    }

    void remove(std::size_t number) override {
        std::erase_if(_effects, [&](const auto& each) { return each.number == number; });
        _show();
    }
    bool isIdle() const noexcept override { return _effects.empty(); }

    bool beginFrame(double seconds) override {
        auto* field = _typed();
        const bool isLost = field == nullptr || (_isInstalled && !field->isOverridden()) || field->isBound();
        if (isLost) {
            _isInstalled = false;
            return std::exchange(_isLost, true);
        }
        T value = field->getOwnValue();
        for (auto& each : _effects) {
            _begin(each, seconds, value);
            if (each.isActive) value = _apply(each, value);
        }
        _show();
        return true;
    }

    bool isActive(std::size_t number) const noexcept override {
        return !_isLost && std::any_of(_effects.begin(), _effects.end(),
                                       [&](const auto& each) { return each.number == number && each.isActive; });
    }

    std::string formatOwn() const override {
        const auto* field = _typed();
        if (field == nullptr) return {};
        const std::unique_ptr<Field<T>> own(field->clone(nullptr));  // copies have the own value
        return formatField(*own);
    }

    void save(std::ostream& state) const override {
        const auto* field = _typed();
        writeValue(state, field != nullptr ? field->getOwnValue() : T{});
        for (const auto& each : _effects) {
            writeBytes(state, each.isActive);
            writeBytes(state, each.isDropped);
            writeBytes(state, each.moment);
            writeValue(state, each.value);
            each.samples.save(state);
        }
    }

    bool restore(std::istream& state) override {
        auto* field = _typed();
        T own = field != nullptr ? field->getOwnValue() : T{};
        bool isRead = readValue(state, own);
        for (auto& each : _effects) {
            isRead = isRead && readBytes(state, each.isActive) && readBytes(state, each.isDropped) &&
                     readBytes(state, each.moment) && readValue(state, each.value) && each.samples.restore(state);
        }
        if (!isRead || field == nullptr) return isRead;
        _isInstalled = _isAnyActive();
        FieldAccess::restoreOverride(*field, own, _isInstalled ? _makeReplacement() : Replacement());
        return true;
    }

    void takeRestored() override {
        auto* field = _typed();
        for (auto& each : _effects)
            each.isActive = false;
        if (_isInstalled && field != nullptr) FieldAccess::restoreOverride<T>(*field, field->getValue(), {});
        _isInstalled = false;
    }

private:
    using Replacement = std::function<T(const T& own)>;

    [[nodiscard]] Field<T>* _typed() const { return static_cast<Field<T>*>(_field.get()); }
    [[nodiscard]] bool _isAnyActive() const {
        return std::any_of(_effects.begin(), _effects.end(), [](const auto& each) { return each.isActive; });
    }

    /// What changes from frame to frame. \param value  that the override gets.
    void _begin(Effect<T>& effect, double seconds, const T& value) {
        const bool wasActive = std::exchange(effect.isActive, *effect.isWanted);
        if (!effect.isActive) return;
        if (!wasActive && effect.kind != eOverrideKind::kForce) {
            effect.value = value;
            effect.samples.clear();
        }
        if constexpr (kIsNumber<T>) {
            if (effect.kind == eOverrideKind::kNoise) effect.moment = effect.random.getNormal(0.0, effect.amount);
            if (effect.kind == eOverrideKind::kDropout) effect.isDropped = effect.random.getBoolean(effect.amount);
            if (effect.kind != eOverrideKind::kDelay) return;
            if (effect.samples.isFull()) effect.samples.grow();
            effect.samples.add(seconds, static_cast<double>(value));
            const double rounding = kRounding * _context.getSimulationTimeStep();
            effect.value = toNumber<T>(effect.samples.take(seconds - effect.amount + rounding));
        }
    }

    static T _apply(Effect<T>& effect, const T& value) {
        if constexpr (kIsNumber<T>) {
            const auto number = static_cast<double>(value);
            switch (effect.kind) {
                case eOverrideKind::kBias:
                    return toNumber<T>(number + effect.amount);
                case eOverrideKind::kGain:
                    return toNumber<T>(number * effect.amount);
                case eOverrideKind::kNoise:
                    return toNumber<T>(number + effect.moment);
                case eOverrideKind::kDropout:
                    if (!effect.isDropped) effect.value = value;
                    return effect.value;
                default:
                    break;
            }
        }
        return effect.value;
    }

    [[nodiscard]] T _replace(const T& own) {
        T value = own;
        for (auto& each : _effects)
            if (each.isActive) value = _apply(each, value);
        return value;
    }
    [[nodiscard]] Replacement _makeReplacement() {
        return [this](const T& own) { return _replace(own); };
    }

    void _show() {
        const bool isWanted = _isAnyActive();
        if (isWanted && _isInstalled) return FieldAccess::refreshOverride(*_typed());
        if (isWanted != _isInstalled) _install(isWanted);
    }
    void _install(bool isWanted) {
        auto* field = _typed();
        if (field == nullptr || isWanted == _isInstalled) return;
        _isInstalled = FieldAccess::setOverride(*field, isWanted ? _makeReplacement() : Replacement()) && isWanted;
    }

    std::vector<Effect<T>> _effects;
    bool _isInstalled{false};
};

}  // namespace

OverriddenField::~OverriddenField() = default;

std::unique_ptr<OverriddenField> OverriddenField::create(FieldBase& field, std::string path,
                                                         KrSim::ApplicationContext context) {
    if (!takesText(field)) return nullptr;
    using Made = std::unique_ptr<OverriddenField>;
    return KrData::withValueType(field.getDataType(), [&]<class T>(std::type_identity<T>) -> Made {
        if constexpr (std::is_pointer_v<T>) {
            return nullptr;
        } else {
            return std::make_unique<TypedOverriddenField<T>>(static_cast<Field<T>&>(field), std::move(path),
                                                             std::move(context));
        }
    });
}

}  // namespace KrExperiments::detail
