#include "apps/krsim/run_watch.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/context/application_context.h"
#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/data/field_visitor.h"
#include "kr/data/not_finite.h"
#include "kr/data/value_traits.h"
#include "kr/data/vector.h"
#include "kr/events/errors/error_handler.h"
#include "kr/experiments/field_search.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/platform/guard.h"
#include "kr/platform/log.h"
#include "kr/platform/log_line.h"

namespace krsim {
namespace {

constexpr const char* kBecameNaN = "became NaN";
constexpr std::string_view kOutputs = "Outputs.";

/// Never destroyed: threads of plug-ins may outlive the run.
struct State {
    std::mutex mutex;  // guards what follows
    RunEvents events;
    std::deque<KrSim::ApplicationContext> contexts;  // of each target; read without the lock, so they stay

    static State& instance() {
        static auto& state = *new State;
        return state;
    }
};

// All that a signal handler may read; the hooks use them on any thread.
constinit std::atomic<const KrSim::ApplicationContext*> running{nullptr};
constinit std::atomic<std::uint64_t> lastFrame{0};
constinit std::atomic<double> lastSeconds{0.0};
constinit std::atomic<bool> foundNaN{false};
constinit std::atomic<std::uint64_t> failureCount{0};
static_assert(std::atomic<double>::is_always_lock_free);

/// Of a frame that is under way or has ended.
Moment toMoment(const KrSim::ApplicationContext& context) noexcept {
    const std::uint64_t frame = std::uint64_t{context.getFrame()} + 1;
    return {frame, static_cast<double>(frame) * context.getSimulationTimeStep()};
}

void storeLast(Moment moment) noexcept {
    lastFrame.store(moment.frame, std::memory_order_relaxed);
    lastSeconds.store(moment.seconds, std::memory_order_relaxed);
}

void add(RunEventList RunEvents::*list, const std::string& subject, const std::string& what,
         const std::string& detail = {}) {
    const Moment moment = RunWatch::getMoment();
    auto& state = State::instance();
    const std::lock_guard lock(state.mutex);
    (state.events.*list).add(subject, what, detail, moment);
}

void addFailure(const std::string& subject, const std::string& what, const std::string& detail = {}) {
    failureCount.fetch_add(1);
    add(&RunEvents::failures, subject, what, detail);
}

std::string getFieldPath(const KrData::FieldBase& field) {
    const auto* extension = field.getOwnerExtension();
    return (extension != nullptr ? extension->getPath() + "." : std::string()) + field.getPath();
}

std::string getSubject(const Kr::GuardedCall& call, const std::string& name) {
    const auto& subject = call.getSubject();
    if (subject.extension != nullptr) return subject.extension->getPath();
    if (!name.empty()) return name;
    return subject.name != nullptr ? subject.name : "the application";
}

std::string withoutLineFeed(std::string text) {
    if (text.ends_with('\n')) text.pop_back();
    return text;
}

bool isNumber(double number) {
    return !std::isnan(number);
}

/// Whether the value has a NaN, also in a component or an item.
template <class... T>
bool hasNaN(const KrData::FieldBase& field) {
    const auto hasOne = [](const auto* value) {
        return value != nullptr && !KrData::areAllReals(value->getValue(), isNumber);
    };
    const auto isItem = [](const auto* list) {
        if (list == nullptr) return false;
        const auto items = list->getItems();
        return !std::all_of(items.begin(), items.end(), isNumber);
    };
    return (hasOne(field.as<T>()) || ...) || isItem(KrData::Vector<double>::from(field)) ||
           isItem(KrData::Vector<float>::from(field));
}

class NaNFinder final : public KrData::FieldVisitor {
public:
    explicit NaNFinder(std::vector<std::string>& found) : _found(found) {}

