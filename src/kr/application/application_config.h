#pragma once

#include <string>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/core/enum.h"
#include "kr/core/id.h"
#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/data/vector.h"
#include "kr/extension/factory_key.h"
#include "kr/extension/fwd.h"
#include "kr/extension/i_object.h"
#include "kr/extension/smart_interface.h"
#include "kr/extension/typed_field.h"
#include "kr/platform/export.h"
#include "kr/platform/fixed_string.h"

namespace KrSim {

/// A setup: the settings and modules of an application, as content that is edited, saved and loaded like any other.
///
/// Every application has its own setup with its current settings (KrApplication::getConfiguration). A setup that was
/// created, loaded or captured is applied to an application as a whole (KrApplication::applySetup). Details:
/// docs/setups.md. The factory creates setups (kFactoryKey).
/// Thread: application. Ownership: owned by its proxy.
class KR_API ApplicationConfig : public IObject {
public:
    class RemoteAccessContainer;
    using FileName = Kr::KrString<512>;

    static const KrFactoryKey kFactoryKey;
    /// The interface in the type registry, for fields that refer to setups: "KrSim::ApplicationConfig".
    static const Kr::KrID kFieldTypeId;
    static constexpr int kVersion = 1;
    /// The range of the frame rate, in Hz.
    static constexpr double kLowestFrameRate = 0.1;
    static constexpr double kHighestFrameRate = 100'000.0;

    /// A null proxy is an error; without a proxy all parameters read as their defaults.
    ApplicationConfig(KrObject* proxy, int version);
    ~ApplicationConfig() override;

    /// A new setup, "Config", with the current settings of the application and those of its modules. Empty for null.
    /// Application thread.
    [[nodiscard]] static KrSmartInterface<ApplicationConfig> createFromApplication(KrApplication* application);

    /// A parameter that is a list. Thread: application. Ownership: the field belongs to the setup.
    template <class T>
    class KR_API List {
    public:
        List(IExtension* owner, const char* name, const char* description);
        /// Null without a proxy, and after the field was removed.
        [[nodiscard]] KrData::Vector<T>* getField() const;
        /// Empty without a field.
        [[nodiscard]] std::vector<T> get() const;
        /// False without a field.
        bool set(std::vector<T> items);

    private:
        IExtension* _owner;
        Kr::KrID _name;
    };
    /// Declares the parameter "Remote Access". Thread: application. Ownership: the field belongs to the setup.
    struct KR_API RemoteAccess {
        explicit RemoteAccess(IExtension* owner);
    };

    // --- The parameters, in the order in which they are shown ------------------------------------------------------
    Parameter<Kr::KrEnum> loggingLevel;  ///< Kr::eLogLevel
    Parameter<std::string> logFile;
    Parameter<bool> logConsole;
    Parameter<double> simulationFrameRate;  ///< Hz
    Parameter<Kr::KrEnum> applicationMode;  ///< eApplicationMode at the start
    Parameter<FileName> keyFrameListsPath;
    Parameter<Kr::KrEnum> synchronizationMode;  ///< eSynchronizationMode
    Parameter<bool> isProfilerFilteringEnabled;
    List<std::string> profilerEnabledCategories;
    List<std::string> profilerDisabledCategories;
    Parameter<unsigned int> profilerPeriod;    ///< frames
    Parameter<Kr::KrEnum> communicationModel;  ///< eCommunicationModel
    List<FileName> pluginDirectories;
    List<FileName> resourcesDirectories;
    RemoteAccess remoteAccess;
    Parameter<unsigned int> randomSeed;  ///< of the random streams: ApplicationContext::getRandomStream
    /// Null without a proxy, or when the field was removed.
    [[nodiscard]] RemoteAccessContainer* getRemoteAccess() const;

protected:
    friend class KrApplication;

    /// Sets the search directories of the plug-in manager to "PluginDirectories", in this order.
    void _applyPluginPath() const;
    /// The same with "ResourcesDirectories" and the resource manager.
    void _applyResourcesPath() const;
};

/// Settings of the connection of a remote debugger.
/// Thread: application. Ownership: owned by the setup.
class KR_API ApplicationConfig::RemoteAccessContainer final : public KrData::Container {
public:
    explicit RemoteAccessContainer(const Kr::KrID& id);
    ~RemoteAccessContainer() override;

    [[nodiscard]] bool isEnabled() const;
    /// 0: the system chooses a free port.
    [[nodiscard]] unsigned short getListeningPort() const;
};

}  // namespace KrSim
