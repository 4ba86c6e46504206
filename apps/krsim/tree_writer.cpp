#include "apps/krsim/tree_writer.h"

#include <iterator>
#include <unordered_set>
#include <utility>

#include "kr/core/base.h"
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

TreeWriter::TreeWriter(std::string rootName, std::string archiveName) : _archiveName(std::move(archiveName)) {
    _root.name = std::move(rootName);
    _open.push_back(&_root);
}

TreeWriter::~TreeWriter() = default;

void TreeWriter::write(std::string_view name, bool value) {
    _add(name, value ? "true" : "false");
}

void TreeWriter::write(std::string_view name, int value) {
    _add(name, Kr::toText(value));
}

void TreeWriter::write(std::string_view name, unsigned int value) {
    _add(name, Kr::toText(value));
}

void TreeWriter::write(std::string_view name, long long value) {
    _add(name, Kr::toText(value));
}

void TreeWriter::write(std::string_view name, unsigned long long value) {
    _add(name, Kr::toText(value));
}

void TreeWriter::write(std::string_view name, float value) {
    _add(name, Kr::toText(value));
}

void TreeWriter::write(std::string_view name, double value) {
    _add(name, Kr::toText(value));
}

void TreeWriter::write(std::string_view name, std::string_view text) {
    _add(name, toLine(text));
}

void TreeWriter::writeRepeated(std::string_view name, std::string_view text) {
    _add(name, toLine(text));
}

void TreeWriter::writeChoice(std::string_view name, int number, std::string_view text) {
    _add(name, text.empty() ? Kr::toText(number) : toLine(text));
}

void TreeWriter::writeBytes(std::string_view name, std::string_view bytes) {
    _add(name, Kr::toHex(bytes));
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
    _add(name, Kr::toText(numbers));
}

}  // namespace krsim