    void visitField(KrData::FieldBase& field) override {
        using namespace KrMath;
        if (hasNaN<double, float, Vector2T<double>, Vector3T<double>, Vector4T<double>, Vector3T<float>,
                   QuaternionT<double>, QuaternionT<float>, Matrix44T<double>, Matrix44T<float>, Kr::KrTransform>(
                field))
            _found.push_back(getFieldPath(field));
    }

private:
    std::vector<std::string>& _found;
};

void inspectExtension(KrSim::KrExtension& extension) {
    // Without its plug-in it has no own errors.
    if (!extension.hasImplementation()) return;
    if (extension.hasError(false)) addFailure(extension.getPath(), "has errors", withoutLineFeed(extension.getError()));
    std::vector<std::string> found;
    NaNFinder finder(found);
    extension.getOutputContainer().accept(finder);
    if (found.empty()) return;
    const auto known = RunWatch::getEvents().failures;  // with those of getters that were read just now
    for (const auto& path : found) {
        if (!known.contains(path, kBecameNaN)) addFailure(path, "is NaN at the end");
    }
}

// --- Hooks ---------------------------------------------------------------------------------------------------------

void onException(const Kr::GuardedCall& call, const std::string& name, const char* what) noexcept {
    try {
        addFailure(getSubject(call, name), std::string(call.getTexts().callback) + " threw",
                   what != nullptr ? what : "");
    } catch (const std::exception&) {
        failureCount.fetch_add(1);  // out of memory: that there was one stays known
    }
}

void onNotFinite(const KrData::FieldBase& field, KrData::eRealRank rank) noexcept {
    // Before the first frame NaN marks what is still to be computed.
    if (running.load() == nullptr || RunWatch::getMoment().frame == 0) return;
    try {
        if (field.getOwnerExtension() == nullptr || !field.getPath().starts_with(kOutputs)) return;
        if (rank == KrData::eRealRank::kNaN) {
            foundNaN.store(true);
            addFailure(getFieldPath(field), kBecameNaN);
        } else {
            add(&RunEvents::infinities, getFieldPath(field), "became infinite");
        }
    } catch (const std::exception&) {  // out of memory: that there was one is known
    }
}

void onLog(Kr::eLogLevel level, const char* format, std::va_list arguments) {
    if (level <= Kr::eLogLevel::kWarn) {
        std::va_list again;
        va_copy(again, arguments);
        try {
            const auto prefix = Kr::getLogLevelPrefix(level);
            const auto text = withoutLineFeed(Kr::formatLogText(level, format, again));
            add(&RunEvents::messages, text.substr(prefix.size()), std::string(prefix.substr(0, prefix.find(' '))));
        } catch (const std::exception&) {  // out of memory; the log itself continues
        }
        va_end(again);
    }
    KrSim::KrErrorHandler::LogHandler(level, format, arguments);
}

}  // namespace

RunWatch::RunWatch() {
    storeLast({});
    foundNaN.store(false);
    failureCount.store(0);
    {
        auto& state = State::instance();
        const std::lock_guard lock(state.mutex);
        state.events = {};
    }
    Kr::LogSetHandler(&onLog);
    Kr::setFailureObserver(&onException);
    KrData::setNotFiniteObserver(&onNotFinite);
}

RunWatch::~RunWatch() {
    KrData::setNotFiniteObserver(nullptr);
    Kr::setFailureObserver(nullptr);
    Kr::LogSetHandler(&KrSim::KrErrorHandler::LogHandler);
}

void RunWatch::inspect(const KrSim::KrApplication& application) {
    for (auto* each : KrExperiments::getSimulatedExtensions(application))
        inspectExtension(*each);
}

RunEvents RunWatch::getEvents() {
    auto& state = State::instance();
    const std::lock_guard lock(state.mutex);
    return state.events;
}

std::uint64_t RunWatch::getFailureCount() noexcept {
    return failureCount.load();
}

bool RunWatch::hasNaN() noexcept {
    return foundNaN.load();
}

Moment RunWatch::getMoment() noexcept {
    const auto* const context = running.load();
    if (context == nullptr || !context->isRunning()) return {lastFrame.load(), lastSeconds.load()};
    return toMoment(*context);
}

// --- Target --------------------------------------------------------------------------------------------------------

RunWatch::Target::Target(RunWatch&, KrSim::KrApplication& application, bool stopsOnNaN)
    : _application(application), _stopsOnNaN(stopsOnNaN) {
    auto& state = State::instance();
    {
        const std::lock_guard lock(state.mutex);
        running.store(&state.contexts.emplace_back(application.getContext()));
    }
    _application.registerListener(this);
}

RunWatch::Target::~Target() {
    _application.unregisterListener(this);
    storeLast(toMoment(_application.getContext()));
    running.store(nullptr);
}

void RunWatch::Target::onFrameEnded(KrSim::KrApplication* application) {
    storeLast(toMoment(application->getContext()));
    if (_stopsOnNaN && foundNaN.load()) application->requestExitFromSignal();
}

}  // namespace krsim
