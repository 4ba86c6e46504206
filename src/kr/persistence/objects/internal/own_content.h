#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "kr/core/fwd.h"
#include "kr/data/container.h"
#include "kr/data/field_merge.h"
#include "kr/extension/fwd.h"
#include "kr/extension/own_parts.h"
#include "kr/platform/smart_ptr.h"

namespace KrPersistence::detail {

/// Which instances a file stores only with what is their own, and what that is. The rest comes from their definitions
/// when the file is loaded.
///
/// Thread: application. Ownership: borrows the extensions.
class OwnContent {
public:
    using Extensions = std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>;
    using Fields = std::unordered_set<const KrData::FieldBase*>;

    struct Part {
        KrSim::detail::OwnPart own;
        const KrSim::KrObject* instance{nullptr};
        bool isNeeded{false};             ///< else the definition has all of it
        std::string data;                 ///< of onSaving
        Fields fields;                    ///< to be written
        KrData::OwnFields::Paths listed;  ///< own fields whose parts do not follow from the written ones
    };

    /// \param all             all extensions to be saved.
    /// \param isSelfContained  whether instances are stored complete where that is possible.
    /// \param getData         returns the bytes of the implementation.
    OwnContent(const Extensions& all, bool isSelfContained,
               const std::function<std::string(const KrSim::KrExtension&)>& getData);

    [[nodiscard]] bool empty() const noexcept { return _parts.empty(); }
    /// Null for an extension that is stored complete.
    [[nodiscard]] const Part* find(const KrSim::KrExtension& extension) const;
    /// Whether the file needs no entry for the extension.
    [[nodiscard]] bool isLeftOut(const KrSim::KrExtension& extension) const;
    /// Whether the definition has the connection, so that the file needs no entry for it.
    [[nodiscard]] bool isLeftOut(const Kr::KrConnectionBase& connection) const;

private:
    using Data = std::unordered_map<const KrSim::KrExtension*, std::string>;

    [[nodiscard]] bool _isStoredComplete(const KrSim::KrObject& instance, bool isSelfContained);
    void _add(const KrSim::KrObject& instance, const std::function<std::string(const KrSim::KrExtension&)>& getData);
    void _markNeeded();
    void _need(const KrSim::KrExtension& extension);
    [[nodiscard]] bool _isNeeded(const KrSim::KrExtension& extension, const Part& part) const;
    [[nodiscard]] bool _hasOtherConnections(const KrData::FieldBase& field) const;
    void _report() const;

    std::unordered_map<const KrSim::KrExtension*, Part> _parts;
    std::unordered_set<const KrSim::KrExtension*> _included;
    Data _originalData;             // of parts of definitions
    std::size_t _completeCount{0};  // instances stored complete because their definition has no file
    std::string _firstComplete;
    std::size_t _waitingCount{0};  // instances that cannot be stored complete as asked
    std::string _firstWaiting;
};

/// The parts of a field that is in a file without an entry in the list of own fields.
[[nodiscard]] std::int32_t getImpliedParts(const KrData::FieldBase& field);

/// Calls `visit(field)` for each field of a group that has a value of its own: those that are no groups.
template <class Visit>
void forEachValue(const KrData::FieldBase& group, const Visit& visit) {
    for (const auto* field : group.getChildren()) {
        if (field->getDataType() == KrData::Types::kContainer && !field->isFieldArray()) {
            forEachValue(*field, visit);
        } else {
            visit(*field);
        }
    }
}

}  // namespace KrPersistence::detail
