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

/// A place in a document that goes down into groups and sequences and up again.
///
/// A member is looked for where the last one ended, then among its siblings: a document in the order of its readers is
/// read in one pass, any other in linear time.
class DocumentCursor {
public:
    /// A value, a group or a sequence.
    struct Item {
        Document::eKind kind{};
        std::uint32_t node{0};
        std::string_view text;  ///< as it stands in the document
    };

    /// All are borrowed. The names of the kind of archive and of the file stand in errors.
    /// \param findings  gets the members that were not read, of each group that is left.
    DocumentCursor(Document& document, const char* archiveKind, const std::string& archiveName,
                   std::vector<Finding>& findings);

    /// Refuses where the document is broken off before the member.
    [[nodiscard]] bool isThere(std::string_view name);
    /// Whether what comes next under this name is an array of JSON.
    [[nodiscard]] bool isSequence(std::string_view name);
    /// Of the text of what comes next under this name.
    [[nodiscard]] std::size_t peekLength(std::string_view name);
    /// The member of this name, or the next item of a sequence. Refuses where there is none.
    [[nodiscard]] Item take(std::string_view name);
    void enterGroup(std::string_view name);
    /// The number of items; 0 for a sequence that is not there.
    std::size_t enterSequence(std::string_view name);
    void leave();
    /// The same, but refuses a group or sequence inside which the document is broken off.
    void leaveWhole();
    /// The names that may stand in the group, to suggest in findings about others; borrowed until it is left.
    void setKnownNames(std::span<const std::string> names) { _levels.back().knownNames = names; }
    /// Of the member or item that was taken last.
    [[nodiscard]] std::uint32_t line() const { return _document.node(_lastNode).line; }
    /// False where the group has no such bookkeeping.
    [[nodiscard]] bool attribute(eBookkeeping which, std::string_view& text) const;
    /// More items than this one cannot stand in the group.
    [[nodiscard]] std::size_t mostItems() const;
    /// Throws: the member that was asked for last, and what is wrong with it.
    [[noreturn]] void refuse(const std::string& text) const;
    /// Such an error about the whole group.
    [[nodiscard]] std::string describe(const std::string& text) const;
    /// Of the group.
    [[nodiscard]] Kr::FilePlace place() const;

private:
    struct Level {
        std::uint32_t node{0};
        std::uint32_t next{0};    // where the next member is looked for first
        std::uint32_t items{0};   // taken so far
        std::uint32_t unread{0};  // members of a group that were not taken yet
        bool isSequence{false};
        std::string_view numbers;  // what is left of a list of numbers
        std::span<const std::string> knownNames;
        std::unique_ptr<std::unordered_map<std::uint32_t, std::uint32_t>> members;  // of a large group, by their names
    };
    static constexpr std::uint32_t kNone = UINT32_MAX;

    [[nodiscard]] std::uint32_t _end(const Level& level) const { return _document.node(level.node).end; }
    [[nodiscard]] std::uint32_t _skipAttributes(std::uint32_t node, std::uint32_t end) const;
    /// Refuses a group in which two members have one name: the first would hide the second.
    /// Answers how many there are.
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
    std::string_view _last;      // what was asked for last
    std::uint32_t _lastNode{0};  // what was found then; where nothing was, the group
    std::array<std::uint32_t, kBookkeepingNames.size()> _bookkeeping{};
    std::uint32_t _item;                     // the one name that earlier releases repeated
    std::vector<std::uint32_t> _lastGroups;  // by name: the group that was entered last with a member of it
};

}  // namespace KrPersistence::detail
