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

/// Makes connections again from what was saved of them.
class ConnectionRestorer {
public:
    /// Answers the extension at that end, or null.
    using Find = std::function<Kr::KrSmartPtr<KrSim::KrExtension>(const ConnectionEnd&)>;

    enum class When {
        kLoading,  ///< nothing is transferred: the sinks have their saved values
        kLater,  ///< an end came later, with values of its own: each connection transfers once, and is looked for first
    };

    explicit ConnectionRestorer(Find find, When when = When::kLoading);

    /// Notes what these extensions have connected by themselves, so that it is not connected twice.
    void note(const std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>& extensions);
    /// Whether the connection was noted.
    [[nodiscard]] bool isConnected(const ConnectionRecord& record) const;
    /// Whether the connection is there afterwards. If not, its record is worth keeping.
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
