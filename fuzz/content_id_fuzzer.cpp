#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/content/events/content_event_data.h"
#include "kr/events/event_access.h"
#include "kr/events/event_data.h"
#include "kr/platform/log.h"

namespace {

using KrSim::EventData;
using KrSim::KrContentID;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kMostClaimed = 64U << 10U;

int errorCount = 0;  // logged by the last read

void require(bool holds) {
    if (!holds) std::abort();
}

/// Either all ways of reading the text refuse it and leave the value alone, or it survives the way back.
void readText(const std::string& text) {
    const KrContentID::Identifier before{7, 8};
    KrContentID::Identifier parsed = before;
    KrContentID::Identifier extracted = before;
    const bool isWhole = KrContentID::Identifier::parse(text, parsed);
    std::istringstream stream(text);
    const bool isExtracted = !(stream >> extracted).fail();
    require(isWhole || parsed == before);
    require(isExtracted || extracted == before);
    if (!isWhole) return;
    require(isExtracted && extracted == parsed);
    std::string upper = text;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](char each) { return each >= 'a' && each <= 'f' ? static_cast<char>(each - 'a' + 'A') : each; });
    require(parsed.toString() == upper);
}

int depthOf(const KrContentID& id) {
    int depth = 0;
    for (const KrContentID& entry : id.getParentInstances())
        depth = std::max(depth, 1 + depthOf(entry));
    return depth;
}

/// Whether an ID is there whole; if not, what its last text claims without having it. Nothing is read behind that.
bool isWhole(const Bytes& payload, std::size_t& at, std::uint32_t& claim) {
    for (int word = 0; word < 6; ++word) {
        if (payload.size() - at >= 8) at += 8;
    }
    std::uint32_t count = 0;
    for (const bool isText : {true, false}) {
        if (payload.size() - at < sizeof count) return false;
        std::memcpy(&count, payload.data() + at, sizeof count);
        at += sizeof count;
        if (!isText) break;
        if (payload.size() - at < count) claim = count;
        if (claim != 0) return false;
        at += count;
    }
    for (; count != 0; --count) {
        if (!isWhole(payload, at, claim)) return false;
    }
    return true;
}

/// What is read is no deeper than allowed, and what was written from it reads back to the same bytes.
void readPayload(const Bytes& payload) {
    std::size_t at = 0;
    std::uint32_t claim = 0;
    if (!isWhole(payload, at, claim) && claim > kMostClaimed)
        return;  // it would only measure how fast memory is cleared
    const EventData data(payload);
    KrContentID id;
    errorCount = 0;
    data >> id;
    const bool wasWhole = errorCount == 0;
    require(depthOf(id) <= KrContentID::kMaxNesting);
    EventData written;
    written << id;
    KrContentID again;
    written >> again;
    require(KrSim::detail::EventDataAccess::unread(written) == 0);
    EventData twice;
    twice << again;
    require(twice.data() == written.data());
    if (wasWhole) require(std::equal(written.data().begin(), written.data().end(), payload.begin()));
    again.setParentID(id);
    again.setFile("file");
}

}  // namespace

// An even first byte: the rest is text. An odd one: the rest is an ID in an event.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    Kr::LogSetHandler([](Kr::eLogLevel, const char*, std::va_list) { ++errorCount; });
    if (data[0] % 2 == 0) {
        readText(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    } else {
        readPayload(Bytes(data + 1, data + size));
    }
    return 0;
}
