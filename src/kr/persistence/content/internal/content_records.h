#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/data/container.h"
#include "kr/data/transfer_function.h"
#include "kr/extension/factory_key.h"
#include "kr/extension/versioning_registry.h"
#include "kr/persistence/fields/field_archive.h"

// What was read of an object file, before anything is made of it: a broken file is refused with no plug-in involved.

namespace KrPersistence::detail {

/// The extension at one end of a connection.
struct ConnectionEnd {
    KrSim::KrContentID::Identifier runtimeID;
    KrSim::KrContentID::Identifier rawID;

    ConnectionEnd() = default;
    explicit ConnectionEnd(const KrSim::KrContentID& id) : runtimeID(id.getRuntimeID()), rawID(id.getRawID()) {}
    [[nodiscard]] friend bool operator==(const ConnectionEnd&, const ConnectionEnd&) = default;
    [[nodiscard]] friend auto operator<=>(const ConnectionEnd&, const ConnectionEnd&) = default;
};

/// A connection; its ends are named by content ID and field path.
struct ConnectionRecord {
    ConnectionEnd source;
    std::string sourceField;
    ConnectionEnd sink;
    std::string sinkField;
    bool isQueued{false};
    bool isDisabled{false};
    bool isUnordered{false};  ///< disabled, and does not order its extensions
    std::optional<KrData::TransferFunction> function{};
    bool wasMade{false};  ///< before the instances followed their definitions, which may have ended it
};

struct DefinitionRecord {
    KrSim::KrContentID contentID;
    std::string fileName;
};

struct ExtensionRecord {
    ExtensionRecord() = default;
    ExtensionRecord(const ExtensionRecord&) = delete;
    ExtensionRecord& operator=(const ExtensionRecord&) = delete;
    ~ExtensionRecord();

    bool isRead{false};  ///< whole, but for what is below it
    bool isObject{false};
    bool isLost{false};
    KrSim::KrFactoryKey key;
    std::string name;
    KrSim::KrContentID contentID;
    KrSim::KrContentID::Identifier storedID;  // the runtime ID in the file, by which connections name it
    std::int32_t dataVersion{-1};
    KrSim::KrVersioningRegistry::Versions versions;
    std::optional<std::uint64_t> position;  // where it is not right behind the one before
    KrData::Container fields{Kr::KrID()};   // the groups, all three
    std::unique_ptr<KrData::FieldBase> nameMarks;
    std::vector<ExtensionReference> references;  // by their paths in the extension
    std::string data;
    std::optional<DefinitionRecord> definition;  // of instances
    std::vector<std::unique_ptr<ExtensionRecord>> children;

private:
    using Waiting = std::unique_ptr<ExtensionRecord>;

    void _moveChildrenTo(Waiting& first) noexcept {
        for (auto& child : children) {
            if (child == nullptr) continue;
            child->_next = std::move(first);
            first = std::move(child);
        }
        children.clear();
    }

    Waiting _next;  // while a tree is destroyed
};

/// Without recursion, as trees may be of any depth, and without memory.
inline ExtensionRecord::~ExtensionRecord() {
    Waiting first;
    _moveChildrenTo(first);
    while (first) {
        const auto each = std::exchange(first, std::move(first->_next));
        each->_moveChildrenTo(first);
    }
}

struct ContentRecords {
    std::vector<std::unique_ptr<ExtensionRecord>> roots;
    std::vector<ConnectionRecord> connections;
    std::size_t extensionCount{0};
};

}  // namespace KrPersistence::detail
