#include "apps/krsim/run_events.h"

#include <algorithm>
#include <cstdio>

namespace krsim {
namespace {

constexpr std::size_t kMostShown = 20;

std::string toKey(const std::string& subject, const std::string& what) {
    return subject + '\0' + what;
}

std::string formatSeconds(const Moment& moment) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f s", moment.seconds);
    return text;
}

std::string formatMoments(const RunEvent& event) {
    const auto& first = event.first;
    const auto& last = event.last;
    if (last.frame == 0) return "before the first frame";
    const std::string end = std::to_string(last.frame);
    if (first.frame == last.frame) return "in frame " + end + " (" + formatSeconds(last) + ")";
    if (first.frame == 0) return "before the first frame, last in frame " + end + " (" + formatSeconds(last) + ")";
    return "in frames " + std::to_string(first.frame) + " to " + end + " (" + formatSeconds(first) + " to " +
           formatSeconds(last) + ")";
}

std::string formatTimes(std::uint64_t count) {
    return count == 1 ? "" : " " + std::to_string(count) + " times";
}

std::string formatMessage(const RunEvent& each) {
    return each.what + " - " + each.subject + ":" + formatTimes(each.count) + " " + formatMoments(each);
}

std::string formatList(const char* title, const RunEventList& list, std::string (*format)(const RunEvent&)) {
    if (list.isEmpty()) return {};
    std::string text = std::string("krsim: ") + title + ": " + std::to_string(list.getCount()) + "\n";
    const auto& all = list.get();
    const std::size_t shown = std::min(all.size(), kMostShown);
    for (std::size_t i = 0; i < shown; ++i)
        text += "  " + format(all[i]) + "\n";
    if (shown < all.size() || list.getOmittedCount() > 0) text += "  and others\n";
    return text;
}

}  // namespace

void RunEventList::add(const std::string& subject, const std::string& what, const std::string& detail, Moment moment) {
    ++_count;
    const auto [place, isNew] = _places.try_emplace(toKey(subject, what), _events.size());
    if (isNew && _events.size() == kMostEvents) {
        _places.erase(place);
        ++_omitted;
        return;
    }
    if (isNew) _events.push_back({subject, what, detail, 0, moment, moment});
    auto& event = _events[place->second];
    ++event.count;
    event.last = moment;
}

bool RunEventList::contains(const std::string& subject, const std::string& what) const {
    return _places.contains(toKey(subject, what));
}

std::string formatEvent(const RunEvent& event) {
    return event.subject + ": " + event.what + formatTimes(event.count) + " " + formatMoments(event) +
           (event.detail.empty() ? "" : ": " + event.detail);
}

std::string formatEvents(const RunEvents& events) {
    return formatList("failures", events.failures, &formatEvent) +
           formatList("infinite outputs", events.infinities, &formatEvent) +
           formatList("warnings and errors in the log", events.messages, &formatMessage);
}

}  // namespace krsim
