// Settings of the main loop, and setups.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include "kr/application/application.h"
#include "kr/application/application_config.h"
#include "kr/application/context/application_state.h"
#include "kr/application/internal/application_parts.h"
#include "kr/application/internal/module_settings.h"
#include "kr/events/errors/error_handler.h"
#include "kr/platform/log.h"

namespace KrSim {

namespace {

/// The value of a setting; nothing, with a warning, when the enumeration has no such value.
template <class Enumeration>
std::optional<Enumeration> valueOf(const Parameter<Kr::KrEnum>& setting) {
    const auto value = setting.get().get<Enumeration>();
    if (value && !Kr::KrEnum(*value).toString().empty()) return value;
    const auto* field = setting.getField();
    Kr::logMessage(Kr::eLogLevel::kWarn,
                   "KrApplication: '%s' of the setup has the value %d, which does not exist; it is ignored\n",
                   field != nullptr ? field->getID().str().c_str() : "", static_cast<int>(setting.get()));
    return std::nullopt;
}

// The settings that take effect in the order in which they do: the log first, so that it has what the rest tells.
enum Setting : std::size_t {
    kLogLevel,
    kLogConsole,
    kLogFile,
    kPluginDirectories,
    kResourcesDirectories,
    kFrameRate,
    kSyncMode,
    kCommunicationModel,
    kRandomSeed,
    kApplicationMode,
    kSettingCount
};
using SettingFields = std::array<const KrData::FieldBase*, kSettingCount>;

constexpr std::uint32_t bit(std::size_t setting) {
    return 1U << setting;
}

/// In the order of the enumeration; null for a field that was removed.
SettingFields fieldsOf(const ApplicationConfig& settings) {
    return {settings.loggingLevel.getField(),
            settings.logConsole.getField(),
            settings.logFile.getField(),
            settings.pluginDirectories.getField(),
            settings.resourcesDirectories.getField(),
            settings.simulationFrameRate.getField(),
            settings.synchronizationMode.getField(),
            settings.communicationModel.getField(),
            settings.randomSeed.getField(),
            settings.applicationMode.getField()};
}

/// Those for which there is a field.
std::uint32_t presentSettings(const ApplicationConfig& settings) {
    std::uint32_t present = 0;
    const auto fields = fieldsOf(settings);
    for (std::size_t i = 0; i < kSettingCount; ++i)
        if (fields[i] != nullptr) present |= bit(i);
    return present;
}

/// Within the range of the field and what the pacing of frames can do, whatever the field holds.
double boundedRate(const Parameter<double>& setting, double rateHz) {
    if (const auto* field = setting.getField(); field != nullptr && field->hasRange())
        rateHz = std::clamp(rateHz, field->getMinimum(), field->getMaximum());
    return std::clamp(rateHz, ApplicationConfig::kLowestFrameRate, ApplicationConfig::kHighestFrameRate);
}

}  // namespace

void KrApplication::setSimulationFrameRate(double rateHz) {
    const bool isNumber = !std::isnan(rateHz);
    if (isNumber) {
        auto& setting = _parts->configuration->simulationFrameRate;
        const double pacedHz = boundedRate(setting, rateHz);
        setting = rateHz;
        if (setting != pacedHz) setting = pacedHz;  // it was loaded, and an equal value is not clamped
        _parts->state->frameRateHz = pacedHz;
        _parts->state->requestedRateHz = rateHz;
    }
    Kr::logMessage(Kr::eLogLevel::kDebug, "KrApplication: Frame rate set to %g Hz", rateHz);
    if (isNumber) return;
    Kr::logMessage(Kr::eLogLevel::kWarn, "KrApplication: A frame rate that is no number is ignored, it stays %g Hz\n",
                   getSimulationFrameRate());
}

double KrApplication::getSimulationFrameRate() const noexcept {
    return _parts->state->frameRateHz;
}

double KrApplication::getSimulationTimeStep() const noexcept {
    return 1.0 / _parts->state->frameRateHz;
}

void KrApplication::setSyncMode(eSynchronizationMode mode) {
    _parts->configuration->synchronizationMode = Kr::KrEnum(mode);
    if (const auto value = valueOf<eSynchronizationMode>(_parts->configuration->synchronizationMode)) {
        _parts->state->syncMode = *value;
    }
}

eSynchronizationMode KrApplication::getSyncMode() const noexcept {
    return _parts->state->syncMode;
}

void KrApplication::setCommunicationModel(eCommunicationModel model) {
    _parts->configuration->communicationModel = Kr::KrEnum(model);
    if (const auto value = valueOf<eCommunicationModel>(_parts->configuration->communicationModel)) {
        _parts->state->communicationModel = *value;
    }
}

void KrApplication::_applyFrameRate(double rateHz, bool isAsked) {
    if (isAsked || rateHz != getSimulationFrameRate()) setSimulationFrameRate(rateHz);
    auto& own = _parts->configuration->simulationFrameRate;
    if (std::isnan(own)) own = getSimulationFrameRate();
}

void KrApplication::setRandomSeed(std::uint32_t seed) {
    _parts->configuration->randomSeed = seed;
    _parts->state->random.setSeed(seed);
}

ApplicationConfig* KrApplication::getConfiguration() const noexcept {
    return _parts->configuration.get();
}

void KrApplication::_noteSetting(const KrData::FieldBase& changed) {
    const auto fields = fieldsOf(*_parts->configuration);
    const auto place = std::find(fields.begin(), fields.end(), &changed);
    if (place != fields.end()) _parts->changedSettings |= bit(static_cast<std::size_t>(place - fields.begin()));
}

void KrApplication::_applyChangedSettings() {
    const auto changed = std::exchange(_parts->changedSettings, 0);
    _applySettings(*_parts->configuration, changed & presentSettings(*_parts->configuration));
}

void KrApplication::_applySettings(const ApplicationConfig& settings, std::uint32_t which) {
    const bool isSetup = &settings != _parts->configuration.get();
    const auto isOneOf = [&](Setting setting) { return (which & bit(setting)) != 0; };
    if (isOneOf(kLogLevel)) {
        if (const auto level = valueOf<Kr::eLogLevel>(settings.loggingLevel)) Kr::LogSetLevel(*level);
    }
    if (isOneOf(kLogConsole)) KrErrorHandler::enableConsoleLog(settings.logConsole);
    if (isOneOf(kLogFile)) _fileLog(settings.logFile);
    if (isOneOf(kPluginDirectories)) settings._applyPluginPath();
    if (isOneOf(kResourcesDirectories)) settings._applyResourcesPath();
    if (isOneOf(kFrameRate)) _applyFrameRate(settings.simulationFrameRate, isSetup);
    if (isOneOf(kSyncMode)) {
        if (const auto mode = valueOf<eSynchronizationMode>(settings.synchronizationMode))
            _parts->state->syncMode = *mode;
    }
    if (isOneOf(kCommunicationModel)) {
        const auto model = valueOf<eCommunicationModel>(settings.communicationModel);
        if (model) _parts->state->communicationModel = *model;
    }
    // The same seed again leaves the streams where they are.
    if (isOneOf(kRandomSeed) && settings.randomSeed != _parts->state->random.getSeed())
        setRandomSeed(settings.randomSeed);
    if (isOneOf(kApplicationMode)) {
        if (const auto mode = valueOf<eApplicationMode>(settings.applicationMode)) setApplicationMode(*mode);
    }
}

bool KrApplication::applySetup(const KrSmartInterface<ApplicationConfig>& setup) {
    if (!setup) return false;
    _whenIdle([this, setup] {
        auto& own = _parts->configuration.getExtension()->getParameterContainer();
        for (const auto* each : setup.getExtension()->getParameterContainer()) {
            const auto place = own.find(each->getID());
            if (place != own.end()) (*place)->copyValue(*each);
        }
        _parts->changedSettings = 0;  // the copies; they take effect here
        _applySettings(*setup, presentSettings(*setup));
        detail::applyModules(*this, *setup);
    });
    return true;
}

}  // namespace KrSim
