#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kr/extension/fwd.h"
#include "kr/persistence/archives/finding.h"
#include "kr/persistence/objects/internal/content_records.h"
#include "kr/persistence/objects/internal/kept_content.h"
#include "kr/platform/smart_ptr.h"

namespace KrPersistence::detail {

class ConnectionRestorer;

/// The file of the content; both members may be empty.
struct SourceFile {
    std::string path;
    std::string name;  ///< the file part of the identity of its content
};

/// Makes content from the records of a file, in four steps. With several sections in one file each step is done for all
/// of them before the next step, so that content may refer to content of any section.
class ContentBuilder {
public:
    using Progress = std::function<void(std::size_t done, std::size_t total)>;
    using Extensions = std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>;

    /// \param progress  called with the number of extensions and connections made so far; may be empty.
    ContentBuilder(ContentRecords content, SourceFile file, Progress progress);
    ~ContentBuilder();

    /// Makes extensions and objects with their fields. Throws for records that objects cannot represent.
    void build();
    /// Instances follow their definitions, which may have changed since the save.
    void followDefinitions();
    void connect();
    /// Resolves references of fields, and references that earlier loads could not resolve.
    void resolve();
    /// Instead of these four steps: only references that earlier loads could not resolve.
    void retryKept();
    /// Drops everything except the figures and problems: the caller owns the content now.
    void release();
    /// The load has succeeded. Without this call the destructor lets other content wait again for the content that it
    /// has found.
    void keep() noexcept;

    [[nodiscard]] const Extensions& getRoots() const noexcept { return _roots; }
    /// Differences from the saved state, for people.
    [[nodiscard]] const std::vector<std::string>& getProblems() const noexcept { return _problems; }
    /// Of the saved fields; mistakes in the text of the file are found while it is read.
    [[nodiscard]] const std::vector<Finding>& getFindings() const noexcept { return _findings; }
    [[nodiscard]] std::size_t getExtensionCount() const noexcept { return _extensionCount; }
    [[nodiscard]] std::size_t getConnectionCount() const noexcept { return _connectionCount; }

private:
    struct Level;

    [[nodiscard]] Kr::KrSmartPtr<KrSim::KrExtension> _build(ExtensionRecord& root);
    [[nodiscard]] Level _begin(ExtensionRecord& record);
    void _addBelow(Level& level, const Kr::KrSmartPtr<KrSim::KrExtension>& made);
    void _end(Level& level);
    void _reportStep();
    [[nodiscard]] Kr::KrSmartPtr<KrSim::KrExtension> _make(ExtensionRecord& record);
    [[nodiscard]] Kr::KrSmartPtr<KrSim::KrExtension> _makeByFactory(ExtensionRecord& record);
    void _load(KrSim::KrExtension& extension, ExtensionRecord& record);
    void _enter(KrSim::KrExtension& extension, const ExtensionRecord& record);
    void _define(KrSim::KrObject& object, const ExtensionRecord& record);
    void _reportDoubles();
    void _useLiveIDs();
    [[nodiscard]] std::size_t _placeOf(const KrSim::KrContentID::Identifier& id) const;
    [[nodiscard]] KrSim::KrExtension* _findMade(const KrSim::KrContentID::Identifier& id) const;
    [[nodiscard]] std::vector<std::size_t> _orderConnections(const ConnectionRecords& records) const;
    [[nodiscard]] Kr::KrSmartPtr<KrSim::KrExtension> _find(const KrSim::KrContentID& id) const;
    [[nodiscard]] Kr::KrSmartPtr<KrSim::KrExtension> _find(const ConnectionEnd& end) const;
    [[nodiscard]] KrSim::KrExtension* _chooseKeeper(const ConnectionRecord& record) const;
    [[nodiscard]] bool _isThere(const ConnectionEnd& end) const;
    void _noteStandIn(KrSim::KrExtension* keeper, const ConnectionRecord& record);
    void _replaceStandIns(KrSim::KrExtension& keeper, ConnectionRestorer& restorer);
    void _replaceStandIns(KrSim::KrExtension& extension);
    void _connectFollowed();
    void _takeReplaced();
    void _connectKept(ConnectionRestorer& restorer);
    void _setReferences();

    ContentRecords _content;
    SourceFile _file;
    Progress _progress;
    std::size_t _stepCount;
    std::size_t _stepsDone{0};
    std::optional<KeptBefore> _before;
    Extensions _roots;
    Extensions _made;  // in the order of the file; held, since callbacks may remove them from their objects
    // Places in the list, by live ID and, until all is built, by that of the file where it is another one.
    std::unordered_map<KrSim::KrContentID::Identifier, std::size_t> _byID, _byStoredID;
    std::map<std::string, std::size_t> _newerTypes;    // of a newer version, with the number of their extensions
    std::map<std::string, std::size_t> _missingTypes;  // with the number of their extensions
    KeptContent::Whose _whose{KeptContent::Whose::kAll};
    std::size_t _extensionCount{0};
    std::size_t _connectionCount{0};
    std::size_t _doubleCount{0};
    std::pair<Kr::KrSmartPtr<KrSim::KrExtension>, std::string> _firstDouble;  // with the earlier extension
    std::vector<std::string> _problems;
    std::vector<Finding> _findings;
};

}  // namespace KrPersistence::detail
