#include "kr/recording/recorder.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <map>
#include <optional>
#include <system_error>
#include <utility>

#include "kr/application/application.h"
#include "kr/platform/log.h"
#include "kr/platform/version.h"
#include "kr/recording/internal/field_sampler.h"
#include "kr/recording/internal/frame_queue.h"
#include "kr/recording/internal/mcap_writer.h"
#include "kr/recording/internal/message_encoding.h"

namespace KrRecording {

using detail::McapChannel;
using detail::RecordedChannel;
using detail::RecordedFrame;

namespace {

/// Memory for frames that wait, and their number.
constexpr std::size_t kQueueBytes = std::size_t{16} << 20U;
constexpr std::size_t kFewestFrames = 8;
constexpr std::size_t kMostFrames = 128;

std::uint64_t toNanoseconds(double seconds) {
    constexpr double kNanoseconds = 1e9;
    return seconds > 0.0 ? static_cast<std::uint64_t>(std::llround(seconds * kNanoseconds)) : 0;
}

std::uint64_t getWallNanoseconds() {
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count());
}

McapChannel describe(const RecordedChannel& channel) {
    McapChannel described;
    described.topic = channel.topic;
    auto schema = std::make_shared<detail::McapSchema>();
    schema->name = channel.schemaName;
    schema->data = makeSchema(channel);
    described.schema = std::move(schema);
    for (const auto& each : channel.fields) {
        described.metadata.emplace_back("field:" + each.name, each.path);
        if (!each.unit.empty()) described.metadata.emplace_back("unit:" + each.name, each.unit);
        if (!each.description.empty()) described.metadata.emplace_back("description:" + each.name, each.description);
    }
    return described;
}

/// Readers keep one text for each key: a key that comes again gets a number, "set", "set 2".
detail::McapTexts withOwnKeys(const detail::McapTexts& texts) {
    detail::McapTexts numbered;
    std::map<std::string, int> counts;
    for (const auto& [key, value] : texts) {
        const int count = ++counts[key];
        numbered.emplace_back(count == 1 ? key : key + " " + std::to_string(count), value);
    }
    return numbered;
}

/// Writes frames as messages of their channels.
class McapSink final : public detail::IFrameSink {
public:
    McapSink(std::FILE* file, const RecordingOptions& options)
        : _writer(file, std::string("KrFoundation ") + Kr::getLibraryVersion(), withOwnKeys(options.metadata)),
          _isOnChange(options.isOnChange) {}

    bool write(const RecordedFrame& frame) override {
        if (frame.layout != _layout) _beginLayout(frame);
        for (std::size_t i = 0; i < _layout->channels.size(); ++i) {
            auto& own = *_channels[i];
            _message.clear();
            const bool hasValues = appendMessage(_message, _layout->channels[i], frame);
            if (!hasValues || (_isOnChange && own.hasLast && own.last == _message)) continue;
            _writer.addMessage(own.number, toNanoseconds(frame.seconds), frame.wallNanoseconds, _message);
            if (!_isOnChange) continue;
            own.last = _message;
            own.hasLast = true;
        }
        if (_writer.getError() != 0) return false;
        ++_frameCount;
        return true;
    }

    bool flush() override {
        _writer.flush();
        return _writer.getError() == 0;
    }

    void finish() { _writer.finish(); }
    [[nodiscard]] int getError() const noexcept { return _writer.getError(); }
    [[nodiscard]] std::uint64_t getSize() const noexcept { return _writer.getSize(); }
    [[nodiscard]] std::uint64_t getFrameCount() const noexcept { return _frameCount; }

private:
    struct Channel {
        std::uint16_t number{0};
        std::string last{};
        bool hasLast{false};
    };

    /// Channels that are as they were go on.
    void _beginLayout(const RecordedFrame& frame) {
        _layout = frame.layout;
        _channels.clear();
        for (const auto& each : _layout->channels) {
            const auto described = describe(each);
            const auto [found, isNew] = _known.try_emplace({described.topic, described.schema->data});
            if (isNew) found->second.number = _writer.addChannel(described);
            _channels.push_back(&found->second);
        }
    }

    detail::McapWriter _writer;
    const bool _isOnChange;
    std::shared_ptr<const detail::FrameLayout> _layout;
    std::map<std::pair<std::string, std::string>, Channel> _known;  // by topic and schema
    std::vector<Channel*> _channels;                                // of the layout
    std::string _message;
    std::uint64_t _frameCount{0};
};

}  // namespace

struct Recorder::Parts {
    Parts(std::string name, RecordingOptions chosen) : filename(std::move(name)), options(std::move(chosen)) {}

    std::string filename;
    RecordingOptions options;
    detail::FieldSampler sampler{};
    std::optional<McapSink> sink{};
    std::optional<detail::FrameQueue> queue{};  // behind the sink, which its thread uses
    bool isStarting{false};                     // before the first frame
    bool isChanged{true};                       // content, since the fields were chosen
    std::int64_t lastFrame{-1};
    double lastSeconds{0.0};
    double nextSeconds{0.0};
    std::uint64_t dropped{0};
    std::string problem{};
    std::optional<RecordingResult> result{};

