#include "kr/application/application.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "kr/application/application_config.h"
#include "kr/application/context/application_state.h"
#include "kr/application/context/context_access.h"
#include "kr/application/i_simulation_file_manager.h"
#include "kr/application/internal/application_parts.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/content/paths/i_application_content.h"
#include "kr/events/errors/error_handler.h"
#include "kr/events/errors/error_handler_access.h"
#include "kr/events/event_access.h"
#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_manager_internal.h"
#include "kr/events/framework_event_names.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/extension_state.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/factory/factory_keys.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object_access.h"
#include "kr/platform/log.h"
#include "kr/platform/process.h"
#include "kr/platform/runtime_error.h"

namespace KrSim {

using detail::ExtensionAccess;
using detail::ObjectAccess;

const EventId KrApplication::kStopApplicationEvent =
    EventId::_fromNumber(Kr::KrID::numberFor(kStopApplicationEventName));
const EventId KrApplication::kStopOtherApplicationsEvent =
    EventId::_fromNumber(Kr::KrID::numberFor(kStopOtherApplicationsEventName));
const EventId KrApplication::kNewNetworkApplicationAddedEvent =
    EventId::_fromNumber(Kr::KrID::numberFor(kNewNetworkApplicationAddedEventName));

namespace {

[[maybe_unused]] const bool isContentKnownToPaths = [] {
    struct Content final : IApplicationContent {
        [[nodiscard]] std::vector<KrExtension*> getExtensions(KrApplication& application) const override {
            std::vector<KrExtension*> extensions;
            for (std::size_t i = 0; i < application.getExtensionCount(); ++i)
                extensions.push_back(application.getExtension(i));
            return extensions;
        }
    };
    static const Content content;
    Kr::UpperLayer<IApplicationContent>::install(&content);
    return true;
}();

}  // namespace

// --- Beginning and end ---------------------------------------------------------------------------------------------

Kr::KrSmartPtr<KrApplication> KrApplication::create(Kr::IClock& clock) {
    return Kr::KrSmartPtr<KrApplication>(new KrApplication(clock));
}

KrApplication::KrApplication(Kr::IClock& clock) : _parts(std::make_unique<Parts>(*this, clock)) {
    auto& parts = *_parts;
    _parts->state->eventManager = &parts.events;
    _parts->state->errorManager = &parts.errors;
    _parts->state->stepBoundary = &parts.stepBoundary;
    _parts->state->eventQueue = detail::EventManagerAccess::getQueue(parts.events);
    parts.root->setName("Application");
    ObjectAccess::setApplicationRoot(*parts.root);
    ExtensionAccess::setApplicationContext(*parts.root, _parts->context);
    _parts->content = std::make_unique<KrContentDispatcher>(*parts.root, parts);

    const auto configuration = KrExtensionFactory::create(ApplicationConfig::kFactoryKey);
    auto* implementation = configuration ? configuration->getImplementationAs<ApplicationConfig>() : nullptr;
    if (implementation == nullptr) throw KrRuntimeError("KrApplication: its configuration cannot be made");
    _parts->configuration = KrSmartInterface<ApplicationConfig>(implementation);
    configuration->setName("Config");
    _noteSetting(*implementation->simulationFrameRate.getField());
    _noteSetting(*implementation->synchronizationMode.getField());
    _noteSetting(*implementation->communicationModel.getField());
    _applyChangedSettings();
    parts.configurationWatch =
        configuration->addObserver([this](const KrData::FieldBase& changed) { _noteSetting(changed); });

    for (const char* name : {kStopApplicationEventName, kStopOtherApplicationsEventName}) {
        parts.subscriptions << parts.events.registerListener(
            EventManagerInternal::createInternalEventId(name),
            [this](const EventData&) { sendExitApplicationRequest(eExitRequestMode::kThis); });
    }
    parts.rootEntry.emplace(*this);
    detail::ErrorHandlerAccess::addApplication(parts.events);
}

KrApplication::~KrApplication() {
    auto& parts = *_parts;
    parts.rootEntry.reset();
    // From here on no other thread delivers events to what is destroyed now.
    detail::EventManagerAccess::beginEnd(parts.events);
    _parts->state->end();
    parts.configurationWatch.disconnect();
    parts.subscriptions.unregister();
    auto* const manager = parts.simulationFileManager.get();
    if (auto* door = manager != nullptr ? manager->getImplementationAs<ISimulationFileManager>() : nullptr)
        door->_application = nullptr;  // others may hold the manager
    removeAllModules();
    removeAllExtensions();
    ExtensionAccess::setApplicationContext(*parts.root, {});
    _parts->content.reset();
    detail::ErrorHandlerAccess::removeApplication(parts.events);
}

const ApplicationContext& KrApplication::getContext() const noexcept {
    return _parts->context;
}

Kr::KrBase& KrApplication::getReferenceRoot() {
    return detail::ProcessRoot::instance();
}

bool KrApplication::_whenIdle(const std::function<void()>& change) {
    return detail::changeContent(_parts->context, change, [&] { return change; });
}

// --- Content -------------------------------------------------------------------------------------------------------

bool KrApplication::add(KrExtension* extension) {
    return _parts->root->add(extension);
}

bool KrApplication::add(const KrSmartInterface<IExtension>& extension) {
    return add(extension.getExtension());
}

bool KrApplication::remove(KrExtension* extension) {
    if (extension == nullptr) return false;
    // Whether it is here is known when the removal is made: it may be added before that.
    if (!_parts->context.isBusy() && extension->getOwner() != _parts->root.get()) return false;
    _parts->root->remove(extension);
    return true;
}

bool KrApplication::remove(const KrSmartInterface<IExtension>& extension) {
    return remove(extension.getExtension());
}

KrContentDispatcher& KrApplication::getContentDispatcher() const noexcept {
    return *_parts->content;
}

void KrApplication::removeAllExtensions() {
    const auto removeAll = [this] { _removeAllExtensions(); };
    detail::changeContent(_parts->context, removeAll, [&] { return removeAll; });
}

// From the list as it is: the destructor ends here, so it is not copied. Each walk removes all that its callbacks have
// not moved out of the way.
void KrApplication::_removeAllExtensions() {
    auto& root = *_parts->root;
    const auto end = ObjectAccess::getNextPosition(root);  // those that come meanwhile stay
    for (auto changes = ObjectAccess::getChangeCount(root) + 1; changes != ObjectAccess::getChangeCount(root);) {
        changes = ObjectAccess::getChangeCount(root);
        for (auto i = root.getExtensionCount(); i-- > 0;) {
            const auto each = ObjectAccess::hold(root, i);
            if (each && ExtensionAccess::getPosition(*each) < end) root.remove(each.get());
        }
    }
}

std::size_t KrApplication::getExtensionCount() const {
    return _parts->root->getExtensionCount();
}

KrExtension* KrApplication::getExtension(std::size_t index) const {
    return _parts->root->getExtension(index);
}

// --- Modules -------------------------------------------------------------------------------------------------------

bool KrApplication::insertModule(const KrSmartInterface<ISimulatorModule>& module) {
    const auto* proxy = module ? module->_getModuleProxy() : nullptr;
    if (proxy == nullptr) return false;
    bool isInserted = true;
    const auto insert = [&] {
        if (proxy->getApplication() != nullptr) {
            Kr::logMessage(Kr::eLogLevel::kDebug, "KrApplication: Can't insert module '%s', it is in an application\n",
                           proxy->getName().c_str());
        }
        isInserted = proxy->getApplication() == nullptr && _insertModule(module);
    };
    // Where a module belongs is known on the application's thread only.
    detail::changeContent(_parts->context, insert, [&] { return [this, module] { _insertModule(module); }; });
    return isInserted;
}

bool KrApplication::_insertModule(const KrSmartInterface<ISimulatorModule>& module) {
    const Kr::KrSmartPtr<KrSimulatorModule> proxy(module->_getModuleProxy());
    if (_parts->isLeaving(*proxy)) {
        // It asks for that in a callback of its removal.
        return _parts->context.executeLater([this, module] { _insertModule(module); });
    }
    if (proxy->getApplication() != nullptr || !_parts->modules.insert(module)) return false;
    ExtensionAccess::setApplicationContext(*proxy, _parts->context);
    proxy->_onAddToApplication(this);
    // It may have been removed again, or removed and added again.
    if (proxy->getApplication() != this || _parts->content->hasModule(proxy.get())) return true;
    try {
        _parts->content->_addModule(*proxy);
    } catch (...) {
        static_cast<void>(_takeOutModule(module));
        throw;
    }
    _parts->listeners.notify([&](IApplicationListener& each) {
        if (_parts->content->hasModule(proxy.get())) each.onModuleInserted(this, proxy.get());
    });
    return true;
}

bool KrApplication::removeModule(const KrSmartInterface<ISimulatorModule>& module) {
    const auto* proxy = module ? module->_getModuleProxy() : nullptr;
    if (proxy == nullptr) return false;
    bool wasHere = true;
    const auto remove = [&] {
        wasHere = proxy->getApplication() == this;
        if (wasHere) _removeModule(module);
    };
    detail::changeContent(_parts->context, remove, [&] { return [this, module] { _removeModule(module); }; });
    return wasHere;
}

bool KrApplication::_takeOutModule(const KrSmartInterface<ISimulatorModule>& module) {
    const Kr::KrSmartPtr<KrSimulatorModule> proxy(module->_getModuleProxy());
    // A module may ask for it again from the callbacks of its removal.
    if (!_parts->modules.remove(module)) return false;
    Parts::LeavingModule leaving{proxy.get(), _parts->leavingModules};
    _parts->leavingModules = &leaving;
    _parts->content->_removeModule(*proxy);
    proxy->_onRemoveFromApplication(this);
    ExtensionAccess::setApplicationContext(*proxy, {});
    _parts->leavingModules = leaving.outer;
    return true;
}

void KrApplication::_removeModule(const KrSmartInterface<ISimulatorModule>& module) {
    const Kr::KrSmartPtr<KrSimulatorModule> proxy(module->_getModuleProxy());
    if (!_takeOutModule(module)) return;
    _parts->listeners.notify([&](IApplicationListener& each) { each.onModuleRemoved(this, proxy.get()); });
}

void KrApplication::removeAllModules() {
    const auto removeAll = [this] { _removeAllModules(); };
    detail::changeContent(_parts->context, removeAll, [&] { return removeAll; });
}

void KrApplication::_removeAllModules() {
    for (std::size_t i = _parts->content->getModuleCount(); i-- > 0;) {
        // Callbacks may remove others.
        auto* proxy = _parts->content->getModule(i);
        auto* module = proxy != nullptr ? proxy->getModuleImplementation() : nullptr;
        if (module != nullptr) _removeModule(KrSmartInterface<ISimulatorModule>(module));
    }
}

std::size_t KrApplication::getModuleCount() const {
    return _parts->content->getModuleCount();
}

KrSimulatorModule* KrApplication::getModule(std::size_t index) const {
    return _parts->content->getModule(index);
}

// --- Modes ---------------------------------------------------------------------------------------------------------

eApplicationMode KrApplication::getApplicationMode() const noexcept {
    return _parts->state->mode;
}

bool KrApplication::setApplicationMode(eApplicationMode mode) {
    if (Kr::KrEnum(mode).toString().empty()) {
        Kr::logMessage(Kr::eLogLevel::kWarn, "KrApplication: There is no application mode %d\n",
                       static_cast<int>(mode));
        return false;
    }
    _whenIdle([this, mode] { _changeMode(mode); });
    return true;
}

void KrApplication::_changeMode(eApplicationMode mode) {
    // A mode that is set while another one is announced waits, so that all listeners get both in the same order.
    if (_parts->isChangingMode && _parts->context.executeLater([this, mode] { _changeMode(mode); })) return;
    const auto before = getApplicationMode();
    if (mode == before) return;
    _parts->isChangingMode = true;
    _setEditing(mode == eApplicationMode::kEditing);
    _parts->state->mode = mode;
    _parts->content->_forEachModule([&](KrSimulatorModule& module) { module._onApplicationModeChange(before, mode); });
    _parts->listeners.notify([&](IApplicationListener& each) { each.onApplicationModeChanged(this, before, mode); });
    _parts->isChangingMode = false;
}

void KrApplication::_setEditing(bool editing) {
    for (const auto& each : _parts->content->getExtensions())
        each->getFieldsContainer()._setApplicationModeIsEditing(editing);
    _parts->content->_forEachModule(
        [&](KrSimulatorModule& module) { module.getFieldsContainer()._setApplicationModeIsEditing(editing); });
    _parts->root->getFieldsContainer()._setApplicationModeIsEditing(editing);
}

bool KrApplication::isMaster() const noexcept {
    return !isSlave();
}

bool KrApplication::isSlave() const noexcept {
    return _parts->state->communicationModel == eCommunicationModel::kSlave;
}

// --- Log -----------------------------------------------------------------------------------------------------------

void KrApplication::enableConsoleLog(bool enable) {
    KrErrorHandler::enableConsoleLog(enable);
    _parts->configuration->logConsole = enable;
}

bool KrApplication::isConsoleLogEnabled() const noexcept {
    return KrErrorHandler::isConsoleLogEnabled();
}

void KrApplication::setLogFilePrefix(const std::string& prefix) {
    _parts->configuration->logFile = prefix;
    _fileLog(prefix);
}

void KrApplication::_fileLog(const std::string& prefix) {
    std::string name = prefix;
    if (name.empty()) {
        std::error_code error;
        name = (std::filesystem::temp_directory_path(error) / "").string();
    }
    std::string process = Kr::Process::getHostNameProcessID();
    std::replace(process.begin(), process.end(), ':', '_');
    KrErrorHandler::setLogFile(name + process + ".log");
}

std::string KrApplication::getLogFilename() const {
    return KrErrorHandler::getLogFile();
}

// --- Services ------------------------------------------------------------------------------------------------------

void KrApplication::registerListener(IApplicationListener* listener) {
    _parts->listeners.add(listener);
}

KrData::DelegateConnection KrApplication::holdListener(std::shared_ptr<IApplicationListener> listener) {
    return _parts->listeners.hold(std::move(listener));
}

void KrApplication::unregisterListener(IApplicationListener* listener) {
    _parts->listeners.remove(listener);
}

void KrApplication::fillSimulationState(const Kr::KrSmartPtr<KrSimulationState>& state) const {
    for (const auto& each : _parts->root->getExtensions())
        each->fillSimulationState(state);
    _parts->modules.fillSimulationState(state);
}

KrExtension* KrApplication::getSimulationFileManager() const {
    auto& manager = _parts->simulationFileManager;
    if (!manager) {
        manager = KrExtensionFactory::create(Keys::SimulationFileManager::kInternalFactoryKey);
        if (auto* door = manager ? manager->getImplementationAs<ISimulationFileManager>() : nullptr)
            door->_application = &_parts->application;
    }
    return manager.get();
}

KrApplication::Internals KrApplication::getInternals() const noexcept {
    auto& parts = *_parts;
    return {*parts.root, parts.modules, *_parts->state, parts.events, parts.pacer, parts.masterStep};
}

}  // namespace KrSim
