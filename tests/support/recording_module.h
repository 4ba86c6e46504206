#pragma once

#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "kr/application/context/application_modes.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/extension/extension.h"
#include "kr/extension/smart_interface.h"

namespace test_support {

/// Records its callbacks, "Name onUpdate 0", and throws out of the configured one.
class RecordingModule : public KrSim::ISimulatorModule {
public:
    using Calls = std::vector<std::string>;
    using Holder = KrSim::KrSmartInterface<ISimulatorModule>;

    RecordingModule(KrSim::KrSimulatorModule* proxy, Calls& calls) : ISimulatorModule(proxy, 1), _calls(calls) {}
    RecordingModule(KrSim::KrSimulatorModule* proxy, Calls& calls, int preUpdate, int update, int postUpdate)
        : ISimulatorModule(proxy, 1, preUpdate, update, postUpdate), _calls(calls) {}
    ~RecordingModule() override {
        if (onEachCall) onEachCall("destructor");
    }

    void onPreUpdate(KrSim::eApplicationMode mode) override { _call("onPreUpdate", mode); }
    void onUpdate(KrSim::eApplicationMode mode) override { _call("onUpdate", mode); }
    void onPostUpdate(KrSim::eApplicationMode mode) override { _call("onPostUpdate", mode); }
    void onExtensionAdded(KrSim::KrExtension* which) override { _call("onExtensionAdded", which->getName()); }
    void onExtensionRemoved(KrSim::KrExtension* which) override { _call("onExtensionRemoved", which->getName()); }
    void onAddToApplication(KrSim::KrApplication*) override { _call("onAddToApplication"); }
    void onRemoveFromApplication(KrSim::KrApplication*) override { _call("onRemoveFromApplication"); }
    void onApplicationModeChange(KrSim::eApplicationMode, KrSim::eApplicationMode to) override {
        _call("onApplicationModeChange", to);
    }
    void onStateSave(std::ostream& state) override {
        state << "saved";
        _call("onStateSave");
    }
    void onFillSimulationState(Kr::KrSmartPtr<KrSim::KrSimulationState>) const override {
        _call("onFillSimulationState");
    }
    void onActive() override { _call("onActive"); }
    void onInactive() override { _call("onInactive"); }

    using ISimulatorModule::_addManagedExtension;
    using ISimulatorModule::_removeManagedExtension;
    using ISimulatorModule::_sortManagedExtensions;
    using ISimulatorModule::getManagedExtensions;

    std::function<void(const std::string& callback)> onEachCall;
    std::string throwsIn;         // a callback
    bool throwsExceptions{true};  // else numbers

private:
    void _call(const char* callback, KrSim::eApplicationMode mode) const {
        _call(callback, std::to_string(static_cast<int>(mode)));
    }
    void _call(const std::string& callback, const std::string& argument = {}) const {
        _calls.push_back(getName() + " " + callback + (argument.empty() ? "" : " " + argument));
        if (onEachCall) onEachCall(callback);
        if (callback != throwsIn) return;
        if (throwsExceptions) throw std::runtime_error("no");
        throw 7;
    }

    Calls& _calls;
};

/// Both halves of a module, held by the proxy's holder.
template <class Proxy = KrSim::KrSimulatorModule, class... Priorities>
RecordingModule::Holder makeModule(const char* name, RecordingModule::Calls& calls, Priorities... priorities) {
    const auto proxy = Kr::makeSmart<Proxy>();
    proxy->setName(name);
    return RecordingModule::Holder(new RecordingModule(proxy.get(), calls, priorities...));
}

/// The implementation of a module that makeModule made.
inline RecordingModule& recording(const RecordingModule::Holder& module) {
    return static_cast<RecordingModule&>(*module);
}

}  // namespace test_support
