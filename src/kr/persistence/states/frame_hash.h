#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/content/content_id.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// The part of one extension or module in the hash of a frame.
struct ExtensionHash {
    std::string path;  ///< names from the outermost object down
    KrSim::KrContentID contentID;
    std::uint64_t hash{0};
};

/// A hash of 64 bits of all values in an application: inputs, outputs and parameters of content and modules. Two runs
/// whose hashes are equal after a frame have equal values then, but for one chance in 2^64. It finds the first frame in
/// which two runs, builds or machines differ, without a snapshot of each frame.
///
/// The hash is the sum of one number for each extension, which depends on its values and its raw content ID. So neither
/// the order of extensions counts nor the names of their files, and the hashes of several processes that share the
/// content of a simulation add up to the hash of one process with all of it. An extension whose ID is not from a file
/// has another ID in each run: its path counts instead. Values count bit by bit, as in ReplayCheck: -0.0 is not 0.0.
/// References to extensions count as their IDs, pointers to materials as the same one. What an implementation keeps
/// outside of its fields (onStateSave) does not count, until a field depends on it.
///
///     KrPersistence::FrameHash hash(*application);
///     application->update();
///     std::printf("%016llx\n", static_cast<unsigned long long>(hash.calculate()));
///
/// Thread: application, between two passes, as in onFrameEnded. Ownership: borrows the application.
class KR_API FrameHash {
public:
    explicit FrameHash(KrSim::KrApplication& application);
    FrameHash(const FrameHash&) = delete;
    FrameHash& operator=(const FrameHash&) = delete;
    ~FrameHash();

    /// Of the present values. After a change of content, modules, names or the fields of one it makes its list again,
    /// which allocates and takes about 50 times as long; else it allocates only for vectors of references.
    [[nodiscard]] std::uint64_t calculate();
    /// Whose numbers add up to calculate(), in the order of the content, then the modules.
    [[nodiscard]] std::vector<ExtensionHash> calculateParts();

private:
    class Contents;

    std::unique_ptr<Contents> _contents;
};

}  // namespace KrPersistence
