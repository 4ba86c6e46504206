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

/// What the framework does with extensions: objects, the sorter, loaders and the restore of states. Where nothing is
/// said, the function of the same name of KrExtension says it.
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
    /// The bytes that the implementation wrote when it was saved; emptied once it has read them.
    static void setExtensionData(KrExtension& extension, std::string data) {
        extension._extensionData = std::move(data);
    }
    [[nodiscard]] static const std::string& getExtensionData(const KrExtension& extension) {
        return extension._extensionData;
    }
    static void loadImplementation(KrExtension& extension, KrData::Container* saved) {
        extension._loadImplementation(saved);
    }
    /// What a loader keeps with the extension; null when there is nothing.
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
    /// Where it lies in its owner.
    [[nodiscard]] static std::uint64_t getPosition(const KrExtension& extension) { return extension._position; }

    // --- Values from connections
    /// A suspended extension takes no values from connections unless work is pending.
    static void setSuspended(KrExtension& extension, bool suspended) {
        extension._isSuspended = suspended;
        extension._addPending(0);
    }
    static void addPending(KrExtension& extension, int count) { extension._addPending(count); }
    /// Whether it takes no values now; the reference is good while the extension lives. For null, one that says no.
    [[nodiscard]] static const bool& takesNoValues(const KrExtension* extension) {
        static constexpr bool kTakesAll = false;
        return extension != nullptr ? extension->_isRefusingValues : kTakesAll;
    }

    // --- The sorter's number for an extension while it is registered there
    [[nodiscard]] static std::uint32_t getSorterSlot(const KrExtension& extension) {
        return extension._sorterSlot.load(std::memory_order_relaxed);
    }
    /// Has the processor fetch it for a question to come.
    static void fetchSorterSlot(const KrExtension& extension) { __builtin_prefetch(&extension._sorterSlot); }
    static void setSorterSlot(KrExtension& extension, std::uint32_t slot) {
        extension._sorterSlot.store(slot, std::memory_order_relaxed);
    }
};

/// What the framework does with the fields of extensions; as above.
struct FieldsAccess {
    using Fields = Kr::KrInputOutputContainer;

    static void activate(Fields& fields) { fields._activate(); }
    static void deactivate(Fields& fields) { fields._deactivate(); }
    static void release(Fields& fields) { fields._release(); }
    /// Outputs that are connected or observed; any thread.
    [[nodiscard]] static int getConnectedOutputCount(const Fields& fields) { return fields._connectedOutputs; }
    [[nodiscard]] static int getWatchedOutputCount(const Fields& fields) { return fields._watchedOutputs; }
    [[nodiscard]] static std::array<KrData::Container*, 3> getGroups(Fields& fields) { return fields._getGroups(); }
    static void ownConnection(Fields& fields, std::unique_ptr<Kr::KrConnectionBase> connection) {
        fields._ownConnection(std::move(connection));
    }
    [[nodiscard]] static std::unique_ptr<Kr::KrConnectionBase> releaseConnection(
        Fields& fields, const Kr::KrConnectionBase& connection) {
        return fields._releaseConnection(connection);
    }
};

}  // namespace KrSim::detail
