#include "kr/persistence/states/simulation_state_section.h"

#include <cmath>
#include <exception>
#include <optional>
#include <string>
#include <utility>

#include "kr/application/application_config.h"
#include "kr/core/connections/queued_values.h"
#include "kr/data/field_access.h"
#include "kr/data/stored_path.h"
#include "kr/events/event_id_list.h"
#include "kr/events/sim_event.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/state_access.h"
#include "kr/persistence/fields/content_id_archive.h"
#include "kr/persistence/fields/field_archive.h"
#include "kr/persistence/files/export_file_section.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/states/internal/state_record.h"

KR_FILE_SECTION(KrPersistence::KrSimulationStateSection, "KrSimulationStateSection", 1)
KR_FILE_SECTION_IMPLEMENT(KrPersistence::KrSimulationStateSection)

namespace KrPersistence {

using KrData::detail::FieldAccess;
using KrSim::detail::StateAccess;

namespace {

using Config = KrSim::ApplicationConfig;

/// Up to here a frame number times the time step is exact in a double.
constexpr std::uint64_t kMostFrames = std::uint64_t{1} << 53U;
constexpr const char* kPayloadTexts[] = {"Normal", "Compact"};

/// An event as a file holds it: numbers of events are those of one process.
struct StoredEvent {
    std::string name;
    std::string sender;  // empty: the process that restores it
    std::string data;
    double remainingSeconds{0.0};
    bool isLocal{true};
    bool isRemote{false};
};

/// A value on its way through a queued connection.
struct StoredValue {
    KrSim::KrContentID sink;
    std::string path;
    std::shared_ptr<const KrData::FieldBase> value;
    std::vector<ExtensionReference> references;
};

std::vector<StoredEvent> storedEvents(const SimulationSnapshot& snapshot) {
    std::vector<StoredEvent> stored;
    const auto& pending = snapshot.getEvents().pending;
    for (const auto& each : pending.events) {
        if (Kr::detail::isCarrier(each.event)) continue;
        auto name = each.event.nameForID();
        if (name.empty()) continue;  // its number could not be found again
        const std::string data(reinterpret_cast<const char*>(each.event.constData()), each.event.bytes());
        stored.push_back({std::move(name), each.event.isFromMe() ? std::string() : each.event.sender(), data,
                          each.dueSeconds - pending.nowSeconds, each.isLocal, each.isRemote});
    }
    return stored;
}

std::vector<StoredValue> storedValues(const SimulationSnapshot& snapshot) {
    std::vector<StoredValue> stored;
    for (const auto& each : snapshot.getEvents().values) {
        const auto* sink = each.sink.get();
        const auto* extension = sink != nullptr ? sink->getOwnerExtension() : nullptr;
        if (each.value && extension != nullptr)
            stored.push_back({extension->getContentID(), KrData::_getStoredPath(*sink), each.value, {}});
    }
    return stored;
}

}  // namespace

struct KrSimulationStateSection::Loaded {
    std::vector<detail::StateRecord> extensions;
    KrSim::FramePosition position;
    bool hasTime{false};  // else it follows from the frames
    std::optional<KrSim::RandomPositions> random;
    std::vector<StoredEvent> events;
    std::vector<StoredValue> values;
};

KrSimulationStateSection::KrSimulationStateSection() = default;
KrSimulationStateSection::~KrSimulationStateSection() = default;

void KrSimulationStateSection::setSnapshot(std::shared_ptr<const SimulationSnapshot> snapshot, eStatePayload payload) {
    _snapshot = std::move(snapshot);
    _payload = payload;
    _loaded.reset();
}

std::uint64_t KrSimulationStateSection::getFrame() const noexcept {
    if (_loaded) return _loaded->position.frames;
    return _snapshot ? _snapshot->getFrame() : 0;
}

std::size_t KrSimulationStateSection::getExtensionCount() const noexcept {
    if (_loaded) return _loaded->extensions.size();
    return _snapshot ? _snapshot->getState().getExtensionStates().size() : 0;
}

std::shared_ptr<const SimulationSnapshot> KrSimulationStateSection::getSnapshot() const {
    if (!_loaded) return _snapshot;
    auto state = Kr::makeSmart<KrSim::KrSimulationState>();
    for (const auto& each : _loaded->extensions) {
        StateAccess::setAddedByModule(*state, each.isAddedByModule());
        state->addExtensionState(each.makeState());
    }
    StateAccess::setAddedByModule(*state, false);

    SimulationSnapshot::Events events;
    auto& pending = events.pending.events;
    for (const auto& each : _loaded->events) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(each.data.data());
        KrSim::KrSimEvent event(KrSim::EventIDList::instance().add(each.name), {bytes, bytes + each.data.size()});
        if (!each.sender.empty()) event.setSender(each.sender);
        pending.push_back({std::move(event), each.remainingSeconds, each.isLocal, each.isRemote});
    }
    for (const auto& each : _loaded->values) {
        const auto extension = KrSim::KrContentRegistry::instance().resolve(each.sink);
        auto* sink = extension ? KrData::_findStoredPath(extension->getFieldsContainer(), each.path) : nullptr;
        if (sink == nullptr) continue;
        std::shared_ptr<KrData::FieldBase> value(FieldAccess::duplicate(*each.value));
        detail::resolveReferences(*value, each.references);
        events.values.resize(pending.size());
        events.values.push_back({std::move(value), KrData::FieldReference(sink)});
        pending.push_back({KrSim::KrSimEvent(0), 0.0, true, false});
    }
    if (!events.values.empty()) events.values.resize(pending.size());
    return std::make_shared<const SimulationSnapshot>(std::move(state), _loaded->position, _loaded->random,
                                                      std::move(events));
}

