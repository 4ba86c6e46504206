#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/data/container.h"
#include "kr/data/field_merge.h"
#include "kr/data/transfer_function.h"
#include "kr/extension/factory_key.h"
#include "kr/extension/versioning_registry.h"
#include "kr/persistence/fields/field_archive.h"

// The data of an object file before content is made from it: a broken file is refused without loading plug-ins.

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
    Kr::eConnectionKind kind{Kr::eConnectionKind::kDirect};
    bool isDisabled{false};
    bool isUnordered{false};  ///< disabled, and does not order its extensions
    std::optional<KrData::TransferFunction> function{};
    bool wasMade{false};  ///< before the instances followed their definitions, which may have disconnected it
};

/// The connections of a file, packed: there may be far more connections than anything else.
class ConnectionRecords {
public:
    void add(const ConnectionRecord& record) {
        if (record.function) _functions.emplace(_packed.size(), *record.function);
        _packed.push_back({record.source, record.sink, _texts.size(), record.sourceField.size(),
                           record.sinkField.size(), record.kind, record.isDisabled, record.isUnordered,
                           record.wasMade});
        _texts.append(record.sourceField).append(record.sinkField);
    }

    [[nodiscard]] std::size_t size() const noexcept { return _packed.size(); }
    [[nodiscard]] const ConnectionEnd& getSource(std::size_t index) const { return _packed[index].source; }
    /// Fills the whole record, which keeps the memory of its texts.
    void get(std::size_t index, ConnectionRecord& record) const {
        const auto& packed = _packed[index];
        record.source = packed.source;
        record.sourceField.assign(_texts, packed.text, packed.sourceSize);
        record.sink = packed.sink;
        record.sinkField.assign(_texts, packed.text + packed.sourceSize, packed.sinkSize);
        record.kind = packed.kind;
        record.isDisabled = packed.isDisabled;
        record.isUnordered = packed.isUnordered;
        record.wasMade = packed.wasMade;
        record.function.reset();
        if (const auto found = _functions.find(index); found != _functions.end()) record.function = found->second;
    }
    void setWasMade(std::size_t index, bool wasMade) { _packed[index].wasMade = wasMade; }
    /// Calls `change(end)` for both ends of each connection.
    template <class Change>
    void changeEnds(const Change& change) {
        for (auto& packed : _packed) {
            change(packed.source);
            change(packed.sink);
        }
    }

private:
    struct Packed {
        ConnectionEnd source;
        ConnectionEnd sink;
        std::size_t text;  // where the text of the source's field begins, followed by that of the sink's
        std::size_t sourceSize;
        std::size_t sinkSize;
        Kr::eConnectionKind kind;
        bool isDisabled;
        bool isUnordered;
        bool wasMade;
    };

    std::vector<Packed> _packed;
    std::string _texts;
    std::map<std::size_t, KrData::TransferFunction> _functions;  // few have one
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

    bool isRead{false};  ///< complete, except for the extensions below it
    bool isObject{false};
    bool isLost{false};
    bool isOwnOnly{false};  ///< the rest comes from the definition
    bool isPart{false};     ///< of an instance that is its own only
    KrSim::KrFactoryKey key;
    std::string name;
    KrSim::KrContentID contentID;
    KrSim::KrContentID::Identifier storedID;  // the runtime ID in the file, by which connections name it
    std::int32_t dataVersion{-1};
    KrSim::KrVersioningRegistry::Versions versions;
    std::optional<std::uint64_t> position;  // when it does not follow the previous one
    KrData::Container fields{Kr::KrID()};   // the groups, all three
    std::vector<FieldLine> fieldLines;      // of all fields of the groups, when the archive has lines
    std::unique_ptr<KrData::FieldBase> nameMarks;
    std::vector<ExtensionReference> references;  // by their paths in the extension
    std::string data;
    KrData::OwnFields::Paths ownFields;          // of one that is its own only
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
    ConnectionRecords connections;
    std::size_t extensionCount{0};
};

}  // namespace KrPersistence::detail
