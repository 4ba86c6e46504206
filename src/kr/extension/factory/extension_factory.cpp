#include "kr/extension/factory/extension_factory.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kr/extension/extension_access.h"
#include "kr/extension/factory/internal/type_registration.h"
#include "kr/extension/factory/registration.h"
#include "kr/extension/instance_map.h"
#include "kr/extension/upper_layers.h"
#include "kr/platform/log.h"
#include "kr/platform/memory_guard.h"
#include "kr/platform/plugins/plugin_manager.h"
#include "kr/platform/ref_count_access.h"
#include "kr/platform/type_name.h"

namespace KrSim {
namespace {

using detail::ObjectMap;

constexpr Kr::GuardTexts kCreate{Kr::eLogLevel::kWarn, "KrExtensionFactory: fatal error while creating %s [%s]\n",
                                 "KrExtensionFactory: unhandled exception while creating %s\n", "constructor"};

/// A registered type.
struct Record {
    KrExtensionFactory::TypeDescription description;
    mutable ObjectMap::Instances instances{};
    mutable std::shared_ptr<const Record> nextWithdrawn{};

    [[nodiscard]] const KrFactoryKey& key() const noexcept { return description.key; }
};
using RecordPtr = std::shared_ptr<const Record>;

class Registry {
public:
    std::mutex mutex;  // guards everything; taken before that of the instance map

    static Registry& instance() {
        static auto& registry = *new Registry;
        return registry;
    }

    /// Returns the record with the uuid: this one, or an earlier one.
    const RecordPtr& insert(const RecordPtr& record) {
        const auto [position, isNew] = _records.try_emplace(record->key().uuid, record);
        if (isNew) _isSorted = false;
        return position->second;
    }

    void erase(const Record& record) noexcept {
        _isSorted = false;
        _records.erase(record.key().uuid);
    }

    [[nodiscard]] RecordPtr find(const KrUuid& uuid) const {
        const auto position = _records.find(uuid);
        return position != _records.end() ? position->second : nullptr;
    }

    /// All records by their uuids.
    [[nodiscard]] const std::vector<const RecordPtr*>& getSorted() {
        if (!_isSorted) {
            _sorted.clear();
            for (const auto& [uuid, record] : _records)
                _sorted.push_back(&record);
            std::sort(_sorted.begin(), _sorted.end(), [](const RecordPtr* left, const RecordPtr* right) {
                return (*left)->key().uuid < (*right)->key().uuid;
            });
            _isSorted = true;
        }
        return _sorted;
    }

    [[nodiscard]] RecordPtr findByName(const std::string& category, const std::string& name) {
        for (const RecordPtr* record : getSorted()) {
            if ((*record)->key().name == name && (*record)->key().category == category) return *record;
        }
        return nullptr;
    }

private:
    // Buckets with one type at most spare looking at other types, which are not in the cache.
    Registry() { _records.max_load_factor(0.25F); }

    // Types are registered in hundreds and rarely listed: they are sorted when listed.
    std::unordered_map<KrUuid, RecordPtr> _records;
    std::vector<const RecordPtr*> _sorted;
    bool _isSorted{true};
};

bool hasNames(const KrFactoryKey& key) {
    return !key.category.empty() && !key.name.empty();
}

/// The uuids under which the type of a key may be registered, in the order of trying.
struct Candidates {
    explicit Candidates(const KrFactoryKey& key) : first(key.completed().uuid) {
        if (key.uuid.isNull() && hasNames(key)) {
            second = KrUuid::createFromName(key.category + "_KrSimulatorModule_" + key.name);
        }
    }

    /// With the registry locked.
    [[nodiscard]] RecordPtr find(const Registry& registry) const {
        RecordPtr record = first.isNull() ? nullptr : registry.find(first);
        return record || second.isNull() ? record : registry.find(second);
    }

    KrUuid first;
    KrUuid second;
};

RecordPtr findRecord(const KrFactoryKey& key) {
    const Candidates candidates(key);
    auto& registry = Registry::instance();
    const std::lock_guard lock(registry.mutex);
    return candidates.find(registry);
}

/// Tries one record after the other.
class Creation {
public:
    /// \param find  returns the record to try, or null; called with the registry locked.
    template <class Find>
    bool tryRecord(const Find& find) {
        auto& registry = Registry::instance();
        {
            const std::lock_guard lock(registry.mutex);
            RecordPtr record = find(registry);
            // What has failed once would only fail, and be reported, again.
            if (!record || record == _record) return false;
            _record = std::move(record);
            // From here on the type cannot be withdrawn.
            ObjectMap::instance().announce(_record->instances);
        }
        KrExtension* made = nullptr;
        const struct Announcement {
            ~Announcement() { ObjectMap::instance().add(record.instances, made); }
            const Record& record;
            KrExtension*& made;
        } announcement{*_record, made};
        // Who takes a plain extension where a type is missing must not do so for lack of memory.
        const bool hasReturned = Kr::callGuardedButMemory(
            kCreate, [this] { return _record->key().toString(); },
            [&] { made = _record->description.create(_record->key()); }, _record->key().name.c_str());
        _hasThrown = _hasThrown || !hasReturned;
        _extension.reset(made);
        return made != nullptr;
    }