// --- Writing -------------------------------------------------------------------------------------------------------

void KrSimulationStateSection::_write(ArchiveWriter& writer) const {
    const KrSim::FramePosition none;
    const auto& position = _loaded ? _loaded->position : _snapshot ? _snapshot->getPosition() : none;
    writer.write("Frames", static_cast<unsigned long long>(position.frames));
    writer.write("Frame", position.frame);
    writer.write("ElapsedSeconds", position.elapsedSeconds);
    writer.write("FrameRate", position.frameRateHz);
    writer.writeIf(position.start.has_value(), "SecondsSinceStart", position.now - position.start.value_or(0.0));
    writer.writeIf(position.begin.has_value(), "SecondsSinceFrame", position.now - position.begin.value_or(0.0));
    writer.writeChoice("Payload", static_cast<int>(_payload), kPayloadTexts[static_cast<std::size_t>(_payload)]);
    if (_loaded) {
        writer.sequence("Extensions", _loaded->extensions.size(),
                        [&](std::size_t i) { _loaded->extensions[i].write(writer, "Extension", _payload); });
    } else {
        const std::vector<Kr::KrSmartPtr<KrSim::KrExtensionState>> nothing;
        const auto& states = _snapshot ? _snapshot->getState().getExtensionStates() : nothing;
        writer.sequence("Extensions", states.size(),
                        [&](std::size_t i) { detail::StateRecord::write(writer, "Extension", _payload, *states[i]); });
    }
    _writeEvents(writer);
    _writeTimeAndRandom(writer);
}

/// Left out of a state that was loaded from a file of version 0.
void KrSimulationStateSection::_writeTimeAndRandom(ArchiveWriter& writer) const {
    const KrSim::FramePosition none;
    const auto& position = _loaded ? _loaded->position : _snapshot ? _snapshot->getPosition() : none;
    const bool hasTime = _loaded ? _loaded->hasTime : _snapshot != nullptr;
    writer.optional(hasTime, "Time", [&] {
        writer.group("Time", [&] {
            writer.write("BaseSeconds", position.time.baseSeconds);
            writer.write("Ticks", static_cast<unsigned long long>(position.time.ticks));
            writer.write("StepSeconds", position.time.stepSeconds);
        });
    });
    const std::optional<KrSim::RandomPositions> nothing;
    const auto& random = _loaded ? _loaded->random : _snapshot ? _snapshot->getRandom() : nothing;
    writer.optional(random.has_value(), "Random", [&] {
        writer.group("Random", [&] {
            writer.write("Seed", random->seed);
            writer.sequence("Streams", random->streams.size(), [&](std::size_t i) {
                writer.group("Stream", [&] {
                    writer.write("Name", *random->streams[i].name);
                    writer.write("Position", static_cast<unsigned long long>(random->streams[i].position));
                });
            });
        });
    });
}

void KrSimulationStateSection::_writeEvents(ArchiveWriter& writer) const {
    const auto events = _loaded ? _loaded->events : _snapshot ? storedEvents(*_snapshot) : std::vector<StoredEvent>();
    const auto values = _loaded ? _loaded->values : _snapshot ? storedValues(*_snapshot) : std::vector<StoredValue>();
    writer.optional(!events.empty(), "Events", [&] {
        writer.sequence("Events", events.size(), [&](std::size_t i) {
            const auto& each = events[i];
            writer.group("Event", [&] {
                writer.writeRepeated("Name", each.name);
                writer.writeIf(!each.sender.empty(), "Sender", each.sender);
                writer.optional(!each.data.empty(), "Data", [&] { writer.writeBytes("Data", each.data); });
                writer.write("RemainingSeconds", each.remainingSeconds);
                writer.writeIf(!each.isLocal, "Local", false);
                writer.writeIf(each.isRemote, "Remote", true);
            });
        });
    });
    writer.optional(!values.empty(), "ValuesUnderWay", [&] {
        writer.sequence("ValuesUnderWay", values.size(), [&](std::size_t i) {
            const auto& each = values[i];
            writer.group("Value", [&] {
                writeContentID(writer, "Sink", each.sink);
                writer.write("Path", each.path);
                FieldWriteContext context;
                context.unresolved = each.references;
                writeField(writer, "Field", *each.value, context);
            });
        });
    });
}

// --- Reading -------------------------------------------------------------------------------------------------------

