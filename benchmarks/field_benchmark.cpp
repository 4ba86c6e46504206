// Setting a double field that nobody, one or ten watch, beside a bare loop and the usual property and signal libraries.

#include <benchmark/benchmark.h>

#include <boost/signals2/signal.hpp>
#include <functional>
#include <memory>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "benchmarks/bare_property.h"
#include "benchmarks/hide.h"
#include "benchmarks/second_thread.h"
#include "kr/data/container.h"
#include "kr/data/field.h"

#ifdef KR_HAVE_GLIB
#include <glib-object.h>
#endif

namespace {

using kr_benchmark::hide;

// --- The limits: what the operation costs at the least --------------------------------------------------------------

/// Values to set one after the other: taken from memory, so that no loop waits for the sum of the one before.
class Values {
public:
    const double& next() { return _values[++_at % 4]; }
    [[nodiscard]] const double& last() const { return _values[_at % 4]; }

private:
    double _values[4]{1.0, 2.0, 3.0, 4.0};
    unsigned _at{0};
};

void BM_BareVirtualSet(benchmark::State& state) {
    BareProperty bare;
    auto* property = hide(&bare);
    Values values;
    for (auto _ : state) {
        property->set(&values.next());
    }
    if (bare.get() != values.last()) state.SkipWithError("value lost");
}
BENCHMARK(BM_BareVirtualSet);

void BM_BareFunctions(benchmark::State& state) {
    BareProperty bare;
    auto* property = hide(&bare);
    std::int64_t calls = 0;
    for (int i = 0; i < state.range(0); ++i) {
        bare.functions.emplace_back([&calls](const BareProperty&) { ++calls; });
    }
    Values values;
    for (auto _ : state) {
        property->set(&values.next());
    }
    if (calls != state.iterations() * state.range(0)) state.SkipWithError("nobody was told");
}
BENCHMARK(BM_BareFunctions)->Arg(1)->Arg(10);

// --- Ours -----------------------------------------------------------------------------------------------------------

void BM_SetVirtual(benchmark::State& state) {
    KrData::Container container("Vehicle");
    KrData::FieldBase* field = hide<KrData::FieldBase>(container.add<double>("Speed"));
    Values values;
    for (auto _ : state) {
        field->setRawValue(&values.next());
    }
    if (field->get<double>() != values.last()) state.SkipWithError("value lost");
}
BENCHMARK(BM_SetVirtual);

void BM_SetEqualVirtual(benchmark::State& state) {
    KrData::Container container("Vehicle");
    KrData::FieldBase* field = hide<KrData::FieldBase>(container.add<double>("Speed", 1.0));
    double value = 1.0;
    for (auto _ : state)
        field->setRawValue(&value);
}
BENCHMARK(BM_SetEqualVirtual);

void BM_SetTyped(benchmark::State& state) {
    KrData::Container container("Vehicle");
    auto* field = hide(container.add<double>("Speed"));
    Values values;
    for (auto _ : state) {
        field->setValue(values.next());
        benchmark::ClobberMemory();
    }
    if (field->getValue() != values.last()) state.SkipWithError("value lost");
}
BENCHMARK(BM_SetTyped);

void BM_SetObserved(benchmark::State& state) {
    KrData::Container container("Vehicle");
    KrData::FieldBase* field = hide<KrData::FieldBase>(container.add<double>("Speed"));
    std::int64_t calls = 0;
    std::vector<KrData::DelegateConnection> observers;
    for (int i = 0; i < state.range(0); ++i) {
        observers.push_back(field->addObserver([&calls](const KrData::FieldBase&) { ++calls; }));
    }
    Values values;
    const auto before = kr_benchmark::allocations();
    for (auto _ : state) {
        field->setRawValue(&values.next());
    }
    state.counters["allocations"] = static_cast<double>(kr_benchmark::allocations() - before);
    if (calls != state.iterations() * state.range(0)) state.SkipWithError("nobody was told");
}
BENCHMARK(BM_SetObserved)->Arg(1)->Arg(10);

/// Bytes of an unobserved double field: the object, and what it asks of the allocator besides.
void BM_DoubleFieldMemory(benchmark::State& state) {
    std::uint64_t asked = 0;
    std::uint64_t usable = 0;
    for (auto _ : state) {
        const auto askedBefore = kr_benchmark::bytesAsked();
        const auto usableBefore = kr_benchmark::bytesUsable();
        const auto field = std::make_unique<KrData::Field<double>>("Speed");
        field->setValue(12.0);
        asked = kr_benchmark::bytesAsked() - askedBefore;
        usable = kr_benchmark::bytesUsable() - usableBefore;
    }
    state.counters["bytes"] = static_cast<double>(asked);
    state.counters["sizeof"] = static_cast<double>(sizeof(KrData::Field<double>));
    state.counters["usable"] = static_cast<double>(usable);
}
BENCHMARK(BM_DoubleFieldMemory);

// --- Peers ----------------------------------------------------------------------------------------------------------

void BM_Signals2(benchmark::State& state) {
    boost::signals2::signal<void(double)> changed;
    std::int64_t calls = 0;
    for (int i = 0; i < state.range(0); ++i)
        changed.connect([&calls](double) { ++calls; });
    Values values;
    for (auto _ : state) {
        changed(values.next());
    }
    if (calls != state.iterations() * state.range(0)) state.SkipWithError("nobody was told");
}
BENCHMARK(BM_Signals2)->Arg(1)->Arg(10);

#ifdef KR_HAVE_GLIB

struct Vehicle {
    GObject parent;
    double speed;
};
struct VehicleClass {
    GObjectClass parent;
};

G_DEFINE_TYPE(Vehicle, vehicle, G_TYPE_OBJECT)

void vehicle_init(Vehicle* vehicle) {
    vehicle->speed = 0.0;
}

void vehicle_class_init(VehicleClass* vehicleClass) {
    auto* objectClass = G_OBJECT_CLASS(vehicleClass);
    objectClass->set_property = [](GObject* object, guint, const GValue* value, GParamSpec*) {
        reinterpret_cast<Vehicle*>(object)->speed = g_value_get_double(value);
    };
    objectClass->get_property = [](GObject* object, guint, GValue* value, GParamSpec*) {
        g_value_set_double(value, reinterpret_cast<Vehicle*>(object)->speed);
    };
    g_object_class_install_property(
        objectClass, 1,
        g_param_spec_double("speed", "Speed", "Speed", -1e300, 1e300, 0.0,
                            static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS)));
}

void BM_GObjectSetProperty(benchmark::State& state) {
    auto* object = static_cast<GObject*>(g_object_new(vehicle_get_type(), nullptr));
    GValue value = G_VALUE_INIT;
    g_value_init(&value, G_TYPE_DOUBLE);
    Values values;
    for (auto _ : state) {
        g_value_set_double(&value, values.next());
        g_object_set_property(object, "speed", &value);
    }
    if (reinterpret_cast<Vehicle*>(object)->speed != values.last()) state.SkipWithError("value lost");
    g_object_unref(object);
}
BENCHMARK(BM_GObjectSetProperty);

#endif

}  // namespace
