#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kr/content/fwd.h"
#include "kr/core/base_pointer.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Names an extension by the names from below a root down to it, such as "kr://Car/Engine".
///
/// Names are not made unique over a whole tree and may change, so a path is for people and for finding content again in
/// the same place; an ID (KrContentID) stays. A name that holds a "/" cannot be found by a path.
/// Thread: the application thread.
class KR_API KrContentPath {
public:
    static constexpr std::string_view kPrefix = "kr://";

    /// The empty path, which leads nowhere.
    KrContentPath() noexcept;
    /// Resolves the text at once below the root, as parse() does. Without a root it only keeps the text.
    explicit KrContentPath(std::string text, KrExtension* root = nullptr);
    /// The same below an application: the first name is that of an extension which was added to it.
    KrContentPath(std::string text, KrApplication* application);
    /// The path of the target below the root; without a root, from the outermost object that holds the target. Empty
    /// when the root does not hold the target. The path of the root itself is its name, which parse() looks for below
    /// it. Gives extensions on the way that have no name their default name.
    KrContentPath(KrExtension* target, KrExtension* root);

    /// Looks for the extension again and remembers it: below the root, name by name, each the first match in the order
    /// of the object. Without a root it answers what it remembers. Null when a name matches nothing, and for a text
    /// without the prefix. Extensions on the way that have no name get their default name.
    KrExtension* parse(KrExtension* root);
    /// What was found last, or null when it is gone.
    [[nodiscard]] KrExtension* getExtension() const;
    [[nodiscard]] const std::string& toString() const noexcept { return _text; }
    [[nodiscard]] bool isEmpty() const noexcept { return _text.empty(); }
    /// Of the texts.
    [[nodiscard]] bool operator==(const KrContentPath& other) const noexcept { return _text == other._text; }

private:
    KrExtension* _remember(KrExtension* extension) noexcept;

    Kr::KrBasePointer _found;
    std::string _text;
};

/// The path of what a reference has found; the empty one while it has found nothing.
[[nodiscard]] KR_API KrContentPath getContentPath(const KrContentReference& reference, KrExtension* root = nullptr);

}  // namespace KrSim
