#include "kr/events/event_id_list.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <string_view>

#include "kr/core/id.h"
#include "kr/events/event_access.h"
#include "kr/platform/log.h"

namespace KrSim {
namespace {

/// A hostile application must not fill the memory with names.
constexpr std::size_t kMostLearnedNames = 65'536;
constexpr std::size_t kMostLearnedBytes = std::size_t{16} << 20U;

struct Names {
    std::mutex mutex;  // guards all members
    std::map<std::int32_t, Kr::KrID> local;
    std::map<std::int32_t, std::string> learned;
    std::size_t learnedBytes{0};  // of the texts in it
    std::deque<Kr::KrID> unpublished;
};

Names& names() {
    static auto& all = *new Names;
    return all;
}

void appendNumber(std::string& bytes, std::size_t number) {
    const auto word = static_cast<std::uint32_t>(number);
    char raw[sizeof word];
    std::memcpy(raw, &word, sizeof word);
    bytes.append(raw, sizeof word);
}

void learn(std::string_view name) {
    const std::int32_t number = Kr::KrID::numberFor(name);
    auto& all = names();
    const std::lock_guard lock(all.mutex);
    if (all.learned.size() >= kMostLearnedNames || name.size() > kMostLearnedBytes - all.learnedBytes) return;
    if (all.learned.emplace(number, name).second) all.learnedBytes += name.size();
}

/// Reads the payload of a publication from its start.
class NameReader {
public:
    NameReader(const std::uint8_t* bytes, std::size_t size) noexcept : _rest(bytes), _size(size) {}

    bool readNumber(std::uint32_t& number) noexcept {
        if (_size < sizeof number) return false;
        std::memcpy(&number, _rest, sizeof number);
        _skip(sizeof number);
        return true;
    }
    bool readText(std::string_view& text) noexcept {
        std::uint32_t length = 0;
        if (!readNumber(length) || length > _size) return false;
        text = {reinterpret_cast<const char*>(_rest), length};
        _skip(length);
        return true;
    }

private:
    void _skip(std::size_t count) noexcept {
        _rest += count;
        _size -= count;
    }

    const std::uint8_t* _rest;
    std::size_t _size;
};

}  // namespace

EventIDList& EventIDList::instance() {
    static auto& list = *new EventIDList;
    return list;
}

bool EventIDList::existLocally(const std::string& name) const {
    auto& all = names();
    const std::lock_guard lock(all.mutex);
    return all.local.count(Kr::KrID::numberFor(name)) > 0;
}

int EventIDList::getLocal(const std::string& name) const {
    return existLocally(name) ? Kr::KrID::numberFor(name) : Kr::KrID::kEmptyNumber;
}

int EventIDList::add(const std::string& name) {
    const Kr::KrID id(name);
    auto& all = names();
    {
        const std::lock_guard lock(all.mutex);
        if (all.local.emplace(id.getNumber(), id).second) all.unpublished.push_back(id);
    }
    if (id.str() != name) {
        Kr::logMessage(Kr::eLogLevel::kWarn, "EventIDList: '%s' and '%s' have one number and share their events\n",
                       name.c_str(), id.str().c_str());
    }
    return id.getNumber();
}

std::string EventIDList::getName(int number) const {
    auto& all = names();
    const std::lock_guard lock(all.mutex);
    if (const auto local = all.local.find(number); local != all.local.end()) return local->second.str();
    const auto learned = all.learned.find(number);
    return learned != all.learned.end() ? learned->second : std::string();
}

void EventIDList::cleanup() {
    auto& all = names();
    const std::lock_guard lock(all.mutex);
    all.local.clear();
    all.learned.clear();
    all.learnedBytes = 0;
    all.unpublished.clear();
}

void detail::EventNamesAccess::publishAllAgain() {
    auto& all = names();
    const std::lock_guard lock(all.mutex);
    // Those that wait keep their place in front.
    std::map<std::int32_t, Kr::KrID> rest = all.local;
    for (const auto& id : all.unpublished)
        rest.erase(id.getNumber());
    for (const auto& [number, id] : rest)
        all.unpublished.push_back(id);
}

std::vector<std::uint8_t> detail::EventNamesAccess::takeNamesToPublish() {
    auto& all = names();
    const std::lock_guard lock(all.mutex);
    const std::size_t count = std::min(all.unpublished.size(), EventIDList::kNamesPerStep);
    if (count == 0) return {};
    std::string bytes;
    appendNumber(bytes, count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::string& name = all.unpublished[i].str();
        appendNumber(bytes, name.size());
        bytes += name;
    }
    all.unpublished.erase(all.unpublished.begin(), all.unpublished.begin() + static_cast<std::ptrdiff_t>(count));
    return {bytes.begin(), bytes.end()};
}

void detail::EventNamesAccess::learnNames(const std::uint8_t* bytes, std::size_t size, const std::string& sender) {
    NameReader reader(bytes, size);
    std::uint32_t count = 0;
    bool isWhole = reader.readNumber(count);
    for (std::uint32_t i = 0; i < count && isWhole; ++i) {
        std::string_view name;
        isWhole = reader.readText(name);
        if (!isWhole || name.empty()) continue;
        learn(name);
    }
    if (!isWhole) {
        Kr::logMessage(Kr::eLogLevel::kWarn, "EventIDList: malformed list of event names from '%s'\n", sender.c_str());
    }
}

}  // namespace KrSim