    [[nodiscard]] Kr::KrSmartPtr<KrExtension> take() { return std::move(_extension); }
    /// Whether a type was found whose constructor threw, which has been logged.
    [[nodiscard]] bool hasThrown() const noexcept { return _hasThrown; }

private:
    RecordPtr _record;
    Kr::KrSmartPtr<KrExtension> _extension;
    bool _hasThrown{false};
};

/// Knows when the static objects of the library are being destroyed.
struct ShutdownNotice {
    ShutdownNotice() = default;
    ShutdownNotice(const ShutdownNotice&) = delete;
    ShutdownNotice& operator=(const ShutdownNotice&) = delete;
    ~ShutdownNotice() { hasBegun = true; }

    static inline constinit std::atomic<bool> hasBegun{false};
};
const ShutdownNotice kShutdownNotice;

/// A type to withdraw.
struct Withdrawal {
    KrUuid uuid;
    KrExtensionFactory::CreateFunction create{nullptr};  // null takes whatever is registered
    std::string_view plugin{};

    [[nodiscard]] bool isMeant(const Record& record) const {
        return create == nullptr || (record.description.create == create && record.key().plugin == plugin);
    }
};

/// The types that have left the registry, linked, so that leaving it allocates nothing.
class Withdrawn {
public:
    Withdrawn() = default;
    Withdrawn(const Withdrawn&) = delete;
    Withdrawn& operator=(const Withdrawn&) = delete;
    ~Withdrawn() {
        while (_first)
            _first = std::exchange(_first->nextWithdrawn, nullptr);
    }

    void add(RecordPtr record) noexcept {
        record->nextWithdrawn = std::move(_first);
        _first = std::move(record);
    }
    void log() const {
        if (Kr::LogGetLevel() < Kr::eLogLevel::kTrace) return;
        for (const auto* record = _first.get(); record != nullptr; record = record->nextWithdrawn.get()) {
            Kr::logMessage(Kr::eLogLevel::kTrace, "KrExtensionFactory: %s.%s is unregistered {%s}.\n",
                           record->key().category.c_str(), record->key().name.c_str(),
                           record->key().uuid.toString().c_str());
        }
    }

private:
    RecordPtr _first;
};

/// What is done stays done where there is no memory for a line about it.
template <class Log>
void logIfPossible(const Log& log) {
    try {
        log();
    } catch (const std::bad_alloc&) {
    }
}

/// All or none.
bool withdraw(std::span<const Withdrawal> withdrawals) {
    if (ShutdownNotice::hasBegun) return false;
    auto& registry = Registry::instance();
    Withdrawn withdrawn;
    RecordPtr inUse;
    std::size_t count = 0;
    const auto find = [&](const Withdrawal& each) {
        RecordPtr record = registry.find(each.uuid);
        return record && each.isMeant(*record) ? record : nullptr;
    };
    {
        const std::lock_guard lock(registry.mutex);
        for (const Withdrawal& each : withdrawals) {
            RecordPtr record = find(each);
            count = record ? ObjectMap::instance().getCount(record->instances) : 0;
            if (count == 0) continue;
            inUse = std::move(record);
            break;
        }
        for (const Withdrawal& each : inUse ? std::span<const Withdrawal>() : withdrawals) {
            RecordPtr record = find(each);
            if (!record) continue;
            registry.erase(*record);
            withdrawn.add(std::move(record));
        }
    }
    if (inUse) {
        Kr::logMessage(Kr::eLogLevel::kWarn, "KrExtensionFactory: %d objects still exist. Cannot unregister %s.\n",
                       static_cast<int>(count), inUse->key().toString().c_str());
        return false;
    }
    logIfPossible([&] { withdrawn.log(); });
    return true;
}

}  // namespace

Kr::KrSmartPtr<KrExtension> KrExtensionFactory::create(const KrFactoryKey& key) {
    Creation creation;
    const auto byUuid = [&](Registry& registry) { return registry.find(key.uuid); };
    if (!key.uuid.isNull() && creation.tryRecord(byUuid)) return creation.take();

    if (!key.plugin.empty()) {
        auto& plugins = KrPluginSystem::KrPluginManager::instance();
        if (!plugins.isLoaded(key.plugin)) plugins.load(key.plugin);
        const Candidates candidates(key);
        if (creation.tryRecord([&](Registry& registry) { return candidates.find(registry); })) {
            return creation.take();
        }
    }
    const auto byName = [&](Registry& registry) { return registry.findByName(key.category, key.name); };
    if (hasNames(key) && creation.tryRecord(byName)) return creation.take();

    if (creation.hasThrown()) return {};
    // Types of editors, which content may hold and a simulator need not have.
    if (key.name == "Folder" || key.name == "HierarchyView") return {};
    if (key.plugin.empty()) {
        Kr::logMessage(Kr::eLogLevel::kWarn, "KrExtensionFactory: Unable to create %s, extension is not registered.\n",
                       key.toString().c_str());
    } else {
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "KrExtensionFactory: Unable to create %s, '%s'.krp does not contain the extension.\n",
                       key.toString().c_str(), key.plugin.c_str());
    }
    return {};
}

