#include "kr/persistence/states/frame_hash.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "kr/application/application.h"
#include "kr/application/content_dispatcher.h"
#include "kr/application/modules/simulator_module.h"
#include "kr/data/value_hash.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"

namespace KrPersistence {

using KrData::ValueHash;
using KrSim::KrApplication;
using KrSim::KrContentID;
using KrSim::KrExtension;
using KrSim::detail::FieldsAccess;

namespace {

/// Whether the raw ID is the same in each run.
bool isFromFile(const KrContentID& id) {
    const auto& chain = id.getParentInstances();
    if (chain.empty()) return !id.getFile().empty();
    return std::all_of(chain.begin(), chain.end(), isFromFile);
}

std::uint64_t keyOf(const KrExtension& extension) {
    const auto& id = extension.getContentID();
    if (!isFromFile(id)) return ValueHash::mix(extension.getPath(), 0);
    // Not the runtime ID, which depends on the name of the file and on where the user named it from.
    const auto [first, second] = id.getRawIDAsWords();
    return ValueHash::mix(ValueHash::mix(first) ^ second);
}

}  // namespace

/// The list of what is in the application, made again by the first calculation after a change. It listens to names
/// only: a listener of the application would be called in each frame.
class FrameHash::Contents final : private Kr::KrBase::Subscriber {
public:
    explicit Contents(KrApplication& application)
        : _application(application), _values([this](const KrExtension& extension) { return _findKey(extension); }) {}
    ~Contents() override { unsubscribeFromAll(); }

    std::uint64_t calculate() {
        _bringUpToDate();
        return _sumOfKeys + _values.calculate();
    }

    std::vector<ExtensionHash> calculateParts() {
        _bringUpToDate();
        std::vector<ExtensionHash> parts;
        ValueHash values([this](const KrExtension& extension) { return _findKey(extension); });
        for (const auto& each : _entries) {
            values.clear();
            values.add(*each.plan, each.key);
            parts.push_back({each.extension->getPath(), each.extension->getContentID(),
                             ValueHash::mix(each.key) + values.calculate()});
        }
        return parts;
    }

private:
    struct Entry {
        const Kr::KrInputOutputContainer* fields;
        std::shared_ptr<const KrData::ValuePlan> plan;
        std::uint64_t key;
        KrExtension* extension;  // held by the application
        KrContentID::Identifier rawID;

        [[nodiscard]] bool isUpToDate() const {
            return FieldsAccess::hasValuePlan(*fields, plan.get()) && extension->getContentID().getRawID() == rawID;
        }
    };

    /// A new name, which is part of the paths.
    void onEvent(Kr::KrBase::Event, Kr::KrBase*) override { _clear(); }

    void _clear() noexcept {
        _isComplete = false;
        if (_entries.empty()) return;  // many changes in one frame
        unsubscribeFromAll();
        _values.clear();
        _keys.clear();
        _entries.clear();
    }

    [[nodiscard]] bool _isUpToDate() const {
        return _isComplete && _changeCount == _application.getContentDispatcher().getChangeCount() &&
               std::all_of(_entries.begin(), _entries.end(), [](const Entry& each) { return each.isUpToDate(); });
    }

    void _bringUpToDate() {
        if (_isUpToDate()) return;
        _clear();
        _changeCount = _application.getContentDispatcher().getChangeCount();
        for (const auto& each : _application.getContentDispatcher().getExtensions())
            _add(*each);
        for (std::size_t i = 0; i < _application.getModuleCount(); ++i)
            _add(*_application.getModule(i));
        // All keys first: the values of references need them.
        _sumOfKeys = 0;
        for (const auto& each : _entries) {
            _sumOfKeys += ValueHash::mix(each.key);
            _values.add(*each.plan, each.key);
        }
        _isComplete = true;
    }

    void _add(KrExtension& extension) {
        const auto& fields = extension.getFieldsContainer();
        const auto& id = extension.getContentID();
        const auto key = keyOf(extension);
        _entries.push_back({&fields, FieldsAccess::getValuePlan(fields), key, &extension, id.getRawID()});
        extension.addSubscriber(Kr::KrBase::Event::kRenamed, this);
        _keys.emplace(&extension, key);
    }

    [[nodiscard]] std::uint64_t _findKey(const KrExtension& extension) const {
        const auto found = _keys.find(&extension);
        return found != _keys.end() ? found->second : keyOf(extension);
    }

    KrApplication& _application;
    ValueHash _values;
    std::vector<Entry> _entries;
    std::unordered_map<const KrExtension*, std::uint64_t> _keys;
    std::uint64_t _sumOfKeys{0};
    std::uint64_t _changeCount{0};  // of the application, when the list was made
    bool _isComplete{false};
};

FrameHash::FrameHash(KrApplication& application) : _contents(std::make_unique<Contents>(application)) {}
FrameHash::~FrameHash() = default;

std::uint64_t FrameHash::calculate() {
    return _contents->calculate();
}

std::vector<ExtensionHash> FrameHash::calculateParts() {
    return _contents->calculateParts();
}

}  // namespace KrPersistence
