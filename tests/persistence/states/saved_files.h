#pragma once

#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "kr/application/application_config.h"
#include "kr/application/module_record.h"
#include "kr/core/connections/sim_queued_connection.h"
#include "kr/data/vector.h"
#include "kr/events/event_access.h"
#include "kr/events/event_id_list.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/object.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/setups/content_list_section.h"
#include "kr/persistence/setups/setup_section.h"
#include "kr/persistence/states/simulation_state_section.h"
#include "tests/persistence/states/world.h"

/// Files of setups and states to be damaged, and a world to load them into.
namespace saved_files {

using KrPersistence::eStatePayload;
using KrPersistence::KrFile;
using KrPersistence::KrSimulationStateSection;

inline std::string save(KrFile& file, int flags) {
    std::ostringstream stream(std::ios::binary);
    return file.save(stream, "", flags) ? std::move(stream).str() : std::string();
}

/// With a few settings, a module that has these settings and a content list.
inline std::string makeSetup(const KrData::FieldBase& moduleSetting, int flags) {
    const auto made = KrSim::KrExtensionFactory::create(KrSim::ApplicationConfig::kFactoryKey);
    const KrSim::KrSmartInterface<KrSim::ApplicationConfig> setup(
        made->getImplementationAs<KrSim::ApplicationConfig>());
    setup->simulationFrameRate = 25.0;
    setup->synchronizationMode = Kr::KrEnum(KrSim::eSynchronizationMode::kSyncOff);
    setup->profilerEnabledCategories.set({"a", "b"});
    setup->pluginDirectories.set({"/plugins", "/shared/plugins"});
    auto& object = *setup->_getObjectProxy();
    object.addParameter("Own", KrData::Types::kVector3)->set(KrMath::Vector3T<double>{1.0, -0.0, 3.0});
    KrData::Container settings("Settings");
    static_cast<void>(moduleSetting.clone(&settings));
    const KrSim::KrFactoryKey type("12345678-9abc-4def-8123-456789abcdef", "Test", "Traffic", "Traffic");
    object.add(KrSim::makeModuleRecord({"Traffic", type, KrSim::KrContentID::createFromWords(1, 2), &settings}).get());

    KrFile file;
    file.addSection(new KrPersistence::KrSetupSection(setup));
    auto* list = new KrPersistence::KrContentListSection;
    list->setFiles({"/content/car.xml", "road"});
    file.addSection(list);
    return save(file, flags);
}

/// A world whose states are saved, and put back from whatever is loaded.
class Simulation {
public:
    Simulation() {
        KrSim::KrEventDispatcher::enableExternalControl(true);  // so that values wait
        std::uint64_t number = 0;
        for (auto* extension : {&states_test::proxyOf(_world.first), &states_test::proxyOf(_world.second)})
            KrSim::detail::ExtensionAccess::setContentID(*extension, KrSim::KrContentID::createFromWords(7, ++number));
    }

    /// With this field among its own, a delayed event and a value under way.
    std::string makeState(const KrData::FieldBase& field, int flags, eStatePayload payload) {
        auto& parameters = states_test::proxyOf(_world.first).getParameterContainer();
        const auto* own = field.clone(&parameters);
        _world.run(1);
        KrSim::detail::DispatcherAccess::replaceDelayedEvents({});
        KrSim::KrSimEvent event(KrSim::EventIDList::instance().add("SavedFiles.Event"), {1, 2, 255});
        event.setDelay(0.5);
        KrSim::KrEventDispatcher::sendEventLocally(event);
        _world.second->speed.getField()->setValue(2.0 + _world.second->speed.get());
        KrFile file;
        file.setFileType(KrFile::eFileType::kSimulationState);
        auto* section = new KrSimulationStateSection;
        section->setSnapshot(_world.take(), payload);
        file.addSection(section);
        auto bytes = save(file, flags);
        parameters.removeField(own->getID());
        return bytes;
    }

    /// Whether the file is whole. What can be loaded must be fit to be restored and saved; `isSound` is false when not.
    bool load(const std::string& bytes, bool& isSound) {
        KrFile file;
        file.setSizeLimit(1'000'000);
        std::istringstream stream(bytes, std::ios::binary);
        if (!file.load(stream)) return false;
        for (const auto* each : file.getSections()) {
            if (const auto* section = dynamic_cast<const KrSimulationStateSection*>(each))
                isSound = section->getSnapshot()->restore(*_world.application).isRestored && isSound;
        }
        isSound = !save(file, 0).empty() && isSound;
        return true;
    }

private:
    states_test::World _world;
    Kr::KrSimQueuedConnection _back{_world.second->speed.getField(), _world.first->force.getField()};
};

}  // namespace saved_files
