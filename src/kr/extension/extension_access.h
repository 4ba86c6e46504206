#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/kept_content.h"

namespace KrSim::detail {

/// The functions of extensions for the framework: objects, the sorter, loaders and the restore of states. Without a
/// comment: see the function of the same name of KrExtension.
struct ExtensionAccess {
    using Fields = std::vector<KrData::FieldBase*>;

    // --- States of the simulation
    static void fillState(const KrExtension& extension, KrExtensionState& state) { extension._fillState(state); }
    static void restoreState(KrExtension& extension, const KrExtensionState& state) { extension._restoreState(state); }
    static void restorePositionsAndOutputs(KrExtension& extension, const KrExtensionState& state, Fields& changed) {
        extension._restorePositionsAndOutputs(state, changed);
    }
    static std::size_t prepareRestore(KrExtension& extension, const KrExtensionState& state,
                                      KrData::ArrayResizes& resizes) {
        return extension._prepareRestore(state, resizes);
    }
    static std::size_t restoreFieldValues(KrExtension& extension, const KrExtensionState& state, Fields& changed) {
        return extension._restoreFieldValues(state, changed);
    }
    static void tellRestored(KrExtension& extension, std::span<KrData::FieldBase* const> changed) {
        extension._tellRestored(changed);
    }

    // --- Making and loading
    static void setCreationKey(KrExtension& extension, const KrFactoryKey& key) { extension._setCreationKey(key); }
    static void setContentID(KrExtension& extension, const KrContentID& id) { extension._setContentID(id); }
    static void createUnknownImplementation(KrExtension& extension) { extension._createUnknownImplementation(); }
    [[nodiscard]] static bool isUnknownPlaceholder(const KrExtension& extension) { return extension._isUnknown; }
    [[nodiscard]] static bool isSimulatorModule(const KrExtension& extension) { return extension._isSimulatorModule(); }
    static void setDataVersion(KrExtension& extension, std::int32_t version) { extension._dataVersion = version; }
    static void setVersions(KrExtension& extension, KrVersioningRegistry::Versions versions) {
        extension._versions = std::move(versions);
    }
    /// The bytes that the implementation wrote when it was saved; empty after it has read them.
    static void setExtensionData(KrExtension& extension, std::string data) {
        extension._extensionData = std::move(data);
    }
    [[nodiscard]] static const std::string& getExtensionData(const KrExtension& extension) {
        return extension._extensionData;
    }
    static void loadImplementation(KrExtension& extension, KrData::Container* saved) {
        extension._loadImplementation(saved);
    }
    /// Data that a loader keeps with the extension; null without any.
    [[nodiscard]] static IKeptContent* getKeptContent(const KrExtension& extension) {
        return extension._keptContent.get();
    }
    static void setKeptContent(KrExtension& extension, std::unique_ptr<IKeptContent> content) {
        extension._keptContent = std::move(content);
    }
    static Kr::KrSmartPtr<KrExtension> clone(const KrExtension& extension, const KrCloneRequest& request) {
        return extension._clone(request);
    }

    // --- Place
    static void setApplicationContext(KrExtension& extension, const ApplicationContext& context) {
        extension._setApplicationContext(context);
    }
    /// Its position in its owner.
    [[nodiscard]] static std::uint64_t getPosition(const KrExtension& extension) { return extension._position; }

    // --- Values from connections
    /// A suspended extension takes no values from connections unless it has pending work.
    static void setSuspended(KrExtension& extension, bool suspended) {
        extension._isSuspended = suspended;
        extension._addPending(0);
    }
    static void addPending(KrExtension& extension, int count) { extension._addPending(count); }
    /// Whether it takes no values now; the reference is valid while the extension lives. For null one that is false.
    [[nodiscard]] static const bool& takesNoValues(const KrExtension* extension) {
        static constexpr bool kTakesAll = false;
        return extension != nullptr ? extension->_isRefusingValues : kTakesAll;
    }

    // --- The sorter's number for an extension while it is registered there
    [[nodiscard]] static std::uint32_t getSorterSlot(const KrExtension& extension) {
        return extension._sorterSlot.load(std::memory_order_relaxed);
    }
    /// Prefetches the slot for a later query.
    static void fetchSorterSlot(const KrExtension& extension) { __builtin_prefetch(&extension._sorterSlot); }
    static void setSorterSlot(KrExtension& extension, std::uint32_t slot) {
        extension._sorterSlot.store(slot, std::memory_order_relaxed);
    }
};

/// The functions of the fields of extensions for the framework; as above.
struct FieldsAccess {
    using Fields = Kr::KrInputOutputContainer;

    static void activate(Fields& fields) { fields._activate(); }
    static void deactivate(Fields& fields) { fields._deactivate(); }
    static void release(Fields& fields) { fields._release(); }
    /// Outputs that are connected or observed; any thread.
    [[nodiscard]] static int getConnectedOutputCount(const Fields& fields) { return fields._connectedOutputs; }
    [[nodiscard]] static int getWatchedOutputCount(const Fields& fields) { return fields._watchedOutputs; }
    [[nodiscard]] static std::array<KrData::Container*, 3> getGroups(Fields& fields) { return fields._getGroups(); }
    [[nodiscard]] static Kr::StepBoundary* getStepBoundary(const Fields& fields) { return fields._getStepBoundary(); }
    static void setStepBoundary(Fields& fields, Kr::StepBoundary* boundary) { fields._setStepBoundary(boundary); }
    static void setHasSteppedConnections(Fields& fields) { fields._setHasSteppedConnections(); }
    /// The plan of the values of inputs, outputs and parameters: another one after their trees have changed.
    [[nodiscard]] static const std::shared_ptr<const KrData::ValuePlan>& getValuePlan(const Fields& fields) {
        return fields._getValuePlan();
    }
    /// Whether it is still this one.
    [[nodiscard]] static bool hasValuePlan(const Fields& fields, const KrData::ValuePlan* plan) noexcept {
        return fields._valuePlan.get() == plan;
    }
    static void ownConnection(Fields& fields, std::unique_ptr<Kr::KrConnectionBase> connection) {
        fields._ownConnection(std::move(connection));
    }
    [[nodiscard]] static std::unique_ptr<Kr::KrConnectionBase> releaseConnection(
        Fields& fields, const Kr::KrConnectionBase& connection) {
        return fields._releaseConnection(connection);
    }
};

}  // namespace KrSim::detail
