#include "kr/data/link.h"

#include "kr/content/i_content_resolver.h"
#include "kr/data/container.h"
#include "kr/data/i_extension_facts.h"
#include "kr/data/stored_path.h"

namespace KrData {

namespace {

bool carries(KrSim::KrExtension* extension, const KrSim::KrContentID& id) {
    const auto* resolver = Kr::UpperLayer<KrSim::IContentResolver>::get();
    return extension == nullptr || resolver == nullptr || resolver->getContentID(extension) == id;
}

}  // namespace

Link::Link(const FieldBase* field) {
    link(field);
}

Link::Link(const KrSim::KrContentReference& extension, const std::string& path) {
    link(extension, path);
}

void Link::link(const FieldBase* field) {
    _field = FieldReference(const_cast<FieldBase*>(field));
    _standIn = nullptr;
    if (field == nullptr) {
        _extension.reset();
        _path.clear();
        _isAtHome = false;
        return;
    }
    auto* extension = field->getOwnerExtension();
    if (extension == nullptr || extension != _extension.get()) _extension.setTarget(extension);
    _isAtHome = extension == nullptr;
    if (!carries(extension, _extension.getContentID())) _standIn = extension;
    _path = _getStoredPath(*field);
}

void Link::link(const KrSim::KrContentReference& extension, const std::string& path) {
    _extension = extension;
    _path = path;
    _isAtHome = extension.isEmpty();
    _forgetField();
}

bool Link::_isOutdated() const noexcept {
    if (_standIn == nullptr || !isValid()) return false;
    const auto* found = _extension.get();
    return found != nullptr && found != _standIn;
}

void Link::_forgetField() noexcept {
    _field = FieldReference();
    _standIn = nullptr;
}

std::string Link::toString() const {
    auto* extension = _extension.get();
    const auto id = _extension.getContentID().toString();
    std::string text = "Extension: ";
    if (extension != nullptr) {
        text += IExtensionFacts::nameOf(extension) + " - " + id + " - " + IExtensionFacts::typeNameOf(extension);
    } else {
        text += "(invalid object) - " + id;
    }
    return text + " Field: " + _path + " (" + (isValid() ? "valid)" : "invalid)");
}

void Link::_updateField() {
    if (isValid() && !_isOutdated()) return;
    auto* field = _findField(nullptr);
    if (field != nullptr) link(field);
}

FieldBase* Link::_findField(const Container* home) const {
    const auto* fields = _isAtHome ? home : IExtensionFacts::fieldsOf(_extension.get());
    return fields != nullptr ? _findStoredPath(*fields, _path) : nullptr;
}

Link Link::_asUnresolved(KrSim::KrExtension* home) const {
    const bool isAtHome = _isAtHome || (home != nullptr && home == _extension.get());
    return {isAtHome ? KrSim::KrContentReference() : _extension, _path};
}

bool Link::_hasSameTarget(const Link& other) const {
    return _path == other._path && _extension.getContentID() == other._extension.getContentID();
}

}  // namespace KrData
