#include "kr/content/events/content_event_data.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "kr/content/content_id_access.h"
#include "kr/content/content_reference.h"
#include "kr/events/event_access.h"
#include "kr/events/event_data.h"
#include "kr/platform/log.h"

namespace KrSim {

namespace {

using Identifier = KrContentID::Identifier;

/// Reads one ID and its chain, and records whether all parts exist.
class IdReader {
public:
    explicit IdReader(const EventData& data) : _data(data) {}

    KrContentID read(int nesting) {
        const Identifier own = _readIdentifier();
        const Identifier runtime = _readIdentifier();
        const Identifier raw = _readIdentifier();
        std::string file = _readText();
        std::uint32_t count = 0;
        _isComplete &= detail::EventDataAccess::read(_data, count);
        // Bytes that were read at the wrong place say nothing of entries.
        KrContentID::Chain chain;
        if (_isComplete && count != 0 && nesting == KrContentID::kMaxNesting) {
            Kr::logErrorNoThrow("EventData::operator>>, the chain of a content ID is nested too deep\n");
            _isComplete = false;
        }
        for (; _isComplete && count != 0; --count)
            chain.push_back(read(nesting + 1));
        return detail::ContentIDAccess::fromParts(own, runtime, raw, std::move(file), std::move(chain));
    }

private:
    Identifier _readIdentifier() {
        Identifier identifier;
        _isComplete &= detail::EventDataAccess::read(_data, identifier.first);
        _isComplete &= detail::EventDataAccess::read(_data, identifier.second);
        return identifier;
    }
    std::string _readText() {
        std::string text;
        if (detail::EventDataAccess::readWholeText(_data, text)) return text;
        _isComplete = false;
        _data >> text;
        return text;
    }

    const EventData& _data;
    bool _isComplete{true};
};

}  // namespace

EventData& operator<<(EventData& data, const KrContentID& id) {
    for (const Identifier& part : {id.getOwnIdentifier(), id.getRuntimeID(), id.getRawID()})
        data << part.first << part.second;
    data << id.getFile() << static_cast<std::uint32_t>(id.getParentInstances().size());
    for (const KrContentID& entry : id.getParentInstances())
        data << entry;
    return data;
}

const EventData& operator>>(const EventData& data, KrContentID& id) {
    id = IdReader(data).read(0);
    return data;
}

EventData& operator<<(EventData& data, const KrContentReference& reference) {
    return data << reference.isStrongReference() << reference.getContentID();
}

const EventData& operator>>(const EventData& data, KrContentReference& reference) {
    bool isStrong = false;
    KrContentID id;
    data >> isStrong;
    reference.enableStrongReference(isStrong);
    data >> id;
    reference.setTarget(id);
    return data;
}

}  // namespace KrSim
