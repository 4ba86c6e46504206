#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "kr/application/application.h"
#include "kr/application/i_application_listener.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/application/modules/simulator_module_sequence.h"
#include "kr/core/base.h"
#include "kr/data/field.h"
#include "kr/data/field_listener.h"
#include "kr/events/errors/error_events.h"
#include "kr/events/errors/error_handler.h"
#include "kr/events/errors/error_manager.h"
#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/events/sim_event.h"
#include "kr/events/sim_event_listener.h"
#include "kr/extension/extension.h"
#include "kr/extension/object.h"
#include "kr/extension/order/extension_sorter.h"
#include "kr/extension/smart_interface.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"

// Each place of the library that notifies, behind one face:
//   add(callback)  registers; the answer ends the registration, and destroys the callback, when it is destroyed
//   notify()       calls the callbacks once
//   end()          destroys the owner of the list, where it can die during a notification
//   hold(callback) registers a shared listener, by a handle

namespace notifying_places {

using Callback = std::function<void()>;
using Registration = std::shared_ptr<void>;

/// For a listener of which one function is called: a copy of the callback outlives the listener.
template <class Listener>
class Calling : public Listener {
public:
    explicit Calling(Callback callback) : _callback(std::move(callback)) {}

protected:
    void _call() const {
        const auto callback = _callback;
        callback();
    }

private:
    Callback _callback;
};

/// A borrowed listener that is unregistered before it dies.
template <class Concrete, class Place>
Registration borrow(Place& place, Callback callback) {
    auto listener = std::make_unique<Concrete>(std::move(callback));
    place.registerListener(listener.get());
    return Registration(listener.release(), [&place](Concrete* each) {
        place.unregisterListener(each);
        delete each;
    });
}

template <class Handle>
Registration keep(Handle handle) {
    return std::make_shared<Handle>(std::move(handle));
}

/// What notify() may throw, once all have been called, where the place hands exceptions on.
template <class Call>
void ignoringExceptions(const Call& call) {
    try {
        call();
    } catch (const std::exception&) {
    }
}

/// Keeps warnings about callbacks that throw out of the output.
struct Quiet {
    test_support::LogCapture log;
};

// --- Fields --------------------------------------------------------------------------------------------------------

struct FieldObservers : Quiet {
    std::unique_ptr<KrData::Field<int>> field = std::make_unique<KrData::Field<int>>("Field");
    int value = 0;

    Registration add(Callback callback) {
        return keep(field->addObserver([callback = std::move(callback)](const KrData::FieldBase&) { callback(); }));
    }
    void notify() { field->setValue(++value); }
    void end() { field.reset(); }
};

struct PropertyObservers : Quiet {
    std::unique_ptr<KrData::Field<int>> field = std::make_unique<KrData::Field<int>>("Field");
    int value = 0;

    Registration add(Callback callback) {
        return keep(
            field->addPropertyObserver([callback = std::move(callback)](const KrData::FieldBase&) { callback(); }));
    }
    void notify() { field->setDescription(std::to_string(++value)); }
    void end() { field.reset(); }
};

struct FieldListeners : Quiet {
    struct Listener final : Calling<KrData::FieldListener> {
        using Calling::Calling;
        void onOutgoingConnectionAdded(Kr::KrConnectionBase*) override { _call(); }
    };
    KrData::Field<int> sink{"Sink"};
    std::unique_ptr<KrData::Field<int>> field = std::make_unique<KrData::Field<int>>("Field");
    test_support::FakeConnection connection{*field, sink};

    Registration add(Callback callback) {
        auto listener = std::make_unique<Listener>(std::move(callback));
        field->registerListener(listener.get());
        return Registration(listener.release(), [this](Listener* each) {
            if (field) field->unregisterListener(each);
            delete each;
        });
    }
    Registration hold(Callback callback) {
        return keep(field->holdListener(std::make_shared<Listener>(std::move(callback))));
    }
    void notify() { field->_addConnection(&connection); }
    void end() { field.reset(); }
};

// --- Objects and extensions ----------------------------------------------------------------------------------------

struct BaseSubscribers : Quiet {
    struct Named : Kr::KrBase {};
    struct Listener final : Calling<Kr::KrBase::Subscriber> {
        using Calling::Calling;
        void onEvent(Kr::KrBase::Event event, Kr::KrBase*) override {
            if (event == Kr::KrBase::Event::kRenamed) _call();
        }
    };
    std::unique_ptr<Named> object = std::make_unique<Named>();
    int value = 0;

    Registration add(Callback callback) {
        const auto listener = std::make_shared<Listener>(std::move(callback));
        object->addSubscriber(listener.get());
        return listener;
    }
    void notify() { object->setName(std::to_string(++value).c_str()); }
    void end() { object.reset(); }
};

struct ObjectListeners : Quiet {
    struct Listener final : Calling<KrSim::KrObject::Listener> {
        using Calling::Calling;
        void onExtensionAdded(KrSim::KrObject*, KrSim::KrExtension*) override { _call(); }
    };
    Kr::KrSmartPtr<KrSim::KrObject> object = Kr::makeSmart<KrSim::KrObject>();

    Registration add(Callback callback) { return borrow<Listener>(*object, std::move(callback)); }
    Registration hold(Callback callback) {
        return keep(object->holdListener(std::make_shared<Listener>(std::move(callback))));
    }
    void notify() { object->add(Kr::makeSmart<KrSim::KrExtension>().get()); }
};

struct SorterListeners : Quiet {
    struct Listener final : Calling<KrSim::KrExtensionSorter::Listener> {
        using Calling::Calling;
        void onExtensionAdded(KrSim::KrExtension*) override { _call(); }
    };
    KrSim::KrExtensionSorter& sorter = KrSim::KrExtensionSorter::instance();

