#pragma once

#include <boost/multi_index/indexed_by.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/ranked_index.hpp>
#include <boost/multi_index_container.hpp>
#include <cstdint>

#include "kr/extension/extension.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim::detail {

struct ExtensionEntry {
    std::uint64_t position;
    Kr::KrSmartPtr<KrExtension> extension;
};

/// The extensions of an object by their positions. Adding, removing and access by index take logarithmic time, so that
/// a large object may be emptied from its front.
class ExtensionList
    : public boost::multi_index_container<
          ExtensionEntry, boost::multi_index::indexed_by<boost::multi_index::ranked_non_unique<
                              boost::multi_index::member<ExtensionEntry, std::uint64_t, &ExtensionEntry::position>>>> {
};

}  // namespace KrSim::detail
