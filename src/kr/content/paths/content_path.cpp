#include "kr/content/paths/content_path.h"

#include <cstddef>
#include <utility>

#include "kr/content/content_reference.h"
#include "kr/content/paths/i_application_content.h"
#include "kr/extension/extension.h"
#include "kr/extension/object.h"

template class Kr::UpperLayer<KrSim::IApplicationContent>;

namespace KrSim {

namespace {

const std::string& nameOf(KrExtension& extension) {
    if (!extension.hasName()) extension.setName(nullptr);
    return extension.getName();
}

bool isApplicationRoot(KrExtension& extension) {
    const auto* object = dynamic_cast<KrObject*>(&extension);
    return object && object->isApplicationRoot();
}

/// Takes the first name off a path.
std::string_view takeName(std::string_view& path) {
    const std::size_t end = path.find('/');
    const std::string_view name = path.substr(0, end);
    path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    return name;
}

/// Takes the prefix off a path; false when there is none.
bool takePrefix(std::string_view& path) {
    if (path.substr(0, KrContentPath::kPrefix.size()) != KrContentPath::kPrefix) return false;
    path.remove_prefix(KrContentPath::kPrefix.size());
    return true;
}

KrExtension* findChild(KrExtension* parent, std::string_view name) {
    auto* object = dynamic_cast<KrObject*>(parent);
    const std::size_t count = object ? object->getExtensionCount() : 0;
    for (std::size_t i = 0; i < count; ++i) {
        KrExtension* const child = object->getExtension(i);
        if (child && nameOf(*child) == name) return child;
    }
    return nullptr;
}

/// Follows a path without prefix; a path that ends with a "/" has an empty last name, which nothing matches.
KrExtension* findBelow(KrExtension* root, std::string_view path) {
    bool isLast = false;
    while (root && !isLast) {
        isLast = path.find('/') == std::string_view::npos;
        root = findChild(root, takeName(path));
    }
    return root;
}

}  // namespace

KrContentPath::KrContentPath() noexcept = default;

KrContentPath::KrContentPath(std::string text, KrExtension* root) : _text(std::move(text)) {
    parse(root);
}

KrContentPath::KrContentPath(std::string text, KrApplication* application) : _text(std::move(text)) {
    const auto* content = Kr::UpperLayer<IApplicationContent>::get();
    std::string_view rest = _text;
    if (!application || !content || !takePrefix(rest)) return;
    const bool isOnly = rest.find('/') == std::string_view::npos;
    const std::string_view name = takeName(rest);
    for (KrExtension* extension : content->getExtensions(*application)) {
        if (!extension || nameOf(*extension) != name) continue;
        _remember(isOnly ? extension : findBelow(extension, rest));
        return;
    }
}

KrContentPath::KrContentPath(KrExtension* target, KrExtension* root) {
    if (!target) return;
    std::vector<const std::string*> names{&nameOf(*target)};
    KrExtension* ancestor = target == root ? root : target->getOwner();
    for (; ancestor && ancestor != root && !isApplicationRoot(*ancestor); ancestor = ancestor->getOwner())
        names.push_back(&nameOf(*ancestor));
    if (root && ancestor != root) return;
    _text = kPrefix;
    for (std::size_t i = names.size(); i-- > 0;)
        _text.append(*names[i]).append(i == 0 ? "" : "/");
    _remember(target);
}

KrExtension* KrContentPath::parse(KrExtension* root) {
    if (_text.empty()) return _remember(nullptr);
    if (!root) return getExtension();
    std::string_view rest = _text;
    return _remember(takePrefix(rest) ? findBelow(root, rest) : nullptr);
}

KrExtension* KrContentPath::getExtension() const {
    return static_cast<KrExtension*>(_found.get());
}

KrExtension* KrContentPath::_remember(KrExtension* extension) noexcept {
    _found = extension;
    return extension;
}

KrContentPath getContentPath(const KrContentReference& reference, KrExtension* root) {
    return {reference.get(), root};
}

}  // namespace KrSim