    Registration add(Callback callback) { return borrow<Listener>(sorter, std::move(callback)); }
    Registration hold(Callback callback) {
        return keep(sorter.holdListener(std::make_shared<Listener>(std::move(callback))));
    }
    void notify() {
        const auto extension = Kr::makeSmart<KrSim::KrExtension>();
        sorter.addExtension(extension.get());
        sorter.removeExtension(extension.get());
    }
};

// --- Events --------------------------------------------------------------------------------------------------------

constexpr int kEvent = 4712;

struct DispatcherListeners : Quiet {
    struct Listener final : Calling<KrSim::KrSimEventListener> {
        using Calling::Calling;
        void onSimEvent(const KrSim::KrSimEvent&) override { _call(); }
    };
    test_support::DispatcherScope scope;

    Registration add(Callback callback) {
        const auto listener = std::make_shared<Listener>(std::move(callback));
        KrSim::KrEventDispatcher::registerListener(kEvent, listener.get());
        return listener;
    }
    void notify() {
        ignoringExceptions([] { KrSim::KrEventDispatcher::sendEventLocallyImmediately(KrSim::KrSimEvent(kEvent)); });
    }
};

struct EventCallbacks : Quiet {
    test_support::DispatcherScope scope;
    std::unique_ptr<KrSim::EventManagerImplementation> manager = std::make_unique<KrSim::EventManagerImplementation>();

    Registration add(Callback callback) {
        return keep(
            manager->registerListener(KrSim::EventId::_fromNumber(kEvent),
                                      [callback = std::move(callback)](const KrSim::EventData&) { callback(); }));
    }
    void notify() {
        ignoringExceptions(
            [this] { manager->sendEventLocallyImmediately(KrSim::EventId::_fromNumber(kEvent), KrSim::EventData()); });
    }
    void end() { manager.reset(); }
};

struct ErrorManagerListeners : Quiet {
    struct Listener final : Calling<KrSim::ErrorManager::Listener> {
        using Calling::Calling;
        void onMessage(int, Kr::eLogLevel, const std::string&, const std::string&, std::int64_t) override { _call(); }
    };
    test_support::DispatcherScope scope;
    KrSim::EventManagerImplementation events;
    std::unique_ptr<KrSim::ErrorManager> manager = std::make_unique<KrSim::ErrorManager>(&events);

    Registration add(Callback callback) {
        auto listener = std::make_unique<Listener>(std::move(callback));
        manager->registerListener(listener.get());
        return Registration(listener.release(), [this](Listener* each) {
            if (manager) manager->unregisterListener(each);
            delete each;
        });
    }
    Registration hold(Callback callback) {
        return keep(manager->holdListener(std::make_shared<Listener>(std::move(callback))));
    }
    void notify() {
        KrSim::EventData message;
        message << std::string("sender") << std::string("text") << 3 << std::int64_t{0};
        events.sendEventLocallyImmediately(KrSim::kErrorMessageEvent, message);
    }
    void end() { manager.reset(); }
};

struct LogListeners {
    LogListeners() {
        KrSim::KrErrorHandler::enableConsoleLog(false);
        KrSim::KrErrorHandler::Register();
    }
    ~LogListeners() {
        KrSim::KrErrorHandler::Unregister();
        KrSim::KrErrorHandler::enableConsoleLog(true);
    }
    LogListeners(const LogListeners&) = delete;
    LogListeners& operator=(const LogListeners&) = delete;

    Registration add(Callback callback) {
        return keep(KrSim::KrErrorHandler::registerListener(
            [callback = std::move(callback)](const std::string&) { callback(); }));
    }
    void notify() {
        ignoringExceptions([] { Kr::logMessage(Kr::eLogLevel::kError, "of a test\n"); });
    }
    void end() { KrSim::KrErrorHandler::Unregister(); }
};

// --- Applications --------------------------------------------------------------------------------------------------

struct ApplicationListeners : Quiet {
    struct Listener final : Calling<KrSim::IApplicationListener> {
        using Calling::Calling;
        void onExtensionAdded(KrSim::KrApplication*, KrSim::KrExtension*) override { _call(); }
    };
    test_support::DispatcherScope scope;
    Kr::KrSmartPtr<KrSim::KrApplication> application = KrSim::KrApplication::create();

    Registration add(Callback callback) { return borrow<Listener>(*application, std::move(callback)); }
    Registration hold(Callback callback) {
        return keep(application->holdListener(std::make_shared<Listener>(std::move(callback))));
    }
    void notify() { application->add(Kr::makeSmart<KrSim::KrExtension>().get()); }
};

struct Modules : Quiet {
    class Module final : public KrSim::ISimulatorModule {
    public:
        Module(KrSim::KrSimulatorModule* proxy, Callback callback)
            : ISimulatorModule(proxy, 1), _callback(std::move(callback)) {}
        void onUpdate(KrSim::eApplicationMode) override { _callback(); }

    private:
        Callback _callback;
    };
    using Holder = KrSim::KrSmartInterface<KrSim::ISimulatorModule>;

    KrSim::KrSimulatorModuleSequence sequence;

    Registration add(Callback callback) {
        const auto proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
        auto module = std::make_unique<Holder>(new Module(proxy.get(), std::move(callback)));
        sequence.insert(*module);
        return Registration(module.release(), [this](Holder* each) {
            sequence.remove(*each);
            delete each;
        });
    }
    void notify() { sequence.update(KrSim::ApplicationContext()); }
};

}  // namespace notifying_places
