#pragma once

#include <cstddef>
#include <functional>
#include <unordered_set>
#include <utility>
#include <vector>

#include "kr/data/fwd.h"
#include "kr/extension/fwd.h"
#include "kr/persistence/objects/internal/content_records.h"
#include "kr/platform/smart_ptr.h"

namespace KrPersistence::detail {

/// Makes connections from their saved records.
class ConnectionRestorer {
public:
    /// Returns the extension at that end, or null.
    using Find = std::function<Kr::KrSmartPtr<KrSim::KrExtension>(const ConnectionEnd&)>;

    enum class When {
        kLoading,  ///< nothing is transferred: the sinks have their saved values
        /// an end was loaded later, with its own values: each connection transfers once, and is searched first
        kLater,
    };

    explicit ConnectionRestorer(Find find, When when = When::kLoading);

    /// Records the connections that these extensions made themselves, so that they are not made twice.
    void note(const std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>& extensions);
    /// Whether the connection was recorded.
    [[nodiscard]] bool isConnected(const ConnectionRecord& record) const;
    /// Whether the connection exists afterwards. If not, keep its record.
    bool restore(const ConnectionRecord& record);

private:
    struct Ends {
        KrData::FieldBase* source;
        KrData::FieldBase* sink;
        [[nodiscard]] bool operator==(const Ends&) const = default;
    };
    struct Hash {
        [[nodiscard]] std::size_t operator()(const Ends& ends) const noexcept;
    };

    void _note(KrData::FieldBase& field);
    [[nodiscard]] bool _isThere(const Ends& ends) const;
    bool _connect(const Ends& ends, const ConnectionRecord& record);
    static void _redirect(KrSim::KrExtension& extension, KrSim::KrExtension& other, const std::string& path,
                          bool isSource, Ends& ends);

    Find _find;
    When _when;
    ConnectionEnd _sourceID;
    Kr::KrSmartPtr<KrSim::KrExtension> _source;
    std::unordered_set<Ends, Hash> _connected;
};

}  // namespace KrPersistence::detail
