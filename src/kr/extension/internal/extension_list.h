#pragma once

#include <boost/multi_index/indexed_by.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/ranked_index.hpp>
#include <boost/multi_index_container.hpp>
#include <cstdint>
#include <memory>

#include "kr/extension/extension.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim::detail {

struct ExtensionEntry {
    std::uint64_t position;
    Kr::KrSmartPtr<KrExtension> extension;
};

/// The extensions of an object by their positions. Adding, removing and access by index take logarithmic time, so that
/// a large object may be emptied from its front.
///
/// Always released by release(), so that objects may be nested at any depth.
class ExtensionList
    : public boost::multi_index_container<
          ExtensionEntry, boost::multi_index::indexed_by<boost::multi_index::ranked_non_unique<
                              boost::multi_index::member<ExtensionEntry, std::uint64_t, &ExtensionEntry::position>>>> {
public:
    /// Releases the extensions, which may destroy them and all below them. Deep below others, the list waits
    /// until objects above it are gone, as the stack of the thread does not last for all levels. Allocates nothing.
    static void release(std::unique_ptr<ExtensionList> list) noexcept;

private:
    ExtensionList* _next{nullptr};  // of the waiting lists
};

}  // namespace KrSim::detail
