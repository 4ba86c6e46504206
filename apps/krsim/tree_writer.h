#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/archive_writer.h"

namespace krsim {

/// Named values as a tree, for output and comparison.
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

/// Keeps the written values in memory. The items of a sequence are identified by their own names ("Name", "Identifier"
/// and so on) when these are unique, else numbered: so two trees are compared item by item although one has an item
/// more.
class TreeWriter final : public KrPersistence::ArchiveWriter {
public:
    /// \param archiveName  the file to which paths are relative.
    TreeWriter(std::string rootName, const std::string& archiveName);
    ~TreeWriter() override;

    [[nodiscard]] const TreeNode& getRoot() const noexcept { return _root; }
    /// The same for a caller that keeps it; ends the writing.
    [[nodiscard]] TreeNode takeRoot() noexcept { return std::move(_root); }

private:
    void _writeScalar(std::string_view name, const Scalar& value) override;
    void _writeText(std::string_view name, std::string_view text, bool isRepeated) override;
    void _writeChoice(std::string_view name, int number, std::string_view text) override;
    void _writeBytes(std::string_view name, std::string_view bytes) override;
    void _writeTuple(std::string_view name, const Numbers& components) override;
    void _writeBlock(std::string_view name, const Numbers& numbers) override;
    void _mark(std::string_view name, bool isThere) override;
    void _begin(std::string_view name, eNesting kind, std::size_t count) override;
    void _end(eNesting kind) override;

    void _add(std::string_view name, std::string value);

    KrPersistence::KrArchive _archive;
    TreeNode _root;
    std::vector<TreeNode*> _open;  // from the root down; a node gets no sibling while it is open
};

/// The tree as lines "name: value", indented by two blanks for each of the first 32 levels.
/// \param isLong  false: values of more than 160 bytes are cut, with their length and CRC-32, which distinguishes
///                values with the same beginning.
[[nodiscard]] std::string formatTree(const TreeNode& root, bool isLong = false);

/// The values of the tree with their paths, a line each: "Objects[Car]/Name: Car"; groups without values as paths.
[[nodiscard]] std::string formatPaths(const TreeNode& root, bool isLong = false);

/// The differences, a line each: "Objects[Car]/Name: before -> after", "Objects[Van]: only in the first". Long values
/// are shown around the first byte that differs. Empty for equal trees.
/// \param ignored  patterns of paths to ignore, "*/ElapsedSeconds".
[[nodiscard]] std::string compareTrees(const TreeNode& first, const TreeNode& second,
                                       const std::vector<std::string>& ignored = {});

}  // namespace krsim
