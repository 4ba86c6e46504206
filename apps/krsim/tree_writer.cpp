#include "apps/krsim/tree_writer.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <deque>
#include <iterator>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "apps/krsim/path_pattern.h"
#include "kr/core/base.h"
#include "kr/platform/crc32.h"

namespace krsim {
namespace {

template <class Number>
std::string toText(Number value) {
    char text[64];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return {text, end};
}

std::string toHexadecimal(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const char each : bytes) {
        const auto byte = static_cast<unsigned char>(each);
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 15U];
    }
    return text;
}

/// Line feeds and other control characters as escapes: a value takes one line.
std::string toLine(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    for (const char each : text) {
        const auto byte = static_cast<unsigned char>(each);
        if (each == '\n') {
            line += "\\n";
        } else if (each == '\\') {
            line += "\\\\";
        } else if (byte < 0x20 || byte == 0x7f) {
            line += "\\x" + toHexadecimal({&each, 1});
        } else {
            line += each;
        }
    }
    return line;
}

constexpr std::size_t kMostShown = 160;

/// The end of the longest text of whole characters that ends there or before.
std::size_t endOfCharacters(const std::string& text, std::size_t place) {
    while (place > 0 && place < text.size() && (static_cast<unsigned char>(text[place]) & 0xC0U) == 0x80)
        --place;
    return std::min(place, text.size());
}

std::string shorten(const std::string& value) {
    if (value.size() <= kMostShown) return value;
    char mark[64];
    std::snprintf(mark, sizeof mark, "... (%zu characters, CRC-32 %08x)", value.size(),
                  static_cast<unsigned int>(Kr::calculateCRC32(value)));
    return value.substr(0, endOfCharacters(value, kMostShown)) + mark;
}

/// A part of the value from there, with dots where it is cut.
std::string showPart(const std::string& value, std::size_t begin) {
    const std::size_t first = endOfCharacters(value, begin);
    const std::size_t end = endOfCharacters(value, first + kMostShown);
    return (first > 0 ? "..." : "") + value.substr(first, end - first) + (end < value.size() ? "..." : "");
}

std::string describeChange(const std::string& before, const std::string& after) {
    if (before.size() <= kMostShown && after.size() <= kMostShown) return before + " -> " + after;
    constexpr std::size_t kShownInFront = 40;
    const auto differing = std::mismatch(before.begin(), before.end(), after.begin(), after.end()).first;
    const auto place = static_cast<std::size_t>(differing - before.begin());
    const auto begin = place > kShownInFront ? place - kShownInFront : 0;
    return showPart(before, begin) + " -> " + showPart(after, begin) + " (from character " + std::to_string(place + 1) +
           " on, of " + std::to_string(before.size()) + " and " + std::to_string(after.size()) + ")";
}

/// Appends the name of a child to the path of its parent.
void appendStep(std::string& path, const std::string& name) {
    if (!path.empty() && !name.starts_with("[")) path += '/';
    path += name;
}

/// What an item calls itself; null when it does not.
const std::string* findLabel(const TreeNode& item) {
    if (item.kind == TreeNode::eKind::kValue) return nullptr;
    for (const char* name : {"Name", "Identifier", "ContentID", "Path"}) {
        for (const auto& each : item.children) {
            if (each.name == name && each.kind == TreeNode::eKind::kValue && !each.value.empty()) return &each.value;
        }
    }
    return nullptr;
}

void nameItems(TreeNode& sequence) {
    std::unordered_set<std::string> labels;
    bool tellApart = true;
    for (const auto& each : sequence.children) {
        const auto* label = findLabel(each);
        tellApart = tellApart && label != nullptr && labels.insert(*label).second;
    }
    std::size_t index = 0;
    for (auto& each : sequence.children) {
        each.name = "[" + (tellApart ? *findLabel(each) : std::to_string(index)) + "]";
        ++index;
    }
}

void formatLine(const TreeNode& node, std::size_t level, bool isLong, std::string& text) {
    constexpr std::size_t kMostIndented = 32;
    text.append(2 * std::min(level, kMostIndented), ' ').append(node.name);
    if (node.kind == TreeNode::eKind::kValue) text.append(": ").append(isLong ? node.value : shorten(node.value));
    text += '\n';
}

