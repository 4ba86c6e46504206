#pragma once

#include <string>

#include "kr/content/content_reference.h"
#include "kr/data/field_reference.h"

namespace KrData {

/// The half of a binding to a field that can be stored: the extension that owns the field, by its content ID, and the
/// path of the field within it. So it survives saving and loading, and is resolved when the field is there.
///
/// An empty reference stands for the tree that the proxy itself is in.
/// The field may have been found in a stand-in: other content of the item, from a file of another name, while the
/// content that is meant is not there (docs/content-identity.md).
/// Thread: the application thread.
class KR_API Link {
public:
    /// Null makes a link to nothing.
    explicit Link(const FieldBase* field);
    Link(const KrSim::KrContentReference& extension, const std::string& path);

    /// Links this field from now on, and notes where it is.
    void link(const FieldBase* field);
    /// Refers to a field that _updateField() finds.
    void link(const KrSim::KrContentReference& extension, const std::string& path);

    /// The linked field; null while it has not been found, and once it is dead.
    [[nodiscard]] FieldBase* getField() const noexcept { return _field.get(); }
    [[nodiscard]] bool isValid() const noexcept { return _field.isAlive(); }
    [[nodiscard]] const KrSim::KrContentReference& getContentReference() const noexcept { return _extension; }
    /// As FieldBase::getPath answers it: "Inputs.Force"; the second of two such fields is "Inputs.Force{2}".
    [[nodiscard]] const std::string& getFieldPath() const noexcept { return _path; }
    /// For people: extension, path and whether the field is there.
    [[nodiscard]] std::string toString() const;

    /// Looks for the field where it is not known or dead. Links of a proxy are found by Proxy::updateLinks.
    void _updateField();
    /// The field as of now, whatever was found before. `home` is where an empty reference looks; may be null.
    [[nodiscard]] FieldBase* _findField(const Container* home) const;
    /// The same target, not found yet. What is in `home` itself is then looked for wherever the copy is.
    [[nodiscard]] Link _asUnresolved(KrSim::KrExtension* home) const;
    [[nodiscard]] bool _hasSameTarget(const Link& other) const;
    /// Whether the field was found in a stand-in.
    [[nodiscard]] bool _isStandIn() const noexcept { return _standIn != nullptr; }
    /// Whether the field was found in a stand-in, and the reference has found other content since.
    [[nodiscard]] bool _isOutdated() const noexcept;
    /// From now on the field is not found yet.
    void _forgetField() noexcept;

private:
    KrSim::KrContentReference _extension;
    std::string _path;
    bool _isAtHome{false};                        // the reference is empty
    const KrSim::KrExtension* _standIn{nullptr};  // in which the field was found; only compared
    FieldReference _field;
};

}  // namespace KrData
