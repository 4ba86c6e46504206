#include "kr/experiments/overrides.h"

#include <algorithm>
#include <cstdint>
#include <istream>
#include <ostream>
#include <sstream>
#include <utility>

#include "kr/application/application.h"
#include "kr/experiments/field_search.h"
#include "kr/experiments/field_text.h"
#include "kr/experiments/internal/overridden_field.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/factory/registration.h"
#include "kr/persistence/states/state_modules.h"
#include "kr/platform/guard.h"
#include "kr/platform/log.h"

namespace KrExperiments {

using detail::OverriddenField;
using KrData::FieldBase;
using KrSim::KrApplication;

namespace {

constexpr Kr::GuardTexts kConditionTexts{Kr::eLogLevel::kWarn, "%s: fatal error in the condition of an override [%s]\n",
                                         "%s: unhandled exception in the condition of an override\n",
                                         "condition of an override"};
/// Of a frame; an override that begins or ends so near begins or ends now.
constexpr double kNow = 1e-6;
constexpr std::uint32_t kMostEntries = 100'000;
constexpr std::uint32_t kLongestText = 1'000'000;

const KrSim::KrFactoryKey& getKey() {
    static const auto& key =
        *new KrSim::KrFactoryKey("{6A3C1B0E-52D7-4B0F-9C55-3F0B6E1D7A42}", "Application", "Overrides");
    return key;
}

// While the library is loaded. A restored state with overrides needs the module.
[[maybe_unused]] const bool isRegistered =
    KrSim::registerExtensionType<Overrides>(getKey()) &&
    KrPersistence::detail::registerStateModule(
        {getKey(), [](KrApplication& application) { static_cast<void>(Overrides::of(application)); }});

ConditionMaker& conditionMaker() {
    static auto& maker = *new ConditionMaker;
    return maker;
}

/// While fields change, which calls their observers. Those must not change the lists that are gone through.
class Busy {
public:
    explicit Busy(bool& isBusy) : _isBusy(isBusy) { _isBusy = true; }
    Busy(const Busy&) = delete;
    Busy& operator=(const Busy&) = delete;
    ~Busy() { _isBusy = false; }

private:
    bool& _isBusy;
};

void writeText(std::ostream& state, const std::string& text) {
    const auto size = static_cast<std::uint32_t>(text.size());
    state.write(reinterpret_cast<const char*>(&size), sizeof size);
    state.write(text.data(), static_cast<std::streamsize>(text.size()));
}

bool readCount(std::istream& state, std::uint32_t& count, std::uint32_t most) {
    return state.read(reinterpret_cast<char*>(&count), sizeof count) && count <= most;
}

bool readText(std::istream& state, std::string& text) {
    std::uint32_t size = 0;
    if (!readCount(state, size, kLongestText)) return false;
    text.resize(size);
    return static_cast<bool>(state.read(text.data(), static_cast<std::streamsize>(size)));
}

}  // namespace

struct Overrides::Entry {
    std::size_t number{0};
    OverridePlan plan{};
    std::function<bool()> condition{};
    bool isWanted{false};
    std::vector<OverriddenField*> fields{};

