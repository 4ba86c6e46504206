#include "kr/core/base_reference.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include "kr/core/base.h"
#include "kr/core/name_path_base_interface.h"
#include "kr/platform/guard.h"
#include "kr/platform/log.h"

namespace Kr {

namespace {

constexpr std::string_view kNothing = "null";
constexpr std::string_view kScheme = "base://";

constexpr GuardTexts kFindChildTexts{eLogLevel::kWarn, "KrBaseReference: fatal error in '%s' findChild() [%s]\n",
                                     "KrBaseReference: unhandled exception in '%s' findChild()\n", "findChild"};
constexpr GuardTexts kGetChildrenTexts{eLogLevel::kWarn, "KrBaseReference: fatal error in '%s' getChildren() [%s]\n",
                                       "KrBaseReference: unhandled exception in '%s' getChildren()\n", "getChildren"};

struct Cache {
    struct Entry {
        KrBasePointer context;
        KrBasePointer target;
    };

    std::atomic<bool> isEnabled{false};
    std::mutex mutex;  // guards the entries
    std::map<std::pair<KrBase*, std::string>, Entry> entries;

    static Cache& instance() {
        static auto& cache = *new Cache;
        return cache;
    }

    // Null without an entry, or when its objects have died.
    KrBase* find(KrBase* context, const std::string& text) {
        const std::lock_guard lock(mutex);
        const auto it = entries.find({context, text});
        if (it == entries.end()) return nullptr;
        KrBase* const target = it->second.context.get() != nullptr ? it->second.target.get() : nullptr;
        if (target == nullptr) entries.erase(it);
        return target;
    }

    void enter(KrBase* context, std::string text, KrBase* target) {
        const Entry entry{context, target};
        const std::lock_guard lock(mutex);
        entries.insert_or_assign({context, std::move(text)}, entry);
    }

    void clear() {
        const std::lock_guard lock(mutex);
        entries.clear();
    }
};

void appendLevel(std::string& text, KrBase& object) {
    if (!object.hasName()) {
        object.setCombinedName("default", object.getClassName().c_str(), object.getCreationIndex());
    }
    text.append("/").append(object.getClassName()).append("/").append(object.getName());
}

// Takes the next token off the text; false when none is left.
bool takeToken(std::string_view& rest, bool& isAtEnd, std::string& token) {
    if (isAtEnd) return false;
    const std::size_t slash = rest.find('/');
    token = rest.substr(0, slash);
    isAtEnd = slash == std::string_view::npos;
    rest.remove_prefix(isAtEnd ? rest.size() : slash + 1);
    return true;
}

KrBase* findChild(KrBase* parent, const std::string& className, const std::string& objectName) {
    const auto interface = KrNamePathBaseInterface::find(parent);
    KrBase* child = nullptr;
    if (interface) {
        callGuarded(
            kFindChildTexts, [&] { return className; },
            [&] { child = interface->findChild(*parent, className, objectName); });
    }
    return child;
}

// Walks down from the context; `path` is the text after the scheme.
KrBase* walk(KrBase* context, std::string_view path) {
    KrBase* current = KrBase::isKrBaseValid(context) ? context : nullptr;
    if (path.empty()) return current;
    if (path.front() == '/') path.remove_prefix(1);  // the empty token before the first level
    bool isAtEnd = false;
    std::string className;
    std::string objectName;
    while (current && takeToken(path, isAtEnd, className)) {
        // A class name without an object name names no child.
        current = takeToken(path, isAtEnd, objectName) ? findChild(current, className, objectName) : nullptr;
    }
    return current;
}

}  // namespace

KrBaseReference::KrBaseReference() : _text(kNothing) {}

KrBaseReference::KrBaseReference(std::string text, KrBase* context) : _text(std::move(text)) {
    parse(context);
}

KrBaseReference::KrBaseReference(KrBase* target, KrBase* context)
    : _text(target ? kScheme : kNothing), _target(target), _context(context) {
    if (target && target != context) appendLevel(_text, *target);
}

KrBaseReference::KrBaseReference(const std::vector<KrBase*>& path) : _text(kScheme) {
    bool isNothing = true;
    for (KrBase* object : path) {
        if (!object) continue;
        appendLevel(_text, *object);
        _target = object;
        isNothing = false;
    }
    if (isNothing) _text = kNothing;
}

KrBase* KrBaseReference::getBase() {
    if (KrBase* const target = _target.get()) return target;
    return _text.empty() ? nullptr : parse(_context.get());
}

KrBase* KrBaseReference::parse(KrBase* context) {
    _target = {};
    _context = context;
    if (_text == kNothing || _text.size() < kScheme.size()) return nullptr;

    Cache& cache = Cache::instance();
    const bool isCached = isCacheEnabled();
    KrBase* target = isCached ? cache.find(context, _text) : nullptr;
    if (target != nullptr) {
        _target = target;
        return target;
    }

    // The scheme is not read, only its length: texts with another scheme name the same path.
    target = walk(context, std::string_view(_text).substr(kScheme.size()));
    _target = target;
    if (target == nullptr) {
        logMessage(eLogLevel::kDebug, "KrBaseReference: Could not locate object with path %s.\n", _text.c_str());
    } else if (isCached) {
        cache.enter(context, _text, target);
    }
    return target;
}

bool operator<(const KrBaseReference& left, const KrBaseReference& right) noexcept {
    const std::less<const KrBase*> isBefore;  // of unrelated objects, unlike the operator
    const auto* context = left._context.getAddress();
    const auto* target = left._target.getAddress();
    if (context != right._context.getAddress()) return isBefore(context, right._context.getAddress());
    if (target != right._target.getAddress()) return isBefore(target, right._target.getAddress());
    return left._text < right._text;
}

void KrBaseReference::enableCache(bool enable) {
    Cache::instance().isEnabled.store(enable, std::memory_order_relaxed);
    if (!enable) clearCache();
}

bool KrBaseReference::isCacheEnabled() noexcept {
    return Cache::instance().isEnabled.load(std::memory_order_relaxed);
}

void KrBaseReference::clearCache() {
    Cache::instance().clear();
}

void KrBaseReference::fillCache(KrBase* object) {
    if (!isCacheEnabled() || !KrBase::isKrBaseValid(object)) return;
    const auto interface = KrNamePathBaseInterface::find(object);
    if (!interface) return;
    std::vector<KrBase*> children;
    callGuarded(
        kGetChildrenTexts, [name = object->getName()] { return name; },
        [&] { children = interface->getChildren(*object); });
    for (KrBase* child : children) {
        if (!child) continue;
        std::string text(kScheme);
        appendLevel(text, *child);
        Cache::instance().enter(object, std::move(text), child);
    }
}

}  // namespace Kr
