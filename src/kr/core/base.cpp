#include "kr/core/base.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <mutex>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "kr/core/internal/live_set.h"
#include "kr/core/internal/type_key.h"
#include "kr/platform/guard.h"
#include "kr/signals/walk_list.h"

namespace Kr {

namespace {

constinit detail::LiveSet liveSet;
constinit std::atomic<bool> isTrackingEnabled{true};
constinit std::atomic<std::uint32_t> objectCounter{0};
constinit std::atomic<std::uint32_t> firstOfCounting{0};  // what objectCounter was at the last reset
constinit std::atomic<KrBase::Subscriber*> constructorSubscriber{nullptr};

constexpr std::uint32_t kAllEvents = ~std::uint32_t{0};
constexpr std::uint32_t kSerialMask = 0x7fffffff;

constexpr GuardTexts kOnEventTexts{eLogLevel::kWarn, "KrBase: fatal error in '%s' onEvent() [%s]\n",
                                   "KrBase: unhandled exception in '%s' onEvent()\n", "onEvent"};

constexpr std::uint32_t bitOf(KrBase::Event event) noexcept {
    return std::uint32_t{1} << static_cast<std::uint32_t>(event);
}

struct ClassRegistry {
    std::mutex mutex;  // guards the members
    std::deque<KrBase::ClassType> types;
    std::unordered_map<std::string, const KrBase::ClassType*> typesByKey;

    // Never destroyed: static objects use their class types until the process ends.
    static ClassRegistry& instance() {
        static auto& registry = *new ClassRegistry;
        return registry;
    }
};

}  // namespace

struct KrBase::Subscriptions {
    struct Entry {
        KrSmartPtr<Liveness<Subscriber>> subscriber;
        std::uint32_t events{0};

        explicit operator bool() const noexcept { return subscriber != nullptr; }
    };

    WalkList<Entry> entries;
    bool isOwnerGone{false};  // destroyed by a subscriber that was being notified
    std::string lastName;     // of the former owner

