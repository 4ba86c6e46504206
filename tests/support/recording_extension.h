#pragma once

#include <functional>
#include <istream>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "kr/extension/extension.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/typed_field.h"

namespace test_support {

/// Records its callbacks, and throws out of the configured ones.
class RecordingExtension : public KrSim::IExtension {
public:
    enum class Throws { kNothing, kException, kNumber };
    using Calls = std::vector<std::string>;

    RecordingExtension(KrSim::KrExtension* proxy, Calls& calls, int version = 1)
        : IExtension(proxy, version), _calls(calls) {}
    ~RecordingExtension() override { _calls.emplace_back("destroyed"); }

    void onActive() override { _call("onActive"); }
    void onInactive() override { _call("onInactive"); }
    void onAddToOwner(KrSim::KrObject*) override { _call("onAddToOwner"); }
    void onRemoveFromOwner(KrSim::KrObject*) override { _call("onRemoveFromOwner"); }
    void onLoaded(std::istream& data, int version) override {
        loaded = std::string(std::istreambuf_iterator<char>(data), {}) + "/" + std::to_string(version);
        _call("onLoaded");
    }
    void onLoading(KrData::Container& fields, int) override {
        if (whenLoading) whenLoading(fields);
        _call("onLoading");
    }
    void onStateSave(std::ostream&) override { _call("onStateSave"); }
    void onStateRestore(std::istream&) override { _call("onStateRestore"); }
    void onSynchronized(const IExtension&) override { _call("onSynchronized"); }

    KrSim::Input<double> force{this, "Force"};
    KrSim::Output<double> speed{this, "Speed"};
    KrSim::Parameter<double> mass{this, "Mass", {.value = 1.0}};

    Throws throws{Throws::kNothing};
    std::function<void(const char*)> onEachCall;
    std::function<void(KrData::Container&)> whenLoading;
    std::string loaded;

private:
    void _call(const char* name) {
        _calls.emplace_back(name);
        if (onEachCall) onEachCall(name);
        if (throws == Throws::kException) throw std::runtime_error("no");
        if (throws == Throws::kNumber) throw 7;
    }

    Calls& _calls;
};

}  // namespace test_support
