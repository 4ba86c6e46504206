#include "tests/allocation/world.h"
#include "kr/events/event_access.h"

#include <algorithm>
#include <array>

#include "kr/application/application_access.h"
#include "kr/application/content_dispatcher.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/proxy.h"
#include "kr/data/vector.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/sim_event.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/factory/registration.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/order/extension_sorter.h"
#include "kr/platform/plugins/plugin_manager.h"

namespace allocation_test {

using KrData::detail::FieldAccess;
using KrSim::KrExtensionFactory;
using KrSim::detail::ApplicationAccess;
using KrSim::detail::ExtensionAccess;
using KrSim::detail::FieldsAccess;

Types::Types() {
    KrSim::registerExtensionType<Part>(kPartType);
    KrSim::registerExtensionType<House>(kHouseType);
}

Types::~Types() {
    KrExtensionFactory::unregisterType(kPartType);
    KrExtensionFactory::unregisterType(kHouseType);
}

KrSmartPtr<KrExtension> makePart(const std::string& name) {
    auto part = KrExtensionFactory::create(kPartType);
    part->setName(name.c_str());
    return part;
}

KrSmartPtr<KrObject> makeHouse(const std::string& name) {
    const auto made = KrExtensionFactory::create(kHouseType);
    made->setName(name.c_str());
    return KrSmartPtr<KrObject>(static_cast<KrObject*>(made.get()));
}

KrSmartPtr<KrObject> makeTown() {
    auto town = makeHouse("Town");
    const auto mill = makePart("Mill");
    const auto block = makeHouse("Block");
    const auto well = makePart("Well");
    mill->getImplementationAs<Part>()->memory = 7;
    town->add(mill.get());
    town->add(block.get());
    block->add(well.get());
    mill->addParameter("Added at run time", KrData::Types::kDouble)->set<double>(2.5);
    auto& parameters = mill->getParameterContainer();
    new KrData::Vector<std::string>("Stones", &parameters, {"a stone with a long name", "another one with a name"});
    new KrData::Vector<double>("Weights", &parameters, {1.0, 2.0});
    for (const char* id : {"Sails", "Gears"}) {
        auto* array = new KrData::FieldArray<KrData::Field<double>>(id, &parameters);
        array->resize(2);
        array->item(1)->setValue(0.5);
    }
    auto* link = new KrData::Proxy("Sign", KrData::Types::kUnknown, &well->getParameterContainer());
    link->addLink(mill->getParameter("Text"));
    Kr::KrConnectionFactory::connect(mill->getOutput("Speed"), well->getInput("Force"));
    return town;
}

namespace {

void describeField(const KrData::FieldBase& field, std::string& text) {
    for (const auto* child : field.getChildren()) {
        text += "    " + child->getPath() + " = ";
        if (child->getDataType() != KrData::Types::kContainer) text += child->toString();
        if (child->getDataType() == KrData::Types::kProxy) {
            text += " links " + std::to_string(static_cast<const KrData::Proxy*>(child)->getLinkCount());
        }
        text += " in " + std::to_string(FieldAccess::getIncomingConnections(*child).size()) + " out " +
                std::to_string(FieldAccess::getOutgoingConnections(*child).size()) + "\n";
        describeField(*child, text);
    }
}

}  // namespace

std::string describe(const KrExtension& extension) {
    const auto& fields = extension.getFieldsContainer();
    auto& registry = KrSim::KrContentRegistry::instance();
    const auto yesNo = [](const char* what, bool is) { return std::string(is ? " " : " not ") + what; };
    std::string text = extension.getPath() + ": " + extension.getTypeName() +
                       yesNo("implemented", extension.hasImplementation()) +
                       yesNo("registered", registry.find(extension.getContentID()) == &extension) +
                       yesNo("sorted", ExtensionAccess::getSorterSlot(extension) != KrExtension::kNoSlot) +
                       yesNo("in an application", fields.getApplicationContext().isValid()) + " activated " +
                       std::to_string(fields.getActivationCount()) + " outputs connected " +
                       std::to_string(FieldsAccess::getConnectedOutputCount(fields)) + "\n";
    if (const auto* part = extension.getImplementationAs<Part>()) text += "  memory " + std::to_string(part->memory);
    text += extension.getAllErrors(false) + extension.getAllInfos(false) + "\n";
    describeField(fields, text);
    if (!extension.isOfClassType(KrObject::getClassType())) return text;
    const auto& object = static_cast<const KrObject&>(extension);
    text +=
        "  " + std::to_string(object.getExtensionCount()) + " below" + yesNo("an instance", object.isInstance()) + "\n";
    for (std::size_t i = 0; i < object.getExtensionCount(); ++i)
        text += allocation_test::describe(*object.getExtension(i));
    return text;
}

std::string describeProcess() {
    auto& sorter = KrSim::KrExtensionSorter::instance();
    std::vector<Kr::KrConnectionBase*> connections;
    sorter.getConnections(connections);
    // A connection that has ended stays with its owner until the next one comes.
    const auto living = Kr::KrBase::getKrBaseList();
    const auto count = std::count_if(living.begin(), living.end(), [](const auto* each) {
        const auto* connection = dynamic_cast<const Kr::KrConnectionBase*>(each);
        return connection == nullptr || connection->isValid();
    });
    std::string text =
        "living " + std::to_string(count) + ", connections " + std::to_string(connections.size()) + ", sorted";
    for (const auto* each : sorter.getExtensions())
        text += " " + each->getName();
    using Kind = KrExtensionFactory::eType;
    for (const auto kind : {Kind::kExtension, Kind::kObject, Kind::kSimulatorModule}) {
        for (const auto& key : KrExtensionFactory::getAvailableTypes(kind)) {
            text +=
                "\n" + key.toString() + " instances " + std::to_string(KrExtensionFactory::getInstances(key).size());
        }
    }
    for (const auto& plugin : KrPluginSystem::KrPluginManager::instance().getLoadedPlugins())
        text += "\nplug-in " + plugin.name;
    return text + "\n";
}

Simulation::Simulation() {
    KrSim::detail::DispatcherAccess::setClock(&clock);
    application = KrSim::KrApplication::create(clock);
    application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
    const auto proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
    proxy->setName("Worker");
    worker = new Worker(proxy.get());
    application->insertModule(KrSim::KrSmartInterface<KrSim::ISimulatorModule>(worker));
}

Simulation::~Simulation() {
    KrSim::detail::DispatcherAccess::replaceDelayedEvents({});
}

void Simulation::sendLater(int number, double delaySeconds) const {
    constexpr std::array<char, KrSim::KrSimEvent::kInlineBytes + 1> kPayload{};
    KrSim::KrSimEvent event(number, kPayload.size(), kPayload.data());
    event.setDelay(delaySeconds);
    KrSim::KrEventDispatcher::sendEventLocally(event);
}

std::string Simulation::describe() const {
    std::string text = "application: " + std::to_string(application->getExtensionCount()) + ", offered " +
                       std::to_string(application->getContentDispatcher().getExtensionCount()) + ", managed " +
                       std::to_string(worker->managedCount()) + ", shift " + std::to_string(worker->shift) +
                       ", frames " + std::to_string(ApplicationAccess::getFramePosition(*application).frames);
    const auto pending = KrSim::detail::DispatcherAccess::getPendingEvents(&application->getInternals().events);
    for (const auto& each : pending.events) {
        text += ", event " + std::to_string(each.event.ID()) + " of " + std::to_string(each.event.bytes()) +
                " bytes in " + std::to_string(each.dueSeconds - pending.nowSeconds);
    }
    text += "\n";
    for (std::size_t i = 0; i < application->getExtensionCount(); ++i)
        text += allocation_test::describe(*application->getExtension(i));
    return text;
}

}  // namespace allocation_test
