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
/// Names are not unique over a whole tree and may change, so a path is for people and for finding content again in the
/// same place; an ID (KrContentID) does not change. A name that contains a "/" cannot be found by a path.
/// Thread: application. Ownership: borrows the extension.
class KR_API KrContentPath {
public:
    static constexpr std::string_view kPrefix = "kr://";

    /// The empty path, which names no extension.
    KrContentPath() noexcept;
    /// Resolves the text below the root immediately, as parse() does. Without a root it only keeps the text.
    explicit KrContentPath(std::string text, KrExtension* root = nullptr);
    /// The same below an application: the first name is that of an extension that was added to it.
    KrContentPath(std::string text, KrApplication* application);
    /// The path of the target below the root; without a root, from the outermost object that contains the target. Empty
    /// when the root does not contain the target. The path of the root itself is its name, which parse() searches below
    /// the root. Gives unnamed extensions on the way their default name.
    KrContentPath(KrExtension* target, KrExtension* root);

    /// Searches the extension again and keeps the result: below the root, name by name, each time the first match in
    /// the order of the object. Without a root it returns the last result. Null when a name matches nothing, and for a
    /// text without the prefix. Gives unnamed extensions on the way their default name.
    KrExtension* parse(KrExtension* root);
    /// The last result; null after the extension died.
    [[nodiscard]] KrExtension* getExtension() const;
    [[nodiscard]] const std::string& toString() const noexcept { return _text; }
    [[nodiscard]] bool isEmpty() const noexcept { return _text.empty(); }
    /// Compares the texts.
    [[nodiscard]] bool operator==(const KrContentPath& other) const noexcept { return _text == other._text; }

private:
    KrExtension* _remember(KrExtension* extension) noexcept;

    Kr::KrBasePointer _found;
    std::string _text;
};

/// The path of a reference's extension; empty while it has none.
[[nodiscard]] KR_API KrContentPath getContentPath(const KrContentReference& reference, KrExtension* root = nullptr);

}  // namespace KrSim
