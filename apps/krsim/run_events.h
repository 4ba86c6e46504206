#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace krsim {

/// A frame of a run and its time, as the record has them.
struct Moment {
    std::uint64_t frame{0};  ///< 1 is the first one; 0 before it
    double seconds{0.0};     ///< simulated, when the frame ends
};

/// One sort of event in a run, however often it came.
struct RunEvent {
    std::string subject;  ///< path or name of what it came to, "Car/Vehicle.Outputs.Speed"; text of a log message
    std::string what;     ///< "onUpdate threw", "became NaN", level of a log message
    std::string detail;   ///< of the first one, the text of its exception; may be empty
    std::uint64_t count{0};
    Moment first{};
    Moment last{};
};

/// Events of a run, equal ones folded into one. Takes a bounded amount of memory.
/// Thread: one.
class RunEventList {
public:
    static constexpr std::size_t kMostEvents = 1000;

    /// Events with one subject and one `what` are equal.
    void add(const std::string& subject, const std::string& what, const std::string& detail, Moment moment);

    [[nodiscard]] bool contains(const std::string& subject, const std::string& what) const;
    /// In the order of their first moments.
    [[nodiscard]] const std::vector<RunEvent>& get() const noexcept { return _events; }
    /// How many were added.
    [[nodiscard]] std::uint64_t getCount() const noexcept { return _count; }
    /// How many of them are not kept, since there were too many different ones.
    [[nodiscard]] std::uint64_t getOmittedCount() const noexcept { return _omitted; }
    [[nodiscard]] bool isEmpty() const noexcept { return _count == 0; }

private:
    std::vector<RunEvent> _events;
    std::unordered_map<std::string, std::size_t> _places;  // in the events, by subject and what
    std::uint64_t _count{0};
    std::uint64_t _omitted{0};
};

/// What happened in a run that its operator should know.
struct RunEvents {
    RunEventList failures{};    ///< callbacks that threw, errors of extensions, outputs that became NaN
    RunEventList infinities{};  ///< outputs that became infinite
    RunEventList messages{};    ///< warnings and graver messages of the log
};

/// A line of the summary, without its end.
[[nodiscard]] std::string formatEvent(const RunEvent& event);

/// The lines of the summary; empty when there are no events.
[[nodiscard]] std::string formatEvents(const RunEvents& events);

}  // namespace krsim
