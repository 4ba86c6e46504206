#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"
#include "kr/signals/liveness.h"

/// Declares the class type and class name of a class derived from KrBase. First line of the class body; the access is
/// `public` afterwards. `Class` is the plain name used in references, `Base` the direct base class:
///
///     class Vehicle : public Kr::KrBase {
///         KR_BASE_CLASS(Vehicle, Kr::KrBase)
#define KR_BASE_CLASS(Class, Base)                                                     \
public:                                                                                \
    [[nodiscard]] static const ::Kr::KrBase::ClassType& _getClass() {                  \
        static const auto& type = ::Kr::KrBase::_registerClass(typeid(Class), #Class); \
        return type;                                                                   \
    }                                                                                  \
    [[nodiscard]] static int getClassType() {                                          \
        return _getClass().number;                                                     \
    }                                                                                  \
    [[nodiscard]] int getExactClassType() const override {                             \
        return getClassType();                                                         \
    }                                                                                  \
    [[nodiscard]] bool isOfClassType(int type) const override {                        \
        return type == getClassType() || Base::isOfClassType(type);                    \
    }                                                                                  \
    [[nodiscard]] const std::string& getClassName() const override {                   \
        return _getClass().name;                                                       \
    }

namespace Kr {

namespace detail {
class LiveSet;
}  // namespace detail

/// Base of long-lived objects: a name, a class type, subscribers, and an entry in the process-wide set of live objects,
/// with which the holder of a raw pointer can test whether the object still exists.
///
/// Thread: objects may be created, destroyed and tested for life on any thread; name and subscribers of one object on
/// the thread that uses the object. Ownership: subscribers are borrowed.
class KR_API KrBase {
public:
    /// The events that subscribers are notified of. The values are not stored anywhere and may grow.
    enum class Event : std::uint8_t {
        kConstructed,  ///< the base part is constructed; only the constructor subscriber can be notified
        kDestroyed,    ///< only the base part remains; the object is not in the live set any more
        kRenamed,      ///< the name has changed
    };

    class Subscriber;

    /// A class derived from KrBase; never destroyed.
    struct ClassType {
        int number;
        std::string name;
    };

    KrBase(const KrBase&) = delete;
    KrBase& operator=(const KrBase&) = delete;

    // Class

    /// The number of the object's class, from 1 up in the order of first use. It differs between runs: never store it.
    [[nodiscard]] virtual int getExactClassType() const;
    /// Whether the object is of that class and no derived one.
    [[nodiscard]] virtual bool isOfExactClassType(int type) const;
    /// Whether the object is of that class or of a derived class.
    [[nodiscard]] virtual bool isOfClassType(int type) const;

    virtual ~KrBase();

    /// The plain class name, as used in references; never empty.
    [[nodiscard]] virtual const std::string& getClassName() const;

    [[nodiscard]] static int getClassType();  ///< The number of the class KrBase itself.
    /// The numbers of all classes registered so far. Any thread.
    [[nodiscard]] static std::vector<int> getIDVector();

    // Name

    /// Null is the empty name. A change notifies Event::kRenamed; the object may have died when the call returns, if a
    /// subscriber destroyed it.
    virtual void setName(const char* name);
    [[nodiscard]] const std::string& getName() const noexcept { return _name; }
    [[nodiscard]] bool hasName() const noexcept { return !_name.empty(); }
    /// Sets the name to "prefix_name_count"; a null or empty part is omitted together with its underscore.
    void setCombinedName(const char* prefix, const char* name, std::uint32_t count);

    /// Number of objects created before this one since the start or the last reset of the counter.
    [[nodiscard]] std::uint32_t getCreationIndex() const noexcept { return _creationIndex; }
    /// Sets the counter of getCreationIndex to 0; existing objects keep their index.
    static void resetKrBaseCounter() noexcept;

    // Subscribers

    /// Ignores null and a subscriber that is subscribed already. Subscribers are notified in the order of their
    /// subscription; one that subscribes during a notification is not notified of that event.
    void addSubscriber(Event event, Subscriber* subscriber);
    void addSubscriber(Subscriber* subscriber);                  ///< to all events
    void removeSubscriber(Event event, Subscriber* subscriber);  ///< Does nothing without a subscription.
    void removeSubscriber(Subscriber* subscriber);               ///< from all events
    [[nodiscard]] bool isSubscribed(Event event, const Subscriber* subscriber) const;  ///< Null is not subscribed.
    /// Whether it is subscribed to all events.
    [[nodiscard]] bool isSubscribed(const Subscriber* subscriber) const;

    /// The one subscriber that each new object gets for all its events, or null. Objects created earlier keep theirs.
    /// It is notified on the thread that creates, renames or destroys an object. Set it, and destroy it, while no other
    /// thread creates objects.
    static void setConstructorSubscriber(Subscriber* subscriber);
    [[nodiscard]] static Subscriber* getConstructorSubscriber() noexcept;  ///< Borrowed; null without one.

    // Live objects

    /// Whether this is the address of a live object. The pointer is never dereferenced. A new object at the same
    /// address counts as live; KrBasePointer distinguishes the two. Any thread.
    [[nodiscard]] static bool isKrBaseValid(const KrBase* object) noexcept;
    /// All live objects, in any order. One shared array, filled by each call: for diagnostics, on one thread.
    [[nodiscard]] static const std::vector<KrBase*>& getKrBaseList();
    /// Whether new objects enter the set of live objects; initially they do. An object created while it is disabled
    /// never counts as live. An object in the set leaves it on destruction in any case, so no dead address remains.
    [[nodiscard]] static bool getEnableMemoryTracking() noexcept;
    /// Switch it only while no other thread creates objects. Existing objects are not affected.
    static void setEnableMemoryTracking(bool enable) noexcept;

    /// Removes the address from the set of live objects. Returns whether the set contained it.
    static bool _removeKrBaseInstance(const KrBase* object) noexcept;

protected:
    KrBase();

    /// The record of a class, created with the first call; the same for every module that names the class. Any thread.
    [[nodiscard]] static const ClassType& _registerClass(const std::type_info& type, const char* name);

    /// Notifies the subscribers of an event. The object may have died when the call returns.
    void _tellSubscribers(Event event);

private:
    friend class KrBasePointer;
    friend class detail::LiveSet;

    [[nodiscard]] static const ClassType& _baseClass();
    struct Subscriptions;

    /// Whether the object at this address is alive and has this serial number. Any thread.
    [[nodiscard]] static bool _isAlive(const KrBase* object, std::uint32_t serial) noexcept;
    /// A number unique to this object, unlike the creation index, which can be reset; starts again after 2^31.
    [[nodiscard]] std::uint32_t _getSerial() const noexcept { return _serial; }

    Subscriptions& _makeSubscriptions();

    std::string _name;
    std::shared_ptr<Subscriptions> _subscriptions;  // made by the first subscription
    std::uint32_t _creationIndex;
    std::uint32_t _serial : 31;
    std::uint32_t _isTracked : 1;
};

/// Notified of events of the objects to which it is subscribed.
///
/// A subscriber may be destroyed while subscribed, also during a notification: objects drop dead subscribers. A copy
/// has no subscriptions, and assignment changes none.
/// Thread: that of the objects, also for its destruction. Ownership: borrowed by the objects.
class KR_API KrBase::Subscriber {
public:
    Subscriber() = default;
    Subscriber(const Subscriber&) noexcept {}
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): nothing is assigned
    Subscriber& operator=(const Subscriber&) noexcept { return *this; }
    virtual ~Subscriber();

    /// Called on the thread that causes the event. On Event::kConstructed and Event::kDestroyed only the address may be
    /// used: the rest of the object does not exist. The subscriber may subscribe, unsubscribe and destroy itself.
    virtual void onEvent(Event event, KrBase* object);

    /// Ends all subscriptions. A derived class whose onEvent uses members calls it in its destructor.
    void unsubscribeFromAll() noexcept;

private:
    friend class KrBase;

    const KrSmartPtr<Liveness<Subscriber>>& _getLiveness();

    KrSmartPtr<Liveness<Subscriber>> _liveness;  // made by the first subscription
};

}  // namespace Kr
