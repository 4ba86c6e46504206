// Settings of the main loop, and setups.

#include <cmath>
#include <optional>

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

}  // namespace

void KrApplication::setSimulationFrameRate(double rateHz) {
    const bool isNumber = !std::isnan(rateHz);
    if (isNumber) {
        _configuration->simulationFrameRate = rateHz;
        _state->_setFrameRate(_configuration->simulationFrameRate, rateHz);
    }
    Kr::logMessage(Kr::eLogLevel::kDebug, "KrApplication: Frame rate set to %g Hz", rateHz);
    if (isNumber) return;
    Kr::logMessage(Kr::eLogLevel::kWarn, "KrApplication: A frame rate that is no number is ignored, it stays %g Hz\n",
                   getSimulationFrameRate());
}

double KrApplication::getSimulationFrameRate() const noexcept {
    return _state->_getFrameRate();
}

double KrApplication::getSimulationTimeStep() const noexcept {
    return 1.0 / _state->_getFrameRate();
}

void KrApplication::setSyncMode(eSynchronizationMode mode) {
    _configuration->synchronizationMode = Kr::KrEnum(mode);
    if (const auto value = valueOf<eSynchronizationMode>(_configuration->synchronizationMode)) {
        _state->_setSyncMode(*value);
    }
}

eSynchronizationMode KrApplication::getSyncMode() const noexcept {
    return _state->_getSyncMode();
}

void KrApplication::setCommunicationModel(eCommunicationModel model) {
    _configuration->communicationModel = Kr::KrEnum(model);
    if (const auto value = valueOf<eCommunicationModel>(_configuration->communicationModel)) {
        _state->_setCommunicationModel(*value);
    }
}

void KrApplication::_applyConfiguration() {
    _isConfigurationChanged = false;
    const double rateHz = _configuration->simulationFrameRate;
    if (std::isnan(rateHz)) {
        setSimulationFrameRate(rateHz);  // refuses it
        _configuration->simulationFrameRate = getSimulationFrameRate();
    } else if (rateHz != getSimulationFrameRate()) {
        _state->_setFrameRate(rateHz, rateHz);
    }
    if (const auto mode = valueOf<eSynchronizationMode>(_configuration->synchronizationMode)) {
        _state->_setSyncMode(*mode);
    }
    if (const auto model = valueOf<eCommunicationModel>(_configuration->communicationModel)) {
        _state->_setCommunicationModel(*model);
    }
}

bool KrApplication::applySetup(const KrSmartInterface<ApplicationConfig>& setup) {
    if (!setup) return false;
    _whenIdle([this, setup] {
        auto& own = _configuration.getExtension()->getParameterContainer();
        for (const auto* each : setup.getExtension()->getParameterContainer()) {
            const auto place = own.find(each->getID());
            if (place != own.end()) (*place)->copyValue(*each);
        }
        // The log first, so that it has what the rest tells.
        if (const auto level = valueOf<Kr::eLogLevel>(setup->loggingLevel)) Kr::LogSetLevel(*level);
        KrErrorHandler::enableConsoleLog(setup->logConsole);
        setLogFilePrefix(setup->logFile);
        _configuration->_applyPluginPath();
        _configuration->_applyResourcesPath();
        _applyConfiguration();
        if (!std::isnan(setup->simulationFrameRate)) setSimulationFrameRate(setup->simulationFrameRate);
        if (const auto mode = valueOf<eApplicationMode>(setup->applicationMode)) setApplicationMode(*mode);
        detail::applyModules(*this, *setup);
    });
    return true;
}

}  // namespace KrSim