Kr::KrArray<KrExtension*> KrExtensionFactory::getInstances(const KrFactoryKey& key) {
    const RecordPtr record = findRecord(key);
    return record ? ObjectMap::instance().getAll(record->instances) : Kr::KrArray<KrExtension*>();
}

bool KrExtensionFactory::isValid(const KrFactoryKey& key) {
    return findRecord(key) != nullptr;
}

Kr::KrArray<KrFactoryKey> KrExtensionFactory::getAvailableTypes(eType kind) {
    auto& registry = Registry::instance();
    const std::lock_guard lock(registry.mutex);
    Kr::KrArray<KrFactoryKey> keys;
    for (const RecordPtr* record : registry.getSorted()) {
        if ((*record)->description.kind == kind) keys.append((*record)->key());
    }
    return keys;
}

bool KrExtensionFactory::unregisterType(const KrFactoryKey& key) {
    const Withdrawal withdrawal{.uuid = key.completed().uuid};
    return withdraw({&withdrawal, 1});
}

bool KrExtensionFactory::_registerType(const KrFactoryKey& key, CreateFunction create, PrepareFunction prepare,
                                       eType kind, const std::type_info& type) {
    const TypeDescription description{key, create, prepare, kind, &type};
    return detail::registerTypes({&description, 1});
}

bool detail::registerTypes(std::span<const KrExtensionFactory::TypeDescription> types) {
    std::vector<RecordPtr> records;
    records.reserve(types.size());
    for (const KrExtensionFactory::TypeDescription& each : types) {
        auto record = std::make_shared<Record>(Record{each});
        record->description.key = each.key.completed();
        if (record->key().isNull() || !hasNames(record->key())) {
            Kr::logMessage(
                Kr::eLogLevel::kWarn,
                "KrExtensionFactory: The factory key for '%s' is incomplete. Cannot register the type to the "
                "factory.\n",
                Kr::getTypeName(*each.type).c_str());
            return false;
        }
        records.push_back(std::move(record));
    }

    auto& registry = Registry::instance();
    RecordPtr existing;
    std::size_t count = 0;
    {
        const std::lock_guard lock(registry.mutex);
        const auto takeBack = [&] {
            for (std::size_t index = 0; index < count; ++index)
                registry.erase(*records[index]);
        };
        try {
            for (; !existing && count < records.size(); ++count) {
                const RecordPtr& holder = registry.insert(records[count]);
                if (holder != records[count]) existing = holder;
                if (existing) break;
            }
        } catch (...) {
            takeBack();
            throw;
        }
        if (existing) takeBack();
    }
    if (existing) {
        const KrFactoryKey& key = records[count]->key();
        Kr::logMessage(
            Kr::eLogLevel::kWarn,
            "KrExtensionFactory: {%s} already registered for %s.%s. Cannot register again with the same uuid "
            "(%s.%s).\n",
            key.uuid.toString().c_str(), existing->key().category.c_str(), existing->key().name.c_str(),
            key.category.c_str(), key.name.c_str());
        return false;
    }
    if (Kr::LogGetLevel() < Kr::eLogLevel::kTrace) return true;  // spares making the texts
    logIfPossible([&] {
        for (const RecordPtr& record : records) {
            Kr::logMessage(Kr::eLogLevel::kTrace, "KrExtensionFactory: Registering %s.\n",
                           record->key().toString().c_str());
        }
    });
    return true;
}

bool detail::unregisterTypes(std::span<const KrExtensionFactory::TypeDescription> types) {
    std::vector<Withdrawal> withdrawals;
    withdrawals.reserve(types.size());
    for (const KrExtensionFactory::TypeDescription& each : types)
        withdrawals.push_back({each.key.completed().uuid, each.create, each.key.plugin});
    return withdraw(withdrawals);
}

void detail::setCreationKey(KrExtension& proxy, const KrFactoryKey& key) {
    ExtensionAccess::setCreationKey(proxy, key);
}

KrExtension* detail::releaseAlive(Kr::KrSmartPtr<KrExtension> held) noexcept {
    auto* const alive = Kr::detail::RefCountAccess::detach(held);
    Kr::detail::RefCountAccess::releaseAlive(*alive);
    return alive;
}

namespace {

struct ForClones final : IExtensionMaker {
    [[nodiscard]] Kr::KrSmartPtr<KrExtension> create(const KrFactoryKey& key) const override {
        return KrExtensionFactory::create(key);
    }
};

[[maybe_unused]] const bool isInstalled = [] {
    static const ForClones forClones;
    Kr::UpperLayer<IExtensionMaker>::install(&forClones);
    return true;
}();

}  // namespace

}  // namespace KrSim