/// Calls the action with each node, its level and its path, parents first. Without recursion: files may be of any
/// depth.
template <class Action>
void walk(const TreeNode& root, const Action& action) {
    struct Level {
        const TreeNode& node;
        std::size_t next;
        std::size_t outerPath;  // the length of the path above it
    };
    std::string path;
    std::vector<Level> levels;
    const auto enter = [&](const TreeNode& node) {
        const std::size_t outerPath = path.size();
        if (!levels.empty()) appendStep(path, node.name);  // the root is no part of paths
        action(node, levels.size(), path);
        levels.push_back({node, 0, outerPath});
    };
    enter(root);
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.next < level.node.children.size()) {
            enter(level.node.children[level.next++]);
        } else {
            path.resize(level.outerPath);
            levels.pop_back();
        }
    }
}

class Comparison {
public:
    explicit Comparison(const std::vector<std::string>& ignored) : _ignored(ignored) {}

    /// Without recursion: files may be of any depth.
    void compare(const TreeNode& first, const TreeNode& second) {
        _begin(first, second, {});
        while (!_pairs.empty()) {
            Pair& pair = _pairs.back();
            if (pair.index < pair.first.children.size()) {
                _compareNext(pair);
            } else {
                _end(pair);
                _path.resize(pair.outerPath);
                _pairs.pop_back();
            }
        }
    }

    [[nodiscard]] std::string takeText() { return std::move(_text); }

private:
    /// Two nodes in the same place, and how far their children have been compared.
    struct Pair {
        const TreeNode& first;
        const TreeNode& second;
        std::size_t outerPath;  // the length of the path above them
        std::size_t index{0};
        std::unordered_map<std::string_view, std::vector<const TreeNode*>> others{};
        std::unordered_map<std::string_view, std::size_t> taken{};
    };

    void _begin(const TreeNode& first, const TreeNode& second, const std::string& name) {
        const std::size_t outerPath = _path.size();
        appendStep(_path, name);
        if (first.kind != second.kind) {
            _tell(_path, "is of another kind");
        } else if (first.value != second.value) {
            _tell(_path, describeChange(first.value, second.value));
        }
        if (first.children.empty() && second.children.empty()) return _path.resize(outerPath);
        Pair& pair = _pairs.emplace_back(Pair{first, second, outerPath});
        for (const auto& each : second.children)
            pair.others[each.name].push_back(&each);
    }

    void _compareNext(Pair& pair) {
        const TreeNode& child = pair.first.children[pair.index++];
        const auto& candidates = pair.others[child.name];
        std::size_t& next = pair.taken[child.name];
        if (next < candidates.size()) {
            _begin(child, *candidates[next++], child.name);
        } else {
            _tell(_pathOf(child), "only in the first");
        }
    }

    void _end(Pair& pair) {
        for (const auto& each : pair.second.children) {
            std::size_t& next = pair.taken[each.name];
            if (next > 0) {
                --next;
            } else {
                _tell(_pathOf(each), "only in the second");
            }
        }
        const bool areSequences = pair.first.kind == TreeNode::eKind::kSequence && pair.second.kind == pair.first.kind;
        if (areSequences) _compareOrder(pair.first, pair.second, _path);
    }

    [[nodiscard]] std::string _pathOf(const TreeNode& child) const {
        std::string path = _path;
        appendStep(path, child.name);
        return path;
    }

    /// Items that both have, in another order, are told once.
    void _compareOrder(const TreeNode& first, const TreeNode& second, const std::string& path) {
        if (first.children.size() != second.children.size()) return;
        std::unordered_set<std::string_view> names;
        for (const auto& each : first.children)
            names.insert(each.name);
        bool isSame = true;
        for (std::size_t i = 0; i < first.children.size(); ++i) {
            if (!names.contains(second.children[i].name)) return;
            isSame = isSame && first.children[i].name == second.children[i].name;
        }
        if (!isSame) _tell(path, "in another order");
    }

    void _tell(const std::string& path, const std::string& what) {
        const auto isMeant = [&](const std::string& pattern) { return matches(pattern, path); };
        if (std::any_of(_ignored.begin(), _ignored.end(), isMeant)) return;
        _text.append(path).append(": ").append(what).append("\n");
    }

    const std::vector<std::string>& _ignored;
    std::deque<Pair> _pairs;
    std::string _path;  // of the last pair
    std::string _text;
};

}  // namespace

TreeNode::~TreeNode() {
    auto waiting = std::move(children);
    while (!waiting.empty()) {
        auto below = std::move(waiting.back().children);
        waiting.pop_back();
        waiting.insert(waiting.end(), std::make_move_iterator(below.begin()), std::make_move_iterator(below.end()));
    }
}