    [[nodiscard]] bool isDue(double seconds, double stepSeconds) const {
        const double rounding = kNow * stepSeconds;
        return seconds >= plan.fromSeconds - rounding && seconds < plan.untilSeconds - rounding;
    }
};

Overrides& Overrides::of(KrApplication& application) {
    if (auto* found = find(application)) return *found;
    const auto proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
    auto* made = new Overrides(proxy.get());
    proxy->setName("Overrides");
    // The same in each process, so that its state is found again.
    KrSim::detail::ExtensionAccess::setCreationKey(*proxy, getKey());
    KrSim::detail::ExtensionAccess::setContentID(*proxy, KrSim::KrContentID::createFromUuid(getKey().uuid));
    application.insertModule(KrSim::KrSmartInterface<KrSim::ISimulatorModule>(made));
    return *made;
}

Overrides* Overrides::find(const KrApplication& application) {
    for (std::size_t i = 0; i < application.getModuleCount(); ++i) {
        if (auto* found = application.getModule(i)->getImplementationAs<Overrides>()) return found;
    }
    return nullptr;
}

Overrides::Overrides(KrSim::KrSimulatorModule* proxy)
    : ISimulatorModule(proxy, kVersion, kPriority, kPriority, kPriority) {}
Overrides::~Overrides() = default;

void Overrides::setConditionMaker(ConditionMaker maker) {
    conditionMaker() = std::move(maker);
}

// --- The list ------------------------------------------------------------------------------------------------------

OverriddenField& Overrides::_fieldOf(FieldBase& field, const std::string& path) {
    const auto found = std::find_if(_fields.begin(), _fields.end(),
                                    [&](const auto& each) { return each->getField() == &field && !each->isLost(); });
    if (found != _fields.end()) return **found;
    return *_fields.emplace_back(OverriddenField::create(field, path, getApplicationContext()));
}

std::size_t Overrides::add(std::string_view text, std::string& problem) {
    OverridePlan plan;
    problem = parseOverride(text, plan);
    return problem.empty() ? add(plan, problem) : kNone;
}

std::size_t Overrides::add(const OverridePlan& plan, std::string& problem) {
    const auto* application = getApplication();
    problem = application == nullptr ? "the module of overrides belongs to no application"
              : _isBusy              ? "an observer of an overridden field adds no overrides"
                                     : "";
    if (!problem.empty()) return kNone;
    const auto found = findMeantFields(*application, plan.pattern);
    problem = found.problem;
    if (!problem.empty()) return kNone;
    auto entry = std::make_unique<Entry>();
    entry->plan = plan;
    entry->number = _lastNumber + 1;
    if (!plan.condition.empty()) {
        if (conditionMaker()) {
            entry->condition = conditionMaker()(*application, plan.condition, problem);
        } else {
            problem = "this program reads no conditions; leave out 'when " + plan.condition + "'";
        }
        if (!problem.empty()) return kNone;
    }
    for (const auto& [field, path] : found.fields) {
        if (!takesText(*field)) {
            problem = path + ": values of this type cannot be overridden";
        } else {
            auto& overridden = _fieldOf(*field, path);
            problem = overridden.add(entry->number, plan, entry->isWanted);
            if (problem.empty()) entry->fields.push_back(&overridden);
            if (!problem.empty()) problem.insert(0, path + ": ");
        }
        if (problem.empty()) continue;
        for (auto* each : entry->fields)
            each->remove(entry->number);
        _dropIdle();
        return kNone;
    }
    _entries.push_back(std::move(entry));
    return ++_lastNumber;
}

std::vector<std::string> Overrides::addLines(std::istream& lines, const std::string& source) {
    std::vector<std::string> problems;
    std::vector<std::size_t> added;
    std::string line;
    for (std::size_t number = 1; std::getline(lines, line); ++number) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        const auto first = line.find_first_not_of(" \t");
        if (first == std::string::npos || line[first] == '#') continue;
        std::string problem;
        added.push_back(add(line, problem));
        if (added.back() == kNone)
            problems.push_back(
                std::string(source).append(", line ").append(std::to_string(number)).append(": ").append(problem));
    }
    if (lines.bad()) problems.push_back(source + ": cannot be read");
    if (problems.empty()) return problems;
    for (const auto each : added)
        remove(each);
    return problems;
}

bool Overrides::remove(std::size_t number) {
    const auto found =
        std::find_if(_entries.begin(), _entries.end(), [&](const auto& each) { return each->number == number; });
    if (found == _entries.end()) return false;
    if (_isBusy) return _later([number](Overrides& self) { static_cast<void>(self.remove(number)); });
    const Busy busy(_isBusy);
    for (auto* each : (*found)->fields)
        each->remove(number);
    _entries.erase(found);
    _dropIdle();
    return true;
}

void Overrides::clear() {
    if (_isBusy) {
        static_cast<void>(
            _later([](Overrides& self) { self.clear(); }));  // else the application ends, and they with it
        return;
    }
    const Busy busy(_isBusy);
    // Observers that ask what is in effect see none. The fields, which read the entries, go first.
    const auto entries = std::move(_entries);
    _entries.clear();
    const auto fields = std::move(_fields);
    _fields.clear();
}

bool Overrides::_later(std::function<void(Overrides&)> work) {
    const Kr::KrSmartPtr<KrSim::KrSimulatorModule> proxy(_getModuleProxy());
    return getApplicationContext().executeLater([proxy, work = std::move(work)] {
        if (auto* self = proxy->getImplementationAs<Overrides>()) work(*self);
    });
}

void Overrides::_dropIdle() {
    std::erase_if(_fields, [](const auto& each) { return each->isIdle(); });
}

