#include "apps/krsim/tree_writer.h"

#include <iterator>
#include <type_traits>
#include <unordered_set>
#include <utility>

#include "kr/platform/text.h"

namespace krsim {
namespace {

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
            line += "\\x" + Kr::toHex({&each, 1});
        } else {
            line += each;
        }
    }
    return line;
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

}  // namespace

TreeNode::~TreeNode() {
    auto waiting = std::move(children);
    while (!waiting.empty()) {
        auto below = std::move(waiting.back().children);
        waiting.pop_back();
        waiting.insert(waiting.end(), std::make_move_iterator(below.begin()), std::make_move_iterator(below.end()));
    }
}

TreeWriter::TreeWriter(std::string rootName, const std::string& archiveName) : ArchiveWriter(_archive) {
    _archive.setArchiveName(archiveName);
    _root.name = std::move(rootName);
    _open.push_back(&_root);
}

TreeWriter::~TreeWriter() = default;

void TreeWriter::_writeScalar(std::string_view name, const Scalar& value) {
    std::visit(
        [&](auto number) {
            if constexpr (std::is_same_v<decltype(number), bool>) {
                _add(name, number ? "true" : "false");
            } else {
                _add(name, Kr::toText(number));
            }
        },
        value);
}

void TreeWriter::_writeText(std::string_view name, std::string_view text, bool /*isRepeated*/) {
    _add(name, toLine(text));
}

void TreeWriter::_writeChoice(std::string_view name, int number, std::string_view text) {
    _add(name, text.empty() ? Kr::toText(number) : toLine(text));
}

void TreeWriter::_writeBytes(std::string_view name, std::string_view bytes) {
    _add(name, Kr::toHex(bytes));
}

void TreeWriter::_writeTuple(std::string_view name, const Numbers& components) {
    _writeBlock(name, components);
}

void TreeWriter::_writeBlock(std::string_view name, const Numbers& numbers) {
    _add(name, std::visit([](auto span) { return Kr::toText(span); }, numbers));
}

void TreeWriter::_mark(std::string_view /*name*/, bool /*isThere*/) {}

void TreeWriter::_begin(std::string_view name, eNesting kind, std::size_t /*count*/) {
    auto& node = _open.back()->children.emplace_back();
    node.name = name;
    node.kind = kind == eNesting::kGroup ? TreeNode::eKind::kGroup : TreeNode::eKind::kSequence;
    _open.push_back(&node);
}

void TreeWriter::_end(eNesting kind) {
    if (kind == eNesting::kSequence) nameItems(*_open.back());
    _open.pop_back();
}

void TreeWriter::_add(std::string_view name, std::string value) {
    auto& node = _open.back()->children.emplace_back();
    node.name = name;
    node.kind = TreeNode::eKind::kValue;
    node.value = std::move(value);
}

}  // namespace krsim
