#pragma once

#include <string>
#include <vector>

#include "kr/core/base_pointer.h"
#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace Kr {

/// Identifies an object by the path from a context object, and finds it again through the name-path interfaces of the
/// objects on the way.
///
/// The text is "base://" and, for each level below the context, "/", the class name, "/" and the object name; "base://"
/// alone is the context itself and "null" is no object. Names that contain a "/" cannot be found.
/// Below a context that was created while memory tracking was disabled nothing is found.
/// Thread: one at a time for each reference; the shared cache on any thread. Ownership: borrows target and context, and
/// tests both for life before using them.
class KR_API KrBaseReference {
public:
    /// Refers to nothing.
    KrBaseReference();
    /// Resolves the text immediately.
    KrBaseReference(std::string text, KrBase* context);
    /// Refers to a live object; null refers to nothing. The text is that of the context itself or of a child of the
    /// context with the target's class and name.
    KrBaseReference(KrBase* target, KrBase* context);
    /// Refers to the last object of a chain of live objects, outermost first, below a context that parse() sets. Nulls
    /// in the chain are skipped; an empty chain refers to nothing.
    explicit KrBaseReference(const std::vector<KrBase*>& path);

    [[nodiscard]] const std::string& getText() const noexcept { return _text; }
    /// Null after it died.
    [[nodiscard]] KrBase* getContext() const noexcept { return _context.get(); }

    /// The target, or null. Searches again when the target was not found before, or has died.
    [[nodiscard]] KrBase* getBase();
    /// Searches the target from this context, which the reference keeps. Null, with a debug message, when there is no
    /// such object; null without a message for the text "null" and for a text too short to be a reference.
    KrBase* parse(KrBase* context);

    /// By context, by the target found last, by text. The order of addresses: it differs between runs.
    friend KR_API bool operator<(const KrBaseReference& left, const KrBaseReference& right) noexcept;

    // A process-wide cache from context and text to the target, initially disabled, for times when many references are
    // resolved and no object is renamed or moved: entries of dead objects are dropped, but renaming is not noticed.
    // Clear it after such changes.

    /// Disabling the cache clears it.
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