    void fail(const std::string& reason) {
        if (!problem.empty()) return;
        problem = "recording '" + filename + "' " + reason;
        Kr::logMessage(Kr::eLogLevel::kWarn, "Recorder: %s\n", problem.c_str());
    }
    /// Of a queue that has failed.
    [[nodiscard]] int getError() const { return sink->getError() != 0 ? sink->getError() : ENOMEM; }
    void failToWrite(int error) { fail("cannot be written: " + std::string(std::strerror(error))); }

    void open() {
        auto* const file = std::fopen(filename.c_str(), "wbe");
        if (file == nullptr) return failToWrite(errno);
        sink.emplace(file, options);
        try {
            queue.emplace(*sink, chooseCapacity());
        } catch (const std::system_error& error) {
            fail(std::string("needs a thread: ") + error.what());
        }
    }
    [[nodiscard]] std::size_t chooseCapacity() const {
        const auto& layout = *sampler.getLayout();
        const std::size_t frameBytes = layout.byteCount + layout.fieldCount + 1;
        return std::clamp(kQueueBytes / frameBytes, kFewestFrames, kMostFrames);
    }

    /// Half a step early is nearer than half a step late. Time that went back begins anew.
    [[nodiscard]] bool isDue(double seconds, double stepSeconds) {
        const double period = options.periodSeconds;
        if (period <= 0.0) return true;
        const bool isBack = seconds < std::exchange(lastSeconds, seconds);
        if (!isBack && seconds < nextSeconds - 0.5 * stepSeconds) return false;
        nextSeconds = (std::floor((seconds + 0.5 * stepSeconds) / period) + 1.0) * period;
        return true;
    }
};

Recorder::Recorder(std::string filename, RecordingOptions options)
    : _parts(std::make_unique<Parts>(std::move(filename), std::move(options))) {}

Recorder::~Recorder() {
    try {
        static_cast<void>(finish());
    } catch (const std::exception&) {  // for want of memory
        _parts->queue.reset();
    }
}

void Recorder::_choose(const KrSim::KrApplication& application) {
    auto& parts = *_parts;
    parts.isChanged = false;
    const bool isFirst = parts.sampler.getLayout() == nullptr;
    const auto reason = parts.sampler.choose(application, parts.options.patterns, isFirst);
    if (reason.empty() && isFirst) parts.open();
    if (reason.empty() || !isFirst) return;
    if (parts.isStarting) {
        parts.isChanged = true;  // they may come with the first frame
    } else {
        parts.fail("has no fields: " + reason);
    }
}

void Recorder::start(KrSim::KrApplication& application) {
    auto& parts = *_parts;
    if (parts.result || parts.queue) return;
    parts.isStarting = true;
    _choose(application);
    parts.isStarting = false;
    const auto& context = application.getContext();
    const double seconds = context.getSimulatedSeconds();
    static_cast<void>(parts.isDue(seconds, context.getStepSeconds()));
    _record(seconds);
}

void Recorder::onExtensionAdded(KrSim::KrApplication*, KrSim::KrExtension*) {
    _parts->isChanged = true;
}
void Recorder::onExtensionRemoved(KrSim::KrApplication*, KrSim::KrExtension*) {
    _parts->isChanged = true;
}
void Recorder::onModuleInserted(KrSim::KrApplication*, KrSim::KrSimulatorModule*) {
    _parts->isChanged = true;
}
void Recorder::onModuleRemoved(KrSim::KrApplication*, KrSim::KrSimulatorModule*) {
    _parts->isChanged = true;
}

void Recorder::onFrameEnded(KrSim::KrApplication* application) {
    auto& parts = *_parts;
    if (parts.result || !parts.problem.empty()) return;
    const auto context = application->getContext();
    const std::int64_t frame = context.getFrame();
    if (std::exchange(parts.lastFrame, frame) == frame) return;  // a paused one
    const double step = context.getStepSeconds();
    const double seconds = context.getSimulatedSeconds() + step;
    if (!parts.isDue(seconds, step)) return;
    if (parts.isChanged) _choose(*application);
    if (!parts.problem.empty()) return;
    _record(seconds);
}

void Recorder::_record(double seconds) {
    auto& parts = *_parts;
    if (!parts.queue) return;
    auto* frame = parts.queue->begin(parts.options.mayWait);
    if (frame == nullptr) {
        if (parts.queue->hasFailed()) {
            parts.queue->stop();
            parts.failToWrite(parts.getError());
            return;
        }
        ++parts.dropped;
        return;
    }
    frame->seconds = seconds;
    frame->wallNanoseconds = getWallNanoseconds();
    parts.sampler.sample(*frame);
    parts.queue->end();
}

bool Recorder::hasFields() const {
    return _parts->sampler.getLayout() != nullptr;
}

const std::string& Recorder::getProblem() const {
    return _parts->problem;
}

RecordingResult Recorder::finish() {
    auto& parts = *_parts;
    if (parts.result) return *parts.result;
    RecordingResult result;
    if (parts.queue) {
        parts.queue->stop();
        if (parts.queue->hasFailed()) parts.failToWrite(parts.getError());
    }
    if (parts.sink) {
        if (parts.problem.empty()) parts.sink->finish();
        if (parts.sink->getError() != 0) parts.failToWrite(parts.sink->getError());
        result.frames = parts.sink->getFrameCount();
        result.bytes = parts.sink->getSize();
    }
    result.dropped = parts.dropped;
    result.problem = parts.problem;
    parts.result = result;
    return result;
}

}  // namespace KrRecording
