#pragma once

#include <memory>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

#include "kr/events/shared_event_channel.h"
#include "kr/events/sim_event.h"

namespace test_support {

/// One end of a link between two "applications" in one process: what one end sends, the other receives.
class InProcessEventChannel final : public KrSim::SharedEventChannel {
public:
    using Pair = std::pair<std::shared_ptr<InProcessEventChannel>, std::shared_ptr<InProcessEventChannel>>;

    static Pair makePair(const Kr::IClock& clock = Kr::SteadyClock::instance()) {
        auto toFirst = std::make_shared<Pipe>();
        auto toSecond = std::make_shared<Pipe>();
        return {std::make_shared<InProcessEventChannel>(toFirst, toSecond, clock),
                std::make_shared<InProcessEventChannel>(toSecond, toFirst, clock)};
    }

    struct Pipe {
        std::mutex mutex;  // guards the events
        std::vector<KrSim::KrSimEvent> events;
    };
    InProcessEventChannel(std::shared_ptr<Pipe> in, std::shared_ptr<Pipe> out, const Kr::IClock& clock)
        : SharedEventChannel(clock), _in(std::move(in)), _out(std::move(out)) {}

private:
    void _sendEvent(const KrSim::KrSimEvent& event) override { _sendEvents({&event, 1}); }
    void _sendEvents(std::span<const KrSim::KrSimEvent> events) override {
        const std::lock_guard lock(_out->mutex);
        _out->events.insert(_out->events.end(), events.begin(), events.end());
    }
    void _receiveEvents(std::vector<KrSim::KrSimEvent>& batch) override {
        const std::lock_guard lock(_in->mutex);
        batch.insert(batch.end(), _in->events.begin(), _in->events.end());
        _in->events.clear();
    }

    std::shared_ptr<Pipe> _in;
    std::shared_ptr<Pipe> _out;
};

}  // namespace test_support
