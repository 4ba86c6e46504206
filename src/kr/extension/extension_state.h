#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/data/container.h"
#include "kr/extension/factory_key.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// What one extension was at one moment of the simulation: the values of its fields and the bytes that its
/// implementation wrote in onStateSave.
class KR_API KrExtensionState final : public Kr::KrRefCount {
public:
    /// Takes the state of the extension now.
    explicit KrExtensionState(const KrExtension& extension);
    ~KrExtensionState() override;

    [[nodiscard]] const KrContentID& getContentID() const noexcept { return _contentID; }
    [[nodiscard]] const KrFactoryKey& getCreationKey() const noexcept { return _creationKey; }
    [[nodiscard]] const std::string& getName() const noexcept { return _name; }
    /// Copies of "Inputs", "Outputs" and "Parameters".
    [[nodiscard]] const KrData::Container& getFields() const noexcept { return _fields; }
    [[nodiscard]] const std::string& getImplementationData() const noexcept { return _implementationData; }
    void _setImplementationData(std::string data) { _implementationData = std::move(data); }

private:
    KrContentID _contentID;
    KrFactoryKey _creationKey;
    std::string _name;
    KrData::Container _fields;
    std::string _implementationData;
};

/// The states of many extensions at one moment.
/// Thread: the application thread, between frames.
class KR_API KrSimulationState final : public Kr::KrRefCount {
public:
    KrSimulationState();
    ~KrSimulationState() override;

    /// Null is ignored. A second state of one content ID replaces the first.
    void addExtensionState(Kr::KrSmartPtr<KrExtensionState> state);
    /// Null when there is none.
    [[nodiscard]] const KrExtensionState* findExtensionState(const KrContentID& id) const;
    [[nodiscard]] const std::vector<Kr::KrSmartPtr<KrExtensionState>>& getExtensionStates() const noexcept {
        return _states;
    }

private:
    struct Index;

    std::vector<Kr::KrSmartPtr<KrExtensionState>> _states;
    std::unique_ptr<Index> _index;
};

}  // namespace KrSim
