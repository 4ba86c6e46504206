#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kr/extension/extension.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/factory/registration.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/typed_field.h"

/// Extension types to measure.
namespace kr_benchmark {

using KrSim::KrExtension;
using KrSim::KrExtensionFactory;
using KrSim::KrFactoryKey;

/// Three inputs, three outputs and three parameters.
class Vehicle final : public KrSim::IExtension {
public:
    explicit Vehicle(KrExtension* proxy) : IExtension(proxy, 1) {}

    KrSim::Input<double> force{this, "Force"}, brake{this, "Brake"}, steering{this, "Steering"};
    KrSim::Output<double> speed{this, "Speed"}, distance{this, "Distance"}, heading{this, "Heading"};
    KrSim::Parameter<double> mass{this, "Mass"}, drag{this, "Drag"}, length{this, "Length"};
};

class Bare final : public KrSim::IExtension {
public:
    explicit Bare(KrExtension* proxy) : IExtension(proxy, 1) {}
};

inline std::vector<KrFactoryKey> makeKeys(std::int64_t count) {
    std::vector<KrFactoryKey> keys;
    for (std::int64_t index = 0; index < count; ++index) {
        const std::string name = "Type " + std::to_string(index);
        keys.emplace_back(KrSim::KrUuid::createFromName(name), "Benchmark", name);
    }
    return keys;
}

template <class T>
class Types {
public:
    explicit Types(std::int64_t count) : keys(makeKeys(count)) { add(); }
    ~Types() { remove(); }
    Types(const Types&) = delete;
    Types& operator=(const Types&) = delete;

    void add() const {
        for (const KrFactoryKey& key : keys)
            KrSim::registerExtensionType<T>(key);
    }
    void remove() const {
        for (const KrFactoryKey& key : keys)
            KrExtensionFactory::unregisterType(key);
    }

    const std::vector<KrFactoryKey> keys;
};

/// A bare extension without the factory.
inline Kr::KrSmartPtr<KrExtension> makeDirectly(const KrFactoryKey& key) {
    return Kr::KrSmartPtr<KrExtension>(KrSim::detail::createExtension<Bare>(key));
}

}  // namespace kr_benchmark