void KrSimulationStateSection::_read(ArchiveReader& reader, unsigned int version) {
    _snapshot.reset();
    _loaded = std::make_unique<Loaded>();
    auto& position = _loaded->position;
    unsigned long long frames = 0;
    reader.read("Frames", frames);
    if (frames > kMostFrames) {
        reader.fail("Frames is " + std::to_string(frames) + ", more than any run has; the highest is " +
                    std::to_string(kMostFrames));
    }
    position.frames = frames;
    reader.read("Frame", position.frame);
    const auto check = [&](const char* name, double value) {
        if (!std::isfinite(value)) reader.fail(std::string(name) + " is no number to go on with");
    };
    reader.read("ElapsedSeconds", position.elapsedSeconds);
    check("ElapsedSeconds", position.elapsedSeconds);
    if (position.elapsedSeconds < 0.0) reader.fail("ElapsedSeconds is below 0");
    reader.read("FrameRate", position.frameRateHz);
    if (!(position.frameRateHz >= Config::kLowestFrameRate && position.frameRateHz <= Config::kHighestFrameRate)) {
        reader.fail("FrameRate is " + std::to_string(position.frameRateHz) + " Hz; it must be " +
                    std::to_string(Config::kLowestFrameRate) + " to " + std::to_string(Config::kHighestFrameRate));
    }
    // Moments before one that is 0.
    const auto readMoment = [&](const char* name, std::optional<double>& moment) {
        double seconds = 0.0;
        if (!reader.readIf(name, seconds)) return;
        check(name, seconds);
        moment = -seconds;
    };
    position.time = {0.0, frames, 1.0 / position.frameRateHz};  // of a file before version 1
    readMoment("SecondsSinceStart", position.start);
    readMoment("SecondsSinceFrame", position.begin);
    const int payload = reader.readChoice("Payload", [](std::string_view text) -> std::optional<int> {
        for (int i = 0; i < 2; ++i) {
            if (text == kPayloadTexts[i]) return i;
        }
        return std::nullopt;
    });
    if (payload < 0 || payload > 1) reader.fail("the payload " + std::to_string(payload) + " is unknown");
    _payload = static_cast<eStatePayload>(payload);
    try {
        reader.sequence("Extensions", [&](std::size_t) {
            _loaded->extensions.push_back(detail::StateRecord::read(reader, "Extension", _payload));
        });
        _readEvents(reader);
        if (version > 0) _readTimeAndRandom(reader);
    } catch (const std::exception& exception) {
        const auto text = "of the state, " + std::to_string(_loaded->extensions.size()) +
                          " extensions could be read: " + exception.what();
        if (!_endsHere(text)) throw;
    }
}

void KrSimulationStateSection::_readTimeAndRandom(ArchiveReader& reader) {
    reader.optional("Time", [&] {
        auto& time = _loaded->position.time;
        unsigned long long ticks = 0;
        reader.group("Time", [&] {
            reader.read("BaseSeconds", time.baseSeconds);
            reader.read("Ticks", ticks);
            reader.read("StepSeconds", time.stepSeconds);
        });
        if (ticks > kMostFrames) reader.fail("Ticks is " + std::to_string(ticks) + ", more than any run has");
        time.ticks = ticks;
        if (!std::isfinite(time.getSeconds()) || !(time.baseSeconds >= 0.0) || !(time.stepSeconds >= 0.0))
            reader.fail("BaseSeconds and StepSeconds must be numbers of at least 0");
        _loaded->hasTime = true;
    });
    reader.optional("Random", [&] {
        auto& random = _loaded->random.emplace();
        reader.group("Random", [&] {
            reader.read("Seed", random.seed);
            reader.sequence("Streams", [&](std::size_t) {
                reader.group("Stream", [&] {
                    std::string name;
                    unsigned long long place = 0;
                    reader.read("Name", name);
                    reader.read("Position", place);
                    random.streams.push_back({std::make_shared<const std::string>(std::move(name)), place});
                });
            });
        });
    });
}

void KrSimulationStateSection::_readEvents(ArchiveReader& reader) {
    reader.optional("Events", [&] {
        reader.sequence("Events", [&](std::size_t) {
            StoredEvent event;
            reader.group("Event", [&] {
                event.name = std::string(reader.readRepeated("Name"));
                if (event.name.empty()) reader.fail("an event has no name");
                reader.readIf("Sender", event.sender);
                reader.optional("Data", [&] { reader.readBytes("Data", event.data); });
                reader.read("RemainingSeconds", event.remainingSeconds);
                if (std::isnan(event.remainingSeconds)) reader.fail("the delay of an event is no number");
                reader.readIf("Local", event.isLocal);
                reader.readIf("Remote", event.isRemote);
            });
            _loaded->events.push_back(std::move(event));
        });
    });
    reader.optional("ValuesUnderWay", [&] {
        reader.sequence("ValuesUnderWay", [&](std::size_t) {
            StoredValue value;
            reader.group("Value", [&] {
                value.sink = readContentID(reader, "Sink");
                reader.read("Path", value.path);
                FieldReadContext context;
                value.value = readField(reader, "Field", context);
                value.references = std::move(context.references);
            });
            _loaded->values.push_back(std::move(value));
        });
    });
}

}  // namespace KrPersistence
