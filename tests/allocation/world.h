#pragma once

#include <string>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/modules/module_of.h"
#include "kr/extension/extension.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/i_object.h"
#include "kr/extension/object.h"
#include "kr/extension/typed_field.h"
#include "kr/platform/manual_clock.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/temporary_folder.h"

/// A small world of every kind of thing that an operation could leave half done, and its description as a text.
namespace allocation_test {

using Kr::KrSmartPtr;
using KrSim::KrExtension;
using KrSim::KrObject;

inline const KrSim::KrFactoryKey kPartType{"0c5ad5f2-5d5e-4d0e-9c57-7a40a3f5b101", "Allocation", "Part"};
inline const KrSim::KrFactoryKey kHouseType{"0c5ad5f2-5d5e-4d0e-9c57-7a40a3f5b102", "Allocation", "House"};

class Part final : public KrSim::IExtension {
public:
    explicit Part(KrExtension* proxy) : IExtension(proxy, 1) {}
    void onSaving(std::ostream& data) override { data << memory; }
    void onLoaded(std::istream& data, int) override { data >> memory; }
    void onStateSave(std::ostream& state) override { state << memory; }
    void onStateRestore(std::istream& state) override { state >> memory; }
    void onSynchronized(const IExtension& source) override { memory = static_cast<const Part&>(source).memory; }

    KrSim::Input<double> force{this, "Force"};
    KrSim::Output<double> speed{this, "Speed"};
    KrSim::Parameter<std::string> text{this, "Text", {.value = "a text that needs memory of its own"}};
    int memory{0};
};

class House final : public KrSim::IObject {
public:
    explicit House(KrObject* proxy) : IObject(proxy, 1) {}
    [[nodiscard]] bool isCompatible(KrExtension*) const override { return true; }
    KrSim::Parameter<int> floors{this, "Floors", {.value = 2}};
};

/// Manages every part that comes, and is restored before the content.
class Worker final : public KrSim::ModuleOf<Part> {
public:
    using Priority = KrSim::IExtensionState::eRestoreStatePriority;

    explicit Worker(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, 1) {}
    void onStep(Part&, double) override {}
    [[nodiscard]] Priority getRestoreStatePriority() const override { return Priority::kBeforeContent; }
    void onStateSave(std::ostream& state) override { state << shift; }
    void onStateRestore(std::istream& state) override { state >> shift; }
    [[nodiscard]] std::size_t managedCount() { return getManagedExtensions().size(); }
    int shift{1};
};

/// The two types, from here to the end of the scope.
struct Types {
    Types();
    Types(const Types&) = delete;
    Types& operator=(const Types&) = delete;
    ~Types();
};

[[nodiscard]] KrSmartPtr<KrExtension> makePart(const std::string& name);
[[nodiscard]] KrSmartPtr<KrObject> makeHouse(const std::string& name);
/// "Town" with "Mill" and "Block", which has "Well". The speed of the mill drives the force of the well, and a proxy of
/// the well links the text of the mill.
[[nodiscard]] KrSmartPtr<KrObject> makeTown();
/// An extension with all below it: names, owners, fields with values and connections, registrations, and messages.
[[nodiscard]] std::string describe(const KrExtension& extension);
/// The sorter, the registered types with their instances, the plug-ins, and the count of living objects.
[[nodiscard]] std::string describeProcess();

/// An application with a module.
struct Simulation {
    Simulation();
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;
    ~Simulation();
    [[nodiscard]] std::string describe() const;
    /// An event with a payload on the heap.
    void sendLater(int number, double delaySeconds) const;

    Kr::ManualClock clock;
    test_support::DispatcherScope dispatcher;
    KrSmartPtr<KrSim::KrApplication> application;
    Worker* worker{nullptr};
};

/// Something that may fail, with the world in which it happens.
class Operation {
public:
    Operation() = default;
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;
    virtual ~Operation() = default;

    /// Whether it has succeeded. Callable again after a failure.
    virtual bool run() = 0;
    [[nodiscard]] virtual std::string describe() const = 0;
    [[nodiscard]] virtual bool mayThrow() const { return true; }
    /// What a failure leaves as it was; of an operation that may end half way less than all.
    [[nodiscard]] virtual std::string describeKept() const { return describe() + describeProcess(); }
    /// Undoes what a failure may leave and the next attempt makes use of.
    virtual void undoLasting() {}
};

}  // namespace allocation_test
