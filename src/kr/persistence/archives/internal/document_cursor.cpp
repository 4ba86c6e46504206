#include "kr/persistence/archives/internal/document_cursor.h"

#include <algorithm>
#include <utility>

#include "kr/persistence/archives/archive_error.h"
#include "kr/persistence/archives/internal/document_values.h"
#include "kr/persistence/archives/internal/number_list.h"
#include "kr/persistence/archives/item_names.h"
#include "kr/platform/nearest_name.h"

namespace KrPersistence::detail {
namespace {

using eKind = Document::eKind;

constexpr std::size_t kFewMembers = 16;
/// Of a long path in an error: at its beginning and at its end.
constexpr std::size_t kShownSteps = 32;
/// Findings take no more memory than this many short texts, whatever a document holds.
constexpr std::size_t kMostReported = 100;
constexpr std::size_t kShownPath = 200;

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

}  // namespace

DocumentCursor::DocumentCursor(Document& document, const char* archiveKind, const std::string& archiveName,
                               std::vector<Finding>& findings)
    : _document(document),
      _archiveKind(archiveKind),
      _archiveName(archiveName),
      _findings(findings),
      _item(document.findName(ItemNames::kItem)) {
    for (std::size_t i = 0; i < _bookkeeping.size(); ++i)
        _bookkeeping[i] = document.findName(kBookkeepingNames[i]);
    _enter(0);
}

void DocumentCursor::_enter(std::uint32_t group) {
    _levels.push_back(Level{.node = group, .next = group + 1, .numbers = {}, .knownNames = {}, .members = {}});
    _lastNode = group;
    _levels.back().unread = _checkNames(group);
}

std::uint32_t DocumentCursor::_checkNames(std::uint32_t group) {
    const std::uint32_t end = _document.node(group).end;
    std::size_t attributes = 0;
    std::uint32_t members = 0;
    for (std::uint32_t at = group + 1; at < end; at = _document.node(at).end) {
        const Document::Node& node = _document.node(at);
        const std::uint32_t name = _document.nameNumber(node);
        bool isRepeated = false;
        if (_document.kind(node) == eKind::kAttribute) {
            const auto which = std::find(_bookkeeping.begin(), _bookkeeping.end(), name) - _bookkeeping.begin();
            const std::size_t bit = std::size_t{1} << static_cast<std::size_t>(which);
            isRepeated = (attributes & bit) != 0;
            attributes |= bit;
        } else {
            if (name >= _lastGroups.size()) _lastGroups.resize(name + std::size_t{1}, kNone);
            isRepeated = std::exchange(_lastGroups[name], group) == group && name != _item;
            ++members;
        }
        if (!isRepeated) continue;
        _last = _document.name(name);
        _lastNode = at;
        refuse("appears twice");
    }
    return members;
}

std::uint32_t DocumentCursor::_skipAttributes(std::uint32_t node, std::uint32_t end) const {
    while (node < end && _document.kind(_document.node(node)) == eKind::kAttribute)
        node = _document.node(node).end;
    return node;
}

std::uint32_t DocumentCursor::_find(std::string_view name) {
    Level& level = _levels.back();
    const std::uint32_t end = _end(level);
    level.next = _skipAttributes(level.next, end);
    if (level.next < end && _document.name(_document.nameNumber(_document.node(level.next))) == name) return level.next;
    return _search(name);
}

std::uint32_t DocumentCursor::_search(std::string_view name) {
    Level& level = _levels.back();
    const std::uint32_t number = _document.findName(name);
    if (number == Document::kNoName) return kNone;
    if (level.members) {
        const auto found = level.members->find(number);
        return found != level.members->end() ? found->second : kNone;
    }
    const std::uint32_t end = _end(level);
    std::size_t passed = 0;
    for (std::uint32_t node = _skipAttributes(level.node + 1, end); node < end;
         node = _skipAttributes(_document.node(node).end, end)) {
        if (_document.nameNumber(_document.node(node)) == number) return node;
        if (++passed < kFewMembers) continue;
        // Each further search among so many would cost as much: from now on a table knows.
        level.members = std::make_unique<std::unordered_map<std::uint32_t, std::uint32_t>>();
        for (node = _skipAttributes(level.node + 1, end); node < end;
             node = _skipAttributes(_document.node(node).end, end))
            level.members->try_emplace(_document.nameNumber(_document.node(node)), node);
        return _search(name);
    }
    return kNone;
}

bool DocumentCursor::isThere(std::string_view name) {
    Level& level = _levels.back();
    if (level.isSequence) return !level.numbers.empty() || level.next < _end(level);
    const std::uint32_t found = _find(name);
    if (found != kNone) {
        level.next = found;
        return true;
    }
    // In the order of writers, what is behind the last member would come now.
    if (_document.isBroken(level.node) && level.next >= _end(level)) {
        _last = name;
        _lastNode = level.node;
        refuse("may be missing: the document is broken off");
    }
    return false;
}

bool DocumentCursor::isSequence(std::string_view name) {
    const Level& level = _levels.back();
    return isThere(name) && level.numbers.empty() && _document.kind(_document.node(level.next)) == eKind::kSequence;
}

std::size_t DocumentCursor::peekLength(std::string_view name) {
    const Level& level = _levels.back();
    return isThere(name) && level.numbers.empty() ? _document.node(level.next).length : 0;
}

DocumentCursor::Item DocumentCursor::take(std::string_view name) {
    Level& level = _levels.back();
    std::uint32_t found = kNone;
    if (level.isSequence) {
        ++level.items;
        if (!level.numbers.empty()) {
            NumberList rest(level.numbers);
            std::string_view number;
            if (rest.next(number)) {
                level.numbers = rest.rest();
                return {eKind::kUntyped, level.node, number};
            }
            level.numbers = {};
        }
        level.next = _skipAttributes(level.next, _end(level));
        if (level.next < _end(level)) found = level.next;
    } else {
        _last = name;
        found = _find(name);
    }
    _lastNode = found == kNone ? level.node : found;
    if (found == kNone) refuse(_document.isBroken(level.node) ? "is cut off" : "is missing");
    Document::Node& node = _document.node(found);
    if (!level.isSequence && !_document.isRead(node)) {
        _document.markRead(node);
        --level.unread;
    }
    level.next = node.end;
    return {_document.kind(node), found, _document.text(node)};
}

void DocumentCursor::enterGroup(std::string_view name) {
    const Item item = take(name);
    if (item.kind != eKind::kGroup && (item.kind != eKind::kUntyped || !isBlank(item.text))) refuse("is no group");
    _enter(item.node);
}

std::size_t DocumentCursor::enterSequence(std::string_view name) {
    Level& outer = _levels.back();
    if (!outer.isSequence && !isThere(name)) {
        // An empty one: it ends where it begins.
        _levels.push_back(Level{.node = outer.node,
                                .next = _end(outer),
                                .isSequence = true,
                                .numbers = {},
                                .knownNames = {},
                                .members = {}});
        return 0;
    }
    const Item item = take(name);
    Level level{
        .node = item.node, .next = item.node + 1, .isSequence = true, .numbers = {}, .knownNames = {}, .members = {}};
    std::size_t count = 0;
    if (item.kind == eKind::kNumbers) {
        level.numbers = item.text;
        count = NumberList::count(NumberList(item.text));
    } else if (item.kind == eKind::kSequence || item.kind == eKind::kGroup) {
        const std::uint32_t end = _document.node(item.node).end;
        for (std::uint32_t node = _skipAttributes(level.next, end); node < end;
             node = _skipAttributes(_document.node(node).end, end))
            ++count;
    } else if (item.kind != eKind::kUntyped || !isBlank(item.text)) {
        refuse("is no sequence");
    }
    _levels.push_back(std::move(level));
    return count;
}

void DocumentCursor::leave() {
    if (!_levels.back().isSequence && _levels.back().unread > 0) _reportUnread(_levels.back());
    _levels.pop_back();
}

void DocumentCursor::_reportUnread(const Level& level) {
    auto path = _path();
    if (path.size() > kShownPath) path.replace(0, path.size() - kShownPath, "...");
    const auto end = _end(level);
    for (auto at = _skipAttributes(level.node + 1, end); at < end; at = _skipAttributes(_document.node(at).end, end)) {
        const auto& node = _document.node(at);
        if (_document.isRead(node) || _reported > kMostReported) continue;
        const std::string name(_document.name(_document.nameNumber(node)));
        const auto text = ++_reported > kMostReported
                              ? std::string("there are more names that mean nothing; they are not listed")
                              : quoted(name) + " in " + (path.empty() ? "the document" : path) + " means nothing" +
                                    Kr::suggestName(name, level.knownNames);
        _findings.push_back({Finding::eKind::kUnknownName, text, _archiveName, node.line});
    }
}

void DocumentCursor::leaveWhole() {
    const Level& level = _levels.back();
    // A missing sequence has the node of the group around it.
    const bool isThere = !level.isSequence || level.node != _levels[_levels.size() - 2].node;
    if (isThere && _document.isBroken(level.node)) refuse("is cut off");
    leave();
}

bool DocumentCursor::attribute(eBookkeeping which, std::string_view& text) const {
    const std::uint32_t number = _bookkeeping[static_cast<std::size_t>(which)];
    if (number == Document::kNoName) return false;
    const Level& level = _levels.back();
    for (std::uint32_t at = level.node + 1; at < _end(level); at = _document.node(at).end) {
        const Document::Node& node = _document.node(at);
        if (_document.kind(node) != eKind::kAttribute || _document.nameNumber(node) != number) continue;
        text = _document.text(node);
        return true;
    }
    return false;
}

std::size_t DocumentCursor::mostItems() const {
    const Level& level = _levels.back();
    return _end(level) - level.node - 1;
}

std::string DocumentCursor::_path() const {
    std::string path;
    for (std::size_t i = 1; i < _levels.size(); ++i) {
        if (i == kShownSteps && _levels.size() > 2 * kShownSteps) {
            i = _levels.size() - kShownSteps;
            path += "/...";
        }
        const Level& outer = _levels[i - 1];
        if (outer.isSequence) {
            path += '[' + std::to_string(outer.items - 1) + ']';
        } else {
            if (!path.empty()) path += '/';
            path += _document.name(_document.nameNumber(_document.node(_levels[i].node)));
        }
    }
    return path;
}

void DocumentCursor::refuse(const std::string& text) const {
    const Level& level = _levels.back();
    std::string path = _path();
    if (level.isSequence) {
        path += '[' + std::to_string(level.items > 0 ? level.items - 1 : 0) + ']';
    } else {
        path += (path.empty() ? "" : "/") + std::string(_last);
    }
    const std::string message = _message(path + ' ' + text, _lastNode);
    throw ArchiveError(ArchiveError::input_stream_error, message,
                       {.line = line(), .byte = {}, .path = std::move(path)});
}

std::string DocumentCursor::describe(const std::string& text) const {
    const std::string path = _path();
    return _message(path.empty() ? text : text + ", in " + path, _levels.back().node);
}

Kr::FilePlace DocumentCursor::place() const {
    return {.line = _document.node(_levels.back().node).line, .byte = {}, .path = _path()};
}

std::string DocumentCursor::_message(const std::string& text, std::uint32_t node) const {
    const std::string message =
        std::string(_archiveKind) + ": " + text + ", line " + std::to_string(_document.node(node).line);
    return _archiveName.empty() ? message : message + " of '" + _archiveName + "'";
}

}  // namespace KrPersistence::detail
