#include "kr/application/application_config.h"

#include <memory>
#include <utility>

#include "kr/application/application.h"
#include "kr/application/application_config_implementation.h"
#include "kr/application/context/application_modes.h"
#include "kr/application/internal/module_settings.h"
#include "kr/data/types.h"
#include "kr/extension/factory/factory_keys.h"
#include "kr/extension/factory/registration.h"
#include "kr/extension/object.h"
#include "kr/platform/log.h"
#include "kr/platform/plugins/plugin_manager.h"
#include "kr/platform/plugins/resource_manager.h"

namespace KrSim {

const KrFactoryKey ApplicationConfig::kFactoryKey = Keys::Setup::kFactoryKey;
const Kr::KrID ApplicationConfig::kFieldTypeId = KrData::Types::_registerInterfaceFieldType(
    "KrSim::ApplicationConfig", "Application Setup",
    [](IExtension* implementation) { return dynamic_cast<ApplicationConfig*>(implementation) != nullptr; });

namespace {

// Here and not in a separate file, which a static library would omit.
[[maybe_unused]] const bool isRegistered =
    registerExtensionType<ApplicationConfigImplementation>(Keys::Setup::kFactoryKey);

// Letter for letter: the texts are part of saved setups.
constexpr const char* kCommunicationModelText =
    "The communication model for the application:\n"
    "Master application is the source of simulation, usually contains the dynamics module.\n"
    "Slave application(s) receives data from the master.\n"
    "Automatic application becomes the master when no other application of the simulation is the master already,\n"
    "otherwise it becomes a slave.";
constexpr const char* kRemoteAccessName = "Remote Access";
constexpr const char* kEnableName = "Enable";
constexpr const char* kListeningPortName = "Listening Port";

template <class T>
KrData::Field<T>* addDescribed(KrData::Container& container, const char* name, const char* description) {
    auto* field = new KrData::Field<T>(name, &container);
    field->setDescription(description);
    return field;
}

/// Without those that a field cannot hold: a part of a path would be another directory.
std::vector<ApplicationConfig::FileName> fileNames(const Kr::KrArray<std::string>& directories) {
    std::vector<ApplicationConfig::FileName> names;
    for (const auto& each : directories) {
        ApplicationConfig::FileName name;
        if (name.assign(each)) {
            names.push_back(name);
        } else {
            Kr::logMessage(Kr::eLogLevel::kWarn,
                           "ApplicationConfig: the directory '%s' is not in the setup: its path has %zu bytes, a setup "
                           "holds %zu; use a shorter path or a link\n",
                           each.c_str(), each.size(), name.capacity());
        }
    }
    return names;
}

}  // namespace

// --- Lists ---------------------------------------------------------------------------------------------------------

template <class T>
ApplicationConfig::List<T>::List(IExtension* owner, const char* name, const char* description)
    : _owner(owner), _name(name) {
    auto field = std::make_unique<KrData::Vector<T>>(_name);
    field->setDescription(description);
    detail::placeDeclaredField(owner, KrData::Types::kParameter, field.release());
}

template <class T>
KrData::Vector<T>* ApplicationConfig::List<T>::getField() const {
    auto* proxy = _owner->_getProxy();
    auto* field = proxy != nullptr ? proxy->getParameter(_name) : nullptr;
    return field != nullptr ? KrData::Vector<T>::from(*field) : nullptr;
}

template <class T>
std::vector<T> ApplicationConfig::List<T>::get() const {
    const auto* field = getField();
    return field != nullptr ? field->getItems() : std::vector<T>();
}

template <class T>
bool ApplicationConfig::List<T>::set(std::vector<T> items) {
    auto* field = getField();
    if (field == nullptr) return false;
    field->setItems(std::move(items));
    return true;
}

template class ApplicationConfig::List<std::string>;
template class ApplicationConfig::List<ApplicationConfig::FileName>;

// --- Remote access -------------------------------------------------------------------------------------------------

ApplicationConfig::RemoteAccessContainer::RemoteAccessContainer(const Kr::KrID& id)
    : Container(id, nullptr, KrData::Types::kParameter) {
    addDescribed<bool>(*this, kEnableName, "Enables the remote access feature for this application.");
    addDescribed<unsigned short>(*this, kListeningPortName,
                                 "Specifies on which port the remote access will be listening to. Default value is 0 "
                                 "(the Operating System chooses a free port).");
}

ApplicationConfig::RemoteAccess::RemoteAccess(IExtension* owner) {
    auto container = std::make_unique<RemoteAccessContainer>(kRemoteAccessName);
    container->setDescription(
        "\"Remote Access\" feature allows to use the \"Remote Debugger\" to inspect a simulation application.");
    detail::placeDeclaredField(owner, KrData::Types::kParameter, container.release());
}

ApplicationConfig::RemoteAccessContainer::~RemoteAccessContainer() {
    clear();
    _detachFromEverything();
}

bool ApplicationConfig::RemoteAccessContainer::isEnabled() const {
    return (*this)[kEnableName].toBoolean();
}

unsigned short ApplicationConfig::RemoteAccessContainer::getListeningPort() const {
    const auto* field = dynamic_cast<const KrData::Field<unsigned short>*>(&(*this)[kListeningPortName]);
    return field != nullptr ? field->getValue() : static_cast<unsigned short>(0);
}

ApplicationConfig::RemoteAccessContainer* ApplicationConfig::getRemoteAccess() const {
    auto* proxy = _getProxy();
    return proxy != nullptr ? dynamic_cast<RemoteAccessContainer*>(proxy->getParameter(kRemoteAccessName)) : nullptr;
}

// --- The setup -----------------------------------------------------------------------------------------------------

ApplicationConfig::ApplicationConfig(KrObject* proxy, int version)
    : IObject(proxy, version),
      loggingLevel(this, "LoggingLevel",
                   {.value = Kr::KrEnum(Kr::eLogLevel::kInfo), .description = "Level for logging messages system."}),
      logFile(this, "LogFile",
              {.description =
                   "Full path prefixed to the log file which will be created by the application.\n"
                   "Leaving this field's value empty will resolve to your system's temp folder (%TEMP% on Windows)."}),
      logConsole(this, "LogConsole", {.value = true, .description = "Enable logging messages to the windows console."}),
      simulationFrameRate(
          this, "SimulationFrameRate",
          {.value = 60.0,
           .min = kLowestFrameRate,
           .max = kHighestFrameRate,
           .description = "Desired frame rate of the running application.\n"
                          "The application will wait if needed to synchronize if FreeRunning is set to false."}),
      applicationMode(this, "ApplicationMode",
                      {.value = Kr::KrEnum(eApplicationMode::kEditing),
                       .description = "Initial mode of the application at start (Editing, Simulating, Recording)."}),
      keyFrameListsPath(this, "Global Key Frame Lists Path",
                        {.description = "Location where all the key frame lists will be serialized"}),
      synchronizationMode(this, "Synchronization Mode",
                          {.value = Kr::KrEnum(eSynchronizationMode::kSWAndVSync),
                           .description = "The synchronization mode for this node."}),
      isProfilerFilteringEnabled(
          this, "IsProfilerFilteringEnabled",
          {.value = true, .description = "Enable filtering on the performance profiling sections of the application."}),
      profilerEnabledCategories(this, "ProfilerEnabledCategories",
                                "List of the enabled categories for the application performance profiling."),
      profilerDisabledCategories(this, "ProfilerDisabledCategories",
                                 "List of the disabled categories for the application performance profiling."),
      profilerPeriod(this, "ProfilerPeriod",
                     {.value = 1, .description = "Period of the performance profiling sampling in frame number."}),
      communicationModel(this, "CommunicationModel",
                         {.value = Kr::KrEnum(eCommunicationModel::kMaster), .description = kCommunicationModelText}),
      pluginDirectories(this, "PluginDirectories", "List of directories used for loading plugins (krp)."),
      resourcesDirectories(this, "ResourcesDirectories", "List of directories used for loading resources (krr)."),
      remoteAccess(this),
      randomSeed(this, "RandomSeed",
                 {.description = "Seed of the random streams: runs with the same seed take the same numbers."}) {}

ApplicationConfig::~ApplicationConfig() = default;

KrSmartInterface<ApplicationConfig> ApplicationConfig::createFromApplication(KrApplication* application) {
    if (application == nullptr) return {};
    const auto proxy = KrExtensionFactory::create(kFactoryKey);
    auto* config = proxy ? proxy->getImplementationAs<ApplicationConfig>() : nullptr;
    if (config == nullptr) return {};
    auto& parameters = proxy->getParameterContainer();
    for (const auto* each : application->getConfiguration()->_getProxy()->getParameterContainer()) {
        const auto place = parameters.find(each->getID());
        if (place != parameters.end()) (*place)->copyValue(*each);
    }
    proxy->setName("Config");
    config->loggingLevel = Kr::KrEnum(Kr::LogGetLevel());
    config->applicationMode = Kr::KrEnum(application->getApplicationMode());
    config->pluginDirectories.set(fileNames(KrPluginSystem::KrPluginManager::instance().getAddedPluginsSearchDirs()));
    config->resourcesDirectories.set(fileNames(KrPluginSystem::KrResourceManager::instance().getResourceSearchDirs()));
    detail::captureModules(*application, *config);
    return KrSmartInterface<ApplicationConfig>(config);
}

void ApplicationConfig::_applyPluginPath() const {
    auto& manager = KrPluginSystem::KrPluginManager::instance();
    manager.resetPluginSearchDirs();
    for (const auto& each : pluginDirectories.get())
        manager.addPluginSearchDir(std::string(each.view()));
}

void ApplicationConfig::_applyResourcesPath() const {
    auto& manager = KrPluginSystem::KrResourceManager::instance();
    manager.resetResourceSearchDirs();
    for (const auto& each : resourcesDirectories.get())
        manager.addResourceSearchDir(std::string(each.view()));
}

ApplicationConfigImplementation::ApplicationConfigImplementation(KrObject* proxy, int version)
    : ApplicationConfig(proxy, version) {}
ApplicationConfigImplementation::~ApplicationConfigImplementation() = default;

}  // namespace KrSim
