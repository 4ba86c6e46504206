#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kr/events/event_id.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The names and numbers of the events of this process.
///
/// The number of a name is that of the interned identifier Kr::KrID, a CRC-32 of the text, so a name has the same
/// number for ever and in every process. Names made here are local; other applications tell theirs, which are kept
/// aside: they give a number a name and are never told on. A local name wins over one that was learned. Thread: any.
class KR_API EventIDList {
public:
    static constexpr std::size_t kNamesPerStep = 5;

    /// Never destroyed.
    static EventIDList& instance();
    EventIDList(const EventIDList&) = delete;
    EventIDList& operator=(const EventIDList&) = delete;

    [[nodiscard]] bool existLocally(const std::string& name) const;
    /// The number of a local name; Kr::KrID::kEmptyNumber for any other.
    [[nodiscard]] int getLocal(const std::string& name) const;
    /// Makes the name a local one, which waits to be published, and answers its number. A name that is local already
    /// is not published again. Two texts with one CRC share their events, under the first text: that is warned of.
    int add(const std::string& name);

    /// The local or learned name of a number, or an empty text.
    [[nodiscard]] std::string getName(EventId id) const { return getName(id._getNumber()); }
    [[nodiscard]] std::string getName(int number) const;

    /// Forgets all names, also those that wait to be published.
    void cleanup();

    /// Queues every local name that does not wait already: an application has joined that knows none of them.
    void _publishAllAgain();
    /// Takes at most kNamesPerStep names from the front of the queue as the payload that other applications read: a
    /// 4-byte count, then each name as a 4-byte length and its bytes. Empty when nothing waits.
    [[nodiscard]] std::vector<std::uint8_t> _takeNamesToPublish();
    /// Keeps the names of such a payload. A malformed one is warned of; names before the fault are kept.
    void _learn(const std::uint8_t* bytes, std::size_t size, const std::string& sender);

private:
    EventIDList() = default;
    ~EventIDList() = delete;
};

}  // namespace KrSim
