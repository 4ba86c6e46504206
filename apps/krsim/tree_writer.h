#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kr/core/base_pointer.h"
#include "kr/persistence/archives/archive_writer.h"

namespace krsim {

/// Named values as a tree, to be shown and compared.
struct TreeNode {
    enum class eKind { kValue, kGroup, kSequence };

    TreeNode() = default;
    TreeNode(TreeNode&&) = default;
    TreeNode& operator=(TreeNode&&) = default;
    /// Without recursion: files may be of any depth.
    ~TreeNode();

    std::string name{};
    eKind kind{eKind::kGroup};
    std::string value{};  ///< of a value: readable, exact
    std::vector<TreeNode> children{};
};

/// Keeps what is written in memory. The items of a sequence are named after what they call themselves ("Name",
/// "Identifier" and so on) where that tells them apart, else they are numbered: so two trees are compared item by item
/// although one has an item more.
class TreeWriter final : public KrPersistence::ArchiveWriter {
public:
    /// \param archiveName  the file that paths are told relative to.
    TreeWriter(std::string rootName, std::string archiveName);
    ~TreeWriter() override;

    [[nodiscard]] const TreeNode& getRoot() const noexcept { return _root; }
    /// The same for a caller that keeps it; nothing is to be written any more.
    [[nodiscard]] TreeNode takeRoot() noexcept { return std::move(_root); }

    using ArchiveWriter::write;
    void write(std::string_view name, bool value) override;
    void write(std::string_view name, int value) override;
    void write(std::string_view name, unsigned int value) override;
    void write(std::string_view name, long long value) override;
    void write(std::string_view name, unsigned long long value) override;
    void write(std::string_view name, float value) override;
    void write(std::string_view name, double value) override;
    void write(std::string_view name, std::string_view text) override;
    void writeRepeated(std::string_view name, std::string_view text) override;
    void writeChoice(std::string_view name, int number, std::string_view text) override;
    void writeBytes(std::string_view name, std::string_view bytes) override;
    void writeTuple(std::string_view name, std::span<const double> components) override;
    void writeTuple(std::string_view name, std::span<const float> components) override;
    void writeBlock(std::string_view name, std::span<const double> numbers) override;
    void writeBlock(std::string_view name, std::span<const float> numbers) override;
    void writeBlock(std::string_view name, std::span<const int> numbers) override;

    [[nodiscard]] const std::string& getArchiveName() const override { return _archiveName; }
    void pushObject(Kr::KrBase* object) override;
    void popObject() noexcept override;
    [[nodiscard]] Kr::KrBase* getCurrentObject() const override;

private:
    void _mark(std::string_view name, bool isThere) override;
    void _beginGroup(std::string_view name) override;
    void _endGroup() override;
    void _beginSequence(std::string_view name, std::size_t count) override;
    void _endSequence() override;

    void _add(std::string_view name, std::string value);
    void _begin(std::string_view name, TreeNode::eKind kind);
    template <class Number>
    void _addNumbers(std::string_view name, std::span<const Number> numbers);

    std::string _archiveName;
    TreeNode _root;
    std::vector<TreeNode*> _open;  // from the root down; a node gets no sibling while it is open
    std::vector<Kr::KrBasePointer> _objects;
};

/// The tree as lines "name: value", indented by two blanks for each of the first 32 levels.
/// \param isLong  false: values of more than 160 bytes are cut, with their length and CRC-32, which tells values apart
///                that begin alike.
[[nodiscard]] std::string formatTree(const TreeNode& root, bool isLong = false);

/// The values of the tree with their paths, a line each: "Objects[Car]/Name: Car"; groups without values as paths.
[[nodiscard]] std::string formatPaths(const TreeNode& root, bool isLong = false);

/// What differs, a line each: "Objects[Car]/Name: before -> after", "Objects[Van]: only in the first". Long values are
/// shown around the first byte that differs. Empty for equal trees.
/// \param ignored  patterns of paths, "*/ElapsedSeconds", that are passed over.
[[nodiscard]] std::string compareTrees(const TreeNode& first, const TreeNode& second,
                                       const std::vector<std::string>& ignored = {});

}  // namespace krsim