std::vector<OverrideStatus> Overrides::getAll() const {
    std::vector<OverrideStatus> all;
    for (const auto& entry : _entries) {
        for (const auto* each : entry->fields) {
            const auto* field = each->getField();
            all.push_back({.number = entry->number,
                           .path = each->getPath(),
                           .text = describeOverride(entry->plan),
                           .isActive = each->isActive(entry->number),
                           .isLost = each->isLost(),
                           .ownValue = each->formatOwn(),
                           .shownValue = field != nullptr ? formatField(*field) : ""});
        }
    }
    return all;
}

std::string Overrides::describe(const FieldBase& field) const {
    std::string text;
    std::string own;
    for (const auto& entry : _entries) {
        for (const auto* each : entry->fields) {
            if (each->getField() != &field || !each->isActive(entry->number)) continue;
            text.append(text.empty() ? "" : ", ").append(describeOverride(entry->plan));
            own = each->formatOwn();
        }
    }
    return text.empty() ? text : text + "; own value " + own;
}

// --- Frames --------------------------------------------------------------------------------------------------------

void Overrides::onPreUpdate(KrSim::eApplicationMode mode) {
    if (mode == KrSim::eApplicationMode::kEditing) return;
    const auto context = getApplicationContext();
    const bool isNext = context.getFrame() == _lastFrame + 1;
    _lastFrame = context.getFrame();
    if (!std::exchange(_isRestored, false) && !isNext) {
        // A state without overrides was restored: they begin anew with its values.
        for (const auto& each : _fields)
            each->takeRestored();
    }
    const double seconds = context.getSimulatedSeconds();
    for (const auto& each : _entries) {
        bool isHeld = true;
        if (each->condition)
            isHeld = Kr::callGuarded(
                         kConditionTexts, [this] { return getName(); }, [&] { isHeld = each->condition(); }) &&
                     isHeld;
        each->isWanted = isHeld && each->isDue(seconds, context.getStepSeconds());
    }
    const Busy busy(_isBusy);
    for (const auto& each : _fields) {
        if (each->beginFrame(seconds)) continue;
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "Overrides: '%s' was removed or bound to a variable; its overrides are without effect\n",
                       each->getPath().c_str());
    }
}

void Overrides::onRemoveFromApplication(KrApplication*) {
    clear();
}

// --- States --------------------------------------------------------------------------------------------------------

void Overrides::onStateSave(std::ostream& state) {
    const auto write = [&](std::uint32_t count) { state.write(reinterpret_cast<const char*>(&count), sizeof count); };
    write(static_cast<std::uint32_t>(_entries.size()));
    for (const auto& each : _entries)
        writeText(state, each->plan.pattern + "=" + describeOverride(each->plan));
    write(static_cast<std::uint32_t>(_fields.size()));
    for (const auto& each : _fields) {
        std::ostringstream own;
        each->save(own);
        writeText(state, each->getPath());
        writeText(state, own.str());
    }
}

void Overrides::onStateRestore(std::istream& state) {
    _isRestored = true;
    for (const auto& each : _fields)
        each->takeRestored();
    std::vector<std::string> texts;
    std::uint32_t count = 0;
    bool isRead = readCount(state, count, kMostEntries);
    for (std::uint32_t i = 0; isRead && i < count; ++i)
        isRead = readText(state, texts.emplace_back());
    const auto isSame = [](const auto& entry, const std::string& text) {
        return entry->plan.pattern + "=" + describeOverride(entry->plan) == text;
    };
    if (isRead && !std::equal(_entries.begin(), _entries.end(), texts.begin(), texts.end(), isSame)) {
        clear();
        for (const auto& each : texts) {
            std::string problem;
            if (add(each, problem) != kNone) continue;
            Kr::logMessage(Kr::eLogLevel::kWarn, "Overrides: '%s' of the restored state is left out: %s\n",
                           each.c_str(), problem.c_str());
        }
    }
    isRead = isRead && readCount(state, count, kMostEntries);
    for (std::uint32_t i = 0; isRead && i < count; ++i) {
        std::string path;
        std::string own;
        isRead = readText(state, path) && readText(state, own);
        const auto found = std::find_if(_fields.begin(), _fields.end(),
                                        [&](const auto& each) { return each->getPath() == path && !each->isLost(); });
        std::istringstream stream(own);
        if (isRead && found != _fields.end()) isRead = (*found)->restore(stream);
    }
    if (isRead) return;
    Kr::logMessage(Kr::eLogLevel::kWarn,
                   "Overrides: the restored state is damaged or of another version; overrides begin anew\n");
}

KrSim::IExtensionState::eRestoreStatePriority Overrides::getRestoreStatePriority() const {
    return KrSim::IExtensionState::eRestoreStatePriority::kAfterContent;
}

}  // namespace KrExperiments
