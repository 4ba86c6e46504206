#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kr/persistence/archives/finding.h"
#include "kr/persistence/archives/internal/bookkeeping.h"
#include "kr/persistence/archives/internal/document.h"
#include "kr/platform/file_result.h"

namespace KrPersistence::detail {

/// A position in a document, which moves down into groups and sequences and up again.
///
/// A member is searched from the end of the last one, then among its siblings: a document in the order of its readers
/// is read in one pass, any other in linear time.
class DocumentCursor {
public:
    /// A value, a group or a sequence.
    struct Item {
        Document::eKind kind{};
        std::uint32_t node{0};
        std::string_view text;  ///< in the document
    };

    /// All are borrowed. Errors name the kind of archive and the file.
    /// \param findings  receives the members that were not read, of each group that is left.
    DocumentCursor(Document& document, const char* archiveKind, const std::string& archiveName,
                   std::vector<Finding>& findings);

    /// Throws when the document is broken off before the member.
    [[nodiscard]] bool isThere(std::string_view name);
    /// Whether the next value of this name is an array of JSON.
    [[nodiscard]] bool isSequence(std::string_view name);
    /// Length of the text of the next value of this name.
    [[nodiscard]] std::size_t peekLength(std::string_view name);
    /// The member of this name, or the next item of a sequence. Throws when it is missing.
    [[nodiscard]] Item take(std::string_view name);
    void enterGroup(std::string_view name);
    /// The number of items; 0 for a missing sequence.
    std::size_t enterSequence(std::string_view name);
    void leave();
    /// The same, but throws for a group or sequence in which the document is broken off.
    void leaveWhole();
    /// The valid names of the group, to suggest in findings about others; borrowed until the group is left.
    void setKnownNames(std::span<const std::string> names) { _levels.back().knownNames = names; }
    /// The line of the member or item that was taken last.
    [[nodiscard]] std::uint32_t line() const { return _document.node(_lastNode).line; }
    /// False when the group has no such bookkeeping.
    [[nodiscard]] bool attribute(eBookkeeping which, std::string_view& text) const;
    /// An upper limit of the number of items in the group.
    [[nodiscard]] std::size_t mostItems() const;
    /// Throws an error about the member that was requested last.
    [[noreturn]] void refuse(const std::string& text) const;
    /// The text of such an error about the whole group.
    [[nodiscard]] std::string describe(const std::string& text) const;
    /// The place of the group.
    [[nodiscard]] Kr::FilePlace place() const;

private:
    struct Level {
        std::uint32_t node{0};
        std::uint32_t next{0};    // where the search for the next member begins
        std::uint32_t items{0};   // taken so far
        std::uint32_t unread{0};  // members of a group that were not taken yet
        bool isSequence{false};
        std::string_view numbers;  // the rest of a list of numbers
        std::span<const std::string> knownNames;
        std::unique_ptr<std::unordered_map<std::uint32_t, std::uint32_t>> members;  // of a large group, by their names
    };
    static constexpr std::uint32_t kNone = UINT32_MAX;

    [[nodiscard]] std::uint32_t _end(const Level& level) const { return _document.node(level.node).end; }
    [[nodiscard]] std::uint32_t _skipAttributes(std::uint32_t node, std::uint32_t end) const;
    /// Throws for a group in which two members have one name: the first would hide the second. Returns their number.
    std::uint32_t _checkNames(std::uint32_t group);
    void _enter(std::uint32_t group);
    void _reportUnread(const Level& level);
    [[nodiscard]] std::uint32_t _find(std::string_view name);
    [[nodiscard]] std::uint32_t _search(std::string_view name);
    [[nodiscard]] std::string _path() const;
    [[nodiscard]] std::string _message(const std::string& text, std::uint32_t node) const;

    Document& _document;
    const char* _archiveKind;
    const std::string& _archiveName;
    std::vector<Finding>& _findings;
    std::size_t _reported{0};  // names in groups that nothing has read
    std::vector<Level> _levels;
    std::string_view _last;      // requested last
    std::uint32_t _lastNode{0};  // its node; the group when it was not found
    std::array<std::uint32_t, kBookkeepingNames.size()> _bookkeeping{};
    std::uint32_t _item;                     // the only name that earlier releases repeated
    std::vector<std::uint32_t> _lastGroups;  // by name: the group that was entered last with a member of it
};

}  // namespace KrPersistence::detail