    /// The place of the entry; the number of places when there is none.
    [[nodiscard]] std::size_t find(const Subscriber* subscriber) const noexcept {
        const auto& places = entries.places();
        const auto found = std::find_if(places.begin(), places.end(), [&](const Entry& entry) {
            return entry && entry.subscriber->get() == subscriber;
        });
        return static_cast<std::size_t>(found - places.begin());
    }
    [[nodiscard]] std::uint32_t eventsOf(const Subscriber* subscriber) const noexcept {
        const auto place = subscriber != nullptr ? find(subscriber) : entries.places().size();
        return place < entries.places().size() ? entries.places()[place].events : 0;
    }
    void add(const KrSmartPtr<Liveness<Subscriber>>& subscriber, std::uint32_t events) {
        const auto place = find(subscriber->get());
        if (place < entries.places().size()) {
            entries[place].events |= events;
        } else {
            removeDead();
            entries.add({subscriber, events});
        }
    }
    void remove(const Subscriber* subscriber, std::uint32_t events) noexcept {
        const auto place = subscriber != nullptr ? find(subscriber) : entries.places().size();
        if (place == entries.places().size()) return;
        entries[place].events &= ~events;
        if (entries[place].events == 0) entries.removeAt(place);
    }
    /// Subscribers die without a word to the objects.
    void removeDead() noexcept {
        entries.removeIf([](const Entry& entry) { return entry.subscriber->get() == nullptr; });
    }
};

// Class

const KrBase::ClassType& KrBase::_registerClass(const std::type_info& type, const char* name) {
    ClassRegistry& registry = ClassRegistry::instance();
    const std::lock_guard lock(registry.mutex);
    const ClassType*& record = registry.typesByKey[detail::typeKey(type)];
    if (!record) {
        record = &registry.types.emplace_back(ClassType{static_cast<int>(registry.types.size()) + 1, name});
    }
    return *record;
}

const KrBase::ClassType& KrBase::_baseClass() {
    static const auto& type = _registerClass(typeid(KrBase), "KrBase");
    return type;
}

int KrBase::getClassType() {
    return _baseClass().number;
}
int KrBase::getExactClassType() const {
    return getClassType();
}
bool KrBase::isOfExactClassType(int type) const {
    return type == getExactClassType();
}
bool KrBase::isOfClassType(int type) const {
    return type == getClassType();
}
const std::string& KrBase::getClassName() const {
    return _baseClass().name;
}

std::vector<int> KrBase::getIDVector() {
    ClassRegistry& registry = ClassRegistry::instance();
    const std::lock_guard lock(registry.mutex);
    std::vector<int> numbers;
    numbers.reserve(registry.types.size());
    for (const ClassType& type : registry.types)
        numbers.push_back(type.number);
    return numbers;
}

// Life

KrBase::KrBase()
    : _creationIndex(objectCounter.fetch_add(1, std::memory_order_relaxed)),
      _serial(_creationIndex & kSerialMask),
      _isTracked(isTrackingEnabled.load(std::memory_order_relaxed) ? 1U : 0U) {
    _creationIndex -= firstOfCounting.load(std::memory_order_relaxed);
    if (Subscriber* subscriber = getConstructorSubscriber()) addSubscriber(subscriber);
    // The last step that can fail: no destructor runs after a failed constructor.
    if (_isTracked) liveSet.insert(this);
    _tellSubscribers(Event::kConstructed);
}

KrBase::~KrBase() {
    if (_isTracked) liveSet.erase(this);
    _tellSubscribers(Event::kDestroyed);
    if (!_subscriptions) return;
    _subscriptions->isOwnerGone = true;
    _subscriptions->lastName = std::move(_name);
}

bool KrBase::isKrBaseValid(const KrBase* object) noexcept {
    return liveSet.contains(object);
}

const std::vector<KrBase*>& KrBase::getKrBaseList() {
    static auto& list = *new std::vector<KrBase*>;
    list.clear();
    liveSet.appendTo(list);
    return list;
}

bool KrBase::getEnableMemoryTracking() noexcept {
    return isTrackingEnabled.load(std::memory_order_relaxed);
}
void KrBase::setEnableMemoryTracking(bool enable) noexcept {
    isTrackingEnabled.store(enable, std::memory_order_relaxed);
}

bool KrBase::_isAlive(const KrBase* object, std::uint32_t serial) noexcept {
    return liveSet.contains(object, serial);
}

bool KrBase::_removeKrBaseInstance(const KrBase* object) noexcept {
    return liveSet.erase(object);
}

void KrBase::resetKrBaseCounter() noexcept {
    firstOfCounting.store(objectCounter.load(std::memory_order_relaxed), std::memory_order_relaxed);
}

// Name

void KrBase::setName(const char* name) {
    const std::string_view text = name ? std::string_view(name) : std::string_view();
    if (_name == text) return;
    _name = text;
    _tellSubscribers(Event::kRenamed);
}

void KrBase::setCombinedName(const char* prefix, const char* name, std::uint32_t count) {
    std::string combined;
    for (const char* part : {prefix, name}) {
        if (part && *part != '\0') combined.append(part).append("_");
    }
    combined += std::to_string(count);
    setName(combined.c_str());
}

// Subscribers

KrBase::Subscriptions& KrBase::_makeSubscriptions() {
    if (!_subscriptions) _subscriptions = std::make_shared<Subscriptions>();
    return *_subscriptions;
}

void KrBase::addSubscriber(Event event, Subscriber* subscriber) {
    if (subscriber) _makeSubscriptions().add(subscriber->_getLiveness(), bitOf(event));
}

void KrBase::addSubscriber(Subscriber* subscriber) {
    if (subscriber) _makeSubscriptions().add(subscriber->_getLiveness(), kAllEvents);
}

void KrBase::removeSubscriber(Event event, Subscriber* subscriber) {
    if (_subscriptions) _subscriptions->remove(subscriber, bitOf(event));
}

void KrBase::removeSubscriber(Subscriber* subscriber) {
    if (_subscriptions) _subscriptions->remove(subscriber, kAllEvents);
}

bool KrBase::isSubscribed(Event event, const Subscriber* subscriber) const {
    return _subscriptions && (_subscriptions->eventsOf(subscriber) & bitOf(event)) != 0;
}

bool KrBase::isSubscribed(const Subscriber* subscriber) const {
    return _subscriptions && _subscriptions->eventsOf(subscriber) == kAllEvents;
}

void KrBase::setConstructorSubscriber(Subscriber* subscriber) {
    if (subscriber) subscriber->_getLiveness();  // made here, because objects may be constructed on several threads
    constructorSubscriber.store(subscriber, std::memory_order_release);
}

KrBase::Subscriber* KrBase::getConstructorSubscriber() noexcept {
    return constructorSubscriber.load(std::memory_order_acquire);
}

void KrBase::_tellSubscribers(Event event) {
    if (!_subscriptions) return;
    const std::shared_ptr<Subscriptions> subscriptions = _subscriptions;  // outlives this object
    // Not a copy: destructors allocate nothing.
    const auto nameOf = [&]() -> const std::string& {
        return subscriptions->isOwnerGone ? subscriptions->lastName : _name;
    };
    for (WalkList<Subscriptions::Entry>::Walk walk(subscriptions->entries); const auto entry = walk.next();) {
        auto* subscriber = entry.subscriber->get();
        if (subscriptions->isOwnerGone || subscriber == nullptr || (entry.events & bitOf(event)) == 0) continue;
        callGuarded(kOnEventTexts, nameOf, [&] { subscriber->onEvent(event, this); });
    }
    subscriptions->removeDead();
}

KrBase::Subscriber::~Subscriber() {
    unsubscribeFromAll();
    Subscriber* self = this;
    constructorSubscriber.compare_exchange_strong(self, nullptr, std::memory_order_acq_rel);
}

void KrBase::Subscriber::onEvent(Event, KrBase*) {}

void KrBase::Subscriber::unsubscribeFromAll() noexcept {
    if (_liveness) _liveness->end();
    _liveness.reset();
}

const KrSmartPtr<Liveness<KrBase::Subscriber>>& KrBase::Subscriber::_getLiveness() {
    if (!_liveness) _liveness = makeSmart<Liveness<Subscriber>>(this);
    return _liveness;
}

}  // namespace Kr
