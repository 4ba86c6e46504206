#pragma once

#include <cstddef>
#include <string>

#include "kr/events/event_id.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The names and numbers of the events of this process.
///
/// The number of a name is that of the interned identifier Kr::KrID, a CRC-32 of the text, so a name always has the
/// same number in every process. Names made here are local; names received from other applications are kept apart: they
/// name a number and are not published. A local name takes precedence over a received one.
/// Thread: any. Ownership: one instance, never destroyed.
class KR_API EventIDList {
public:
    static constexpr std::size_t kNamesPerStep = 5;

    /// The one instance.
    static EventIDList& instance();
    EventIDList(const EventIDList&) = delete;
    EventIDList& operator=(const EventIDList&) = delete;

    [[nodiscard]] bool existLocally(const std::string& name) const;
    /// The number of a local name; Kr::KrID::kEmptyNumber for any other.
    [[nodiscard]] int getLocal(const std::string& name) const;
    /// Makes the name local and returns its number. A new name waits to be published; a name that is local already is
    /// not published again. Two texts with one CRC share their events, under the first text; that logs a warning.
    int add(const std::string& name);

    /// The local or received name of a number; empty without one.
    [[nodiscard]] std::string getName(EventId id) const { return getName(id._getNumber()); }
    [[nodiscard]] std::string getName(int number) const;

    /// Removes all names, also those that wait to be published.
    void cleanup();

private:
    EventIDList() = default;
    ~EventIDList() = delete;
};

}  // namespace KrSim