TreeWriter::TreeWriter(std::string rootName, std::string archiveName) : _archiveName(std::move(archiveName)) {
    _root.name = std::move(rootName);
    _open.push_back(&_root);
}

TreeWriter::~TreeWriter() = default;

void TreeWriter::write(std::string_view name, bool value) {
    _add(name, value ? "true" : "false");
}

void TreeWriter::write(std::string_view name, int value) {
    _add(name, toText(value));
}

void TreeWriter::write(std::string_view name, unsigned int value) {
    _add(name, toText(value));
}

void TreeWriter::write(std::string_view name, long long value) {
    _add(name, toText(value));
}

void TreeWriter::write(std::string_view name, unsigned long long value) {
    _add(name, toText(value));
}

void TreeWriter::write(std::string_view name, float value) {
    _add(name, toText(value));
}

void TreeWriter::write(std::string_view name, double value) {
    _add(name, toText(value));
}

void TreeWriter::write(std::string_view name, std::string_view text) {
    _add(name, toLine(text));
}

void TreeWriter::writeRepeated(std::string_view name, std::string_view text) {
    _add(name, toLine(text));
}

void TreeWriter::writeChoice(std::string_view name, int number, std::string_view text) {
    _add(name, text.empty() ? toText(number) : toLine(text));
}

void TreeWriter::writeBytes(std::string_view name, std::string_view bytes) {
    _add(name, toHexadecimal(bytes));
}

void TreeWriter::writeTuple(std::string_view name, std::span<const double> components) {
    _addNumbers(name, components);
}

void TreeWriter::writeTuple(std::string_view name, std::span<const float> components) {
    _addNumbers(name, components);
}

void TreeWriter::writeBlock(std::string_view name, std::span<const double> numbers) {
    _addNumbers(name, numbers);
}

void TreeWriter::writeBlock(std::string_view name, std::span<const float> numbers) {
    _addNumbers(name, numbers);
}

void TreeWriter::writeBlock(std::string_view name, std::span<const int> numbers) {
    _addNumbers(name, numbers);
}

void TreeWriter::pushObject(Kr::KrBase* object) {
    _objects.push_back(object);
}

void TreeWriter::popObject() noexcept {
    if (!_objects.empty()) _objects.pop_back();
}

Kr::KrBase* TreeWriter::getCurrentObject() const {
    return !_objects.empty() ? _objects.back().get() : nullptr;
}

void TreeWriter::_mark(std::string_view /*name*/, bool /*isThere*/) {}

void TreeWriter::_beginGroup(std::string_view name) {
    _begin(name, TreeNode::eKind::kGroup);
}

void TreeWriter::_endGroup() {
    _open.pop_back();
}

void TreeWriter::_beginSequence(std::string_view name, std::size_t /*count*/) {
    _begin(name, TreeNode::eKind::kSequence);
}

void TreeWriter::_endSequence() {
    nameItems(*_open.back());
    _open.pop_back();
}

void TreeWriter::_add(std::string_view name, std::string value) {
    auto& node = _open.back()->children.emplace_back();
    node.name = name;
    node.kind = TreeNode::eKind::kValue;
    node.value = std::move(value);
}

void TreeWriter::_begin(std::string_view name, TreeNode::eKind kind) {
    auto& node = _open.back()->children.emplace_back();
    node.name = name;
    node.kind = kind;
    _open.push_back(&node);
}

template <class Number>
void TreeWriter::_addNumbers(std::string_view name, std::span<const Number> numbers) {
    std::string text;
    for (const auto each : numbers)
        text.append(text.empty() ? "" : " ").append(toText(each));
    _add(name, std::move(text));
}

std::string formatTree(const TreeNode& root, bool isLong) {
    std::string text;
    walk(root,
         [&](const TreeNode& node, std::size_t level, const std::string&) { formatLine(node, level, isLong, text); });
    return text;
}

std::string formatPaths(const TreeNode& root, bool isLong) {
    std::string text;
    walk(root, [&](const TreeNode& node, std::size_t, const std::string& path) {
        if (!node.children.empty()) return;
        text.append(path);
        if (node.kind == TreeNode::eKind::kValue) text.append(": ").append(isLong ? node.value : shorten(node.value));
        text += '\n';
    });
    return text;
}

std::string compareTrees(const TreeNode& first, const TreeNode& second, const std::vector<std::string>& ignored) {
    Comparison comparison(ignored);
    comparison.compare(first, second);
    return comparison.takeText();
}

}  // namespace krsim
