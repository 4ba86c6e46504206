#pragma once

#include <string>
#include <vector>

#include "kr/core/base_pointer.h"
#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace Kr {

/// Names an object by the path that leads to it from a context object, and finds it again through the name-path
/// interfaces of the objects on the way.
///
/// The text is "base://" and, for each level below the context, "/", the class name, "/" and the object name;
/// "base://" alone is the context itself and "null" is nothing. Names that hold a "/" cannot be found again.
/// Neither target nor context is owned: both are checked for life before they are used, so that nothing is found below
/// a context that was made while memory tracking was off.
/// Thread: one reference belongs to one thread; the cache is shared and may be used on any thread.
class KR_API KrBaseReference {
public:
    /// Refers to nothing.
    KrBaseReference();
    /// Resolves the text at once.
    KrBaseReference(std::string text, KrBase* context);
    /// Refers to a live object; null refers to nothing. The text is that of the context itself or of a child of the
    /// context with the target's class and name.
    KrBaseReference(KrBase* target, KrBase* context);
    /// Refers to the last of a chain of live objects, outermost first, below a context yet to be named (see parse).
    /// Nulls in the chain are left out; an empty chain refers to nothing.
    explicit KrBaseReference(const std::vector<KrBase*>& path);

    [[nodiscard]] const std::string& getText() const noexcept { return _text; }
    /// Null once it has died.
    [[nodiscard]] KrBase* getContext() const noexcept { return _context.get(); }

    /// The target, or null. A target that was not found before, or has died, is looked for again.
    [[nodiscard]] KrBase* getBase();
    /// Looks for the target from this context, which the reference keeps. Null, with a debug message, when there is no
    /// such object; null without one for the text "null" and for a text too short to be a reference.
    KrBase* parse(KrBase* context);

    /// By context, by the target found last, by text. The order of addresses: it differs from run to run.
    friend KR_API bool operator<(const KrBaseReference& left, const KrBaseReference& right) noexcept;

    // A process-wide cache from context and text to the target, off at first, for times when many references are
    // resolved and nothing is renamed or moved: entries of dead objects are dropped, but renamed ones are not noticed.
    // Clear it after such changes.

    /// Switching the cache off clears it.
    static void enableCache(bool enable);
    [[nodiscard]] static bool isCacheEnabled() noexcept;
    static void clearCache();
    /// Enters all children of a live object, as seen from that object, while the cache is enabled.
    static void fillCache(KrBase* object);

private:
    std::string _text;
    KrBasePointer _target;
    KrBasePointer _context;
};

}  // namespace Kr
