#pragma once

#include <string>

#include "kr/content/content_reference.h"
#include "kr/data/field_reference.h"

namespace KrData {

namespace detail {
struct LinkAccess;
}  // namespace detail

/// A storable binding to a field: the extension that owns the field, by its content ID, and the path of the field
/// within it. It survives saving and loading, and is resolved when the field exists.
///
/// An empty reference means the tree of the proxy itself. The field may have been found in a stand-in: other content of
/// the item, from a file of another name, while the saved content does not exist (docs/content-identity.md).
/// Thread: application. Ownership: borrows extension and field.
class KR_API Link {
public:
    /// Null makes an empty link.
    explicit Link(const FieldBase* field);
    Link(const KrSim::KrContentReference& extension, const std::string& path);

    /// Links this field from now on, and stores its extension and path.
    void link(const FieldBase* field);
    /// Refers to a field that _updateField() finds.
    void link(const KrSim::KrContentReference& extension, const std::string& path);

    /// The linked field; null before it is found, and after it died.
    [[nodiscard]] FieldBase* getField() const noexcept { return _field.get(); }
    [[nodiscard]] bool isValid() const noexcept { return _field.isAlive(); }
    [[nodiscard]] const KrSim::KrContentReference& getContentReference() const noexcept { return _extension; }
    /// See FieldBase::getPath: "Inputs.Force"; the second of two such fields is "Inputs.Force{2}".
    [[nodiscard]] const std::string& getFieldPath() const noexcept { return _path; }
    /// For people: extension, path and whether the field exists.
    [[nodiscard]] std::string toString() const;

    /// Searches the field if it was not found or has died. Links of a proxy are resolved by Proxy::updateLinks.
    void _updateField();

private:
    friend class Proxy;
    friend struct detail::LinkAccess;

    /// Searches the field, ignoring earlier results. `home` is searched for an empty reference; may be null.
    [[nodiscard]] FieldBase* _findField(const Container* home) const;
    /// The same target, not found yet. A target in `home` itself is then searched in the tree of the copy.
    [[nodiscard]] Link _asUnresolved(KrSim::KrExtension* home) const;
    [[nodiscard]] bool _hasSameTarget(const Link& other) const;
    /// Whether the field was found in a stand-in.
    [[nodiscard]] bool _isStandIn() const noexcept { return _standIn != nullptr; }
    /// Whether the field was found in a stand-in, and the reference has found other content since.
    [[nodiscard]] bool _isOutdated() const noexcept;
    /// Drops the found field.
    void _forgetField() noexcept;

    KrSim::KrContentReference _extension;
    std::string _path;
    bool _isAtHome{false};                        // the reference is empty
    const KrSim::KrExtension* _standIn{nullptr};  // in which the field was found; only compared
    FieldReference _field;
};

}  // namespace KrData
