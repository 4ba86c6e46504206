#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kr/data/field_base.h"
#include "kr/data/link.h"
#include "kr/signals/delegate_connection.h"

namespace KrData {

namespace detail {
struct ProxyAccess;
}  // namespace detail

/// A field that represents several others: one control for many fields of different extensions.
///
/// Setting a proxy (copyValue) sets every field that it links, and its value is that of the first of them. A proxy may
/// link proxies, but never itself, also not indirectly. Its data type is kProxy; the *proxy data type* is that of the
/// linked fields, used for conversion.
///
/// When the first linked field changes, connections and observers of the proxy are notified, with the proxy as the
/// changed field; while the proxy is set, once, after all linked fields have the value. Linked fields that are changed
/// separately are not made equal again. A linked field counts as connected, so its changes always reach the proxy.
///
/// A link whose field has died, or has not been loaded yet, is kept and skipped. It is resolved by its content
/// reference and path when the proxy is set or read, and by updateLinks(). A link whose field was found in a stand-in
/// (see Link) is resolved again at the same times once the saved content exists. A link to a container is also skipped
/// while setting that container would set the proxy again.
///
/// A copy of a proxy links the same fields; those in the tree of the proxy are searched in the tree of the copy.
/// Thread: application. Ownership: borrows linked fields.
class KR_API Proxy final : public FieldBase {
public:
    /// With a parent the proxy adds itself to it, and is owned by it from then on.
    /// \param proxyDataType  kUnknown: that of the first linked field.
    explicit Proxy(const Kr::KrID& id, Types::DataTypeEnum proxyDataType = Types::kUnknown,
                   Container* parent = nullptr);
    /// A detached copy of identifier, properties and links; not of observers and connections.
    Proxy(const Proxy& source);
    Proxy& operator=(const Proxy&) = delete;
    ~Proxy() override;

    /// kUnknown until it is set or a field is linked.
    [[nodiscard]] Types::DataTypeEnum getProxyDataType() const noexcept { return _proxyDataType; }
    /// Only once, and not to kProxy. Returns whether it was set.
    bool setProxyDataType(Types::DataTypeEnum dataType);

    // --- Links -----------------------------------------------------------------------------------------------------
    /// Inputs link inputs, outputs outputs, parameters parameters; each field once, if it converts to the proxy data
    /// type, and if setting it does not set this proxy again.
    [[nodiscard]] bool canLink(const FieldBase* field) const;
    /// Links the field, which first gets the value of the proxy, if it has one. False when it cannot be linked.
    bool addLink(FieldBase* field);
    /// Links the field at `path` of the extension, now or when it exists. False for an empty path, for a target that is
    /// linked already, and for an existing field that cannot be linked.
    bool addLink(const KrSim::KrContentReference& extension, const std::string& path);
    /// False when it is not linked.
    bool removeLink(const FieldBase* field);
    bool removeLink(const KrSim::KrContentReference& extension, const std::string& path);
    void removeAllLinks();
    /// Removes the links without a field, and returns their number.
    std::size_t removeInvalidLinks();
    /// Finds fields that were added since the last search; skips fields that cannot be linked. Call it after content
    /// was loaded that may be linked, so that changes of its fields reach the proxy; applications do so.
    void updateLinks();
    [[nodiscard]] std::size_t getLinkCount() const noexcept { return _entries.size(); }
    /// In the order of linking; `index` below the count. Valid until links are added or removed.
    [[nodiscard]] const Link& getLink(std::size_t index) const { return _entries.at(index).link; }
    /// The field whose value is that of the proxy: the first linked field, or its linked field when that is a proxy.
    /// Null without one.
    [[nodiscard]] FieldBase* getLinkedField() const;

    // --- The field independent of its type -------------------------------------------------------------------------
    [[nodiscard]] Proxy* clone(const Kr::KrID& id, Container* parent) const override;
    [[nodiscard]] Proxy* clone(Container* parent) const override;
    /// Sets every linked field that exists, in the order of linking. True when at least one took the value.
    bool copyValue(const FieldBase& source) override;
    /// From a proxy: takes its proxy data type, links and metadata; false when the proxy data types differ. From
    /// another field: its value and metadata.
    bool initializeFrom(const FieldBase& source) override;
    /// Whether there are linked fields, and setting the proxy to `other` would change none of them. Two proxies without
    /// a value are equal when their proxy data types are.
    [[nodiscard]] bool isEqual(const FieldBase& other) const override;
    /// Resets the linked fields.
    void reset() override;
    void _cloneFrom(const FieldBase& source) override;

private:
    [[nodiscard]] Proxy* _duplicate() const override;

    friend class FieldBase;
    friend struct detail::ProxyAccess;

    // --- For fields, and for the framework through detail::ProxyAccess ---------------------------------------------
    /// Appends a link of stored content, without searching its field or an equal link. False for an empty path.
    bool _addStoredLink(const KrSim::KrContentReference& extension, const std::string& path);
    /// For cloning: takes proxy data type and metadata of another proxy, as initializeFrom does, but no links.
    bool _initializeWithoutLinks(const Proxy& source);
    /// For cloning: links the fields of `source`, with copied fields replaced by their copies. No field gets a value.
    /// Links to originals of copied fields are dropped.
    void _copyLinks(const Proxy& source, const ICopyMap& map);
    /// The data type of the field, of a proxy its proxy data type.
    [[nodiscard]] static Types::DataTypeEnum _getValueDataType(const FieldBase& field) noexcept;
    /// Calls `write` with each linked field that exists. True when it returned true for at least one.
    bool _writeLinked(const FieldBase& source, const std::function<bool(FieldBase&)>& write);
    /// getLinkedField among the fields that have been found.
    [[nodiscard]] FieldBase* _findLinkedField() const;
    /// Called by a linked field when it, or a field below it, has changed.
    void _onLinkedFieldChanged(const FieldBase& linked);
    /// Called by a dying linked field.
    void _onLinkedFieldDied();

    struct Entry {
        std::uint32_t number;  // rising along the list, so that a walk keeps its place when the list changes
        Link link;
        DelegateConnection watch;  // of the place of a linked field
        bool isProxy;              // the field that was linked last
    };

    [[nodiscard]] Entry* _entryFrom(std::uint32_t number);
    /// The linked field; null without one and for a field that would set this proxy again.
    [[nodiscard]] FieldBase* _fieldOf(const Entry& entry) const;
    [[nodiscard]] bool _leadsBack(const FieldBase& field) const;
    [[nodiscard]] bool _hasLinkTo(const Link& link) const;
    [[nodiscard]] Container* _home() const;
    Entry& _append(Link link);
    void _appendCopies(const Proxy& source);
    void _copyLink(const Link& link, KrSim::KrExtension* home, const ICopyMap& map);
    [[nodiscard]] bool _takeKind(const Proxy& source);
    [[nodiscard]] bool _agree(FieldBase& field);
    FieldBase* _resolve(std::uint32_t number);
    void _bind(Entry& entry, FieldBase& field);
    void _detach(Entry& entry);
    template <class Condition>
    std::size_t _removeLinks(Condition&& condition);

    std::vector<Entry> _entries;
    std::uint32_t _nextNumber{1};
    Types::DataTypeEnum _proxyDataType;
    bool _isUpdating{false};
    bool _isChangeWaiting{false};
    int _writes{0};  // in progress
};

}  // namespace KrData
