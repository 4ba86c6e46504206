// Trees as texts, and what differs between two.

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <deque>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "apps/krsim/tree_writer.h"
#include "kr/platform/crc32.h"
#include "kr/platform/text_pattern.h"
#include "kr/platform/utf8.h"

namespace krsim {
namespace {

constexpr std::size_t kMostShown = 160;

/// The end of the longest text of whole characters that ends there or before.
std::size_t endOfCharacters(const std::string& text, std::size_t place) {
    while (place > 0 && place < text.size() && Kr::isUtf8Continuation(text[place]))
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

    /// Items of both in a different order are reported once.
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
        const auto isMeant = [&](const std::string& pattern) { return Kr::matchesPattern(pattern, path); };
        if (std::any_of(_ignored.begin(), _ignored.end(), isMeant)) return;
        _text.append(path).append(": ").append(what).append("\n");
    }

    const std::vector<std::string>& _ignored;
    std::deque<Pair> _pairs;
    std::string _path;  // of the last pair
    std::string _text;
};

}  // namespace

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
