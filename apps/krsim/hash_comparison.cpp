#include "apps/krsim/hash_comparison.h"

#include <algorithm>
#include <iterator>

#include "apps/krsim/failure.h"
#include "apps/krsim/hash_file.h"
#include "apps/krsim/loaded_file.h"
#include "apps/krsim/tree_writer.h"

namespace krsim {
namespace {

/// Real times, which differ in each run.
const std::vector<std::string> kOfEachRun{"*/ElapsedSeconds", "*/SecondsSince*"};

/// Of files of any size.
bool isHashFile(const std::string& filename) {
    char begin[16];
    const auto stream = openInput(filename);
    stream->read(begin, sizeof begin);
    return HashFile::isOne({begin, static_cast<std::size_t>(stream->gcount())});
}

HashFile load(const std::string& filename) {
    const auto stream = openInput(filename);
    const std::string text{std::istreambuf_iterator<char>(*stream), std::istreambuf_iterator<char>()};
    return HashFile::parse(filename, text);
}

/// The number of frames in a state.
std::string findFrames(const TreeNode& node) {
    if (node.kind == TreeNode::eKind::kValue) return node.name == "Frames" ? node.value : std::string();
    for (const auto& each : node.children) {
        if (auto found = findFrames(each); !found.empty()) return found;
    }
    return {};
}

TreeNode loadState(const std::string& filename, std::uint64_t frame) {
    auto state = loadTree(filename);
    const auto frames = findFrames(state);
    if (frames == std::to_string(frame)) return state;
    throw Failure(eExitCode::kUsage, "file '" + filename + "' is no state after frame " + std::to_string(frame) +
                                         (frames.empty() ? "" : ", but after frame " + frames));
}

/// The first line that differs, and how many more do.
std::string compareStates(const DiffPlan& plan, std::uint64_t frame) {
    auto ignored = plan.ignored;
    ignored.insert(ignored.end(), kOfEachRun.begin(), kOfEachRun.end());
    const auto first = loadState(plan.states.front(), frame);
    const auto text = compareTrees(first, loadState(plan.states.back(), frame), ignored);
    if (text.empty()) return "the states are equal: they are not those of these runs\n";
    const auto end = text.find('\n') + 1;
    const auto more = std::count(text.begin() + static_cast<std::ptrdiff_t>(end), text.end(), '\n');
    return text.substr(0, end) + (more > 0 ? "and " + std::to_string(more) + " more differences of the states\n" : "");
}

/// How to find the field.
std::string advise(const HashFile& first, const HashFile& second, std::uint64_t frame) {
    const auto countOf = [&](const HashFile& file) { return frame - file.frames.front().number; };
    if (countOf(first) == 0 || countOf(second) == 0) return "a run differs at its beginning: compare its files\n";
    const auto count = std::to_string(countOf(first));
    const auto other = std::to_string(countOf(second));
    return "for the field: run both with --frames " + count + (other != count ? " and " + other : "") +
           " --save-state STATE, then krsim diff with --states and both states\n";
}

}  // namespace

std::optional<std::string> compareIfHashes(const DiffPlan& plan) {
    if (!isHashFile(plan.first) && !isHashFile(plan.second)) {
        if (plan.states.empty()) return std::nullopt;
        throw Failure(eExitCode::kUsage, "--states is for two files of frame hashes");
    }
    const auto first = load(plan.first);
    const auto second = load(plan.second);
    const auto difference = compareHashes(first, second);
    if (!difference.isInFrame) return difference.text;
    return difference.text +
           (plan.states.empty() ? advise(first, second, difference.frame) : compareStates(plan, difference.frame));
}

}  // namespace krsim
