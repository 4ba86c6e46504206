#pragma once

#include <functional>
#include <istream>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kr/core/connections/connection_factory.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/factory/registration.h"
#include "kr/extension/object.h"
#include "kr/extension/typed_field.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/objects/object_section.h"

/// Content to save: motors and garages, whose types come and go with a scope.
namespace garage {

using Kr::KrSmartPtr;
using KrPersistence::KrFile;
using KrPersistence::KrObjectSection;
using KrSim::KrContentID;
using KrSim::KrExtension;
using KrSim::KrObject;

inline const KrSim::KrFactoryKey kMotorType{"5b4c1b1e-6d43-4f6c-9f9c-3f2f6a1d0a01", "Garage", "Motor"};
inline const KrSim::KrFactoryKey kGarageType{"5b4c1b1e-6d43-4f6c-9f9c-3f2f6a1d0a02", "Garage", "Garage"};

/// Counts revolutions beside its fields.
class Motor final : public KrSim::IExtension {
public:
    static constexpr int kVersion = 3;
    explicit Motor(KrExtension* proxy) : IExtension(proxy, kVersion) { pedal.addDeprecatedName("Throttle"); }

    void onSaving(std::ostream& data) override {
        data << revolutions;
        fail();
    }
    void onLoading(KrData::Container& fields, int version) override {
        loadedVersion = version;
        if (whenLoading) whenLoading(fields);
        fail();
    }
    void onLoaded(std::istream& data, int) override {
        data >> revolutions;
        fail();
    }
    void onSynchronized(const IExtension& source) override {
        revolutions = static_cast<const Motor&>(source).revolutions;
    }
    std::pair<KrData::FieldBase*, KrData::FieldBase*> onRestoringConnection(KrExtension* other, const std::string& path,
                                                                            int version, bool isSource) override {
        fail();
        if (path != "Inputs.Old pedal") return {};
        asked = std::to_string(version) + (isSource ? " source" : " sink");
        return {other->getOutput("Speed"), pedal.getField()};
    }

    KrSim::Input<double> pedal{this, "Pedal"};
    KrSim::Output<double> speed{this, "Speed"};
    KrSim::Parameter<double> mass{this, "Mass", {.value = 1.0}};
    int revolutions{0};
    int loadedVersion{-1};
    std::string asked;

    static inline bool isFailing{false};
    static inline std::function<void(KrData::Container&)> whenLoading;
    static void fail() {
        if (isFailing) throw std::runtime_error("no oil");
    }
};

/// Takes everything, and comes with a motor.
class Garage final : public KrSim::IObject {
public:
    explicit Garage(KrObject* proxy) : IObject(proxy, 1) {
        const auto motor = KrSim::KrExtensionFactory::create(kMotorType);
        if (motor) proxy->add(motor.get());
    }
    [[nodiscard]] bool isCompatible(KrExtension*) const override { return true; }
    void buildHierarchy() override {
        builtCount = static_cast<int>(_getObjectProxy()->getExtensionCount());
        Motor::fail();
    }
    int builtCount{-1};
};

struct TypeScope {
    TypeScope() {
        KrSim::registerExtensionType<Motor>(kMotorType);
        KrSim::registerExtensionType<Garage>(kGarageType);
    }
    TypeScope(const TypeScope&) = delete;
    TypeScope& operator=(const TypeScope&) = delete;
    ~TypeScope() {
        Motor::isFailing = false;
        Motor::whenLoading = {};
        KrSim::KrExtensionFactory::unregisterType(kMotorType);
        KrSim::KrExtensionFactory::unregisterType(kGarageType);
    }
};

using Extensions = std::vector<KrSmartPtr<KrExtension>>;

inline KrSmartPtr<KrExtension> make(const KrSim::KrFactoryKey& type, const char* name, std::uint64_t number) {
    auto made = KrSim::KrExtensionFactory::isValid(type) ? KrSim::KrExtensionFactory::create(type)
                                                         : Kr::makeSmart<KrExtension>();
    KrSim::detail::ExtensionAccess::setCreationKey(*made, type);
    made->setName(name);
    KrSim::detail::ExtensionAccess::setContentID(*made, KrContentID::createFromWords(7, number));
    return made;
}

inline KrSmartPtr<KrObject> makeObject(const KrSim::KrFactoryKey& type, const char* name, std::uint64_t number) {
    auto made =
        type.isNull() ? KrSmartPtr<KrExtension>(Kr::makeSmart<KrObject>()) : KrSim::KrExtensionFactory::create(type);
    made->setName(name);
    KrSim::detail::ExtensionAccess::setContentID(*made, KrContentID::createFromWords(7, number));
    return KrSmartPtr<KrObject>(static_cast<KrObject*>(made.get()));
}

inline Motor& motorOf(const KrSmartPtr<KrExtension>& extension) {
    return *extension->getImplementationAs<Motor>();
}

inline std::string save(const Extensions& objects, int flags = 0) {
    auto section = std::make_unique<KrObjectSection>();
    for (const auto& object : objects)
        section->addObject(object.get());
    KrFile file;
    file.setFileType(KrFile::eFileType::kObject);
    file.addSection(section.release());
    std::ostringstream stream;
    return file.save(stream, "", flags) ? std::move(stream).str() : "failed: " + file.getLastError();
}

struct Loaded {
    Extensions objects;
    std::vector<std::string> problems;
    std::string error;
    std::vector<std::string> findings{};
};

inline Loaded load(const std::string& bytes, int flags = 0, std::size_t sizeLimit = 1'000'000) {
    KrFile file;
    file.setSizeLimit(sizeLimit);
    std::istringstream stream(bytes);
    Loaded loaded;
    if (!file.load(stream, "", flags)) return {{}, {}, file.getLastError(), {}};
    if (file.getSections().empty()) return loaded;
    const auto* section = dynamic_cast<const KrObjectSection*>(file.getSections().front());
    if (section != nullptr) loaded = {section->getObjects(), section->getProblems(), {}, {}};
    for (const auto& each : file.getFindings())
        loaded.findings.push_back(each.toString());
    return loaded;
}

}  // namespace garage
