// A chain of three extensions: connects them, runs them in a wrong order and in the one that the sorter finds, closes a
// loop, asks for the cycle, and opens it again by a queued connection. Draws the graph into signal_chain.dot beside the
// program.

#include <kr/foundation.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

using Kr::KrConnectionFactory;
using Kr::KrSmartPtr;
using KrSim::KrExtension;
using KrSim::KrExtensionSorter;

using Parts = Kr::KrArray<KrSmartPtr<KrExtension>>;

/// What the frames below call.
class Part : public KrSim::IExtension {
public:
    using IExtension::IExtension;
    virtual void step(double seconds) = 0;
};

/// Presses the less, the closer the speed comes to the target.
class Pedal final : public Part {
public:
    explicit Pedal(KrExtension* proxy) : Part(proxy, 1) {}
    KrSim::Input<double> speed{this, "Speed", {.dimension = Kr::kSpeed}};
    KrSim::Parameter<double> target{this, "Target", {.value = 3.0, .dimension = Kr::kSpeed}};
    KrSim::Output<double> position{this, "Position", {.min = 0.0, .max = 1.0}};

    void step(double) override { position = (target - speed) / 2.0; }
};

class Motor final : public Part {
public:
    explicit Motor(KrExtension* proxy) : Part(proxy, 1) {}
    KrSim::Input<double> pedal{this, "Pedal"};
    KrSim::Parameter<double> strength{this, "Strength", {.value = 300.0, .dimension = Kr::kTorque}};
    KrSim::Output<double> torque{this, "Torque", {.dimension = Kr::kTorque}};

    void step(double) override { torque = pedal * strength; }
};

class Wheel final : public Part {
public:
    explicit Wheel(KrExtension* proxy) : Part(proxy, 1) {}
    KrSim::Input<double> torque{this, "Torque", {.dimension = Kr::kTorque}};
    KrSim::Parameter<double> radius{this, "Radius", {.value = 0.25, .dimension = Kr::kLength}};
    KrSim::Parameter<double> load{this, "Load", {.value = 600.0, .dimension = Kr::kMass}};
    KrSim::Output<double> speed{this, "Speed", {.dimension = Kr::kSpeed}};

    void step(double seconds) override { speed = speed + torque / radius / load * seconds; }
};

/// An extension with its implementation, as the factory makes them of the types in plug-ins.
template <class T>
struct Made {
    explicit Made(const char* name) : implementation(*new T(proxy.get())) { proxy->setName(name); }

    KrSmartPtr<KrExtension> proxy = Kr::makeSmart<KrExtension>();
    T& implementation;  // belongs to the proxy
};

/// A separate chain, at rest. Its extensions are registered with the sorter in the wrong order.
struct Chain {
    Chain() {
        for (const auto& part : parts)
            KrExtensionSorter::instance().addExtension(part.get());
        KrConnectionFactory::connect(pedal.position.getField(), motor.pedal.getField());
        KrConnectionFactory::connect(motor.torque.getField(), wheel.torque.getField());
    }

    Made<Wheel> madeWheel{"Wheel"};
    Made<Motor> madeMotor{"Motor"};
    Made<Pedal> madePedal{"Pedal"};
    Wheel& wheel = madeWheel.implementation;
    Motor& motor = madeMotor.implementation;
    Pedal& pedal = madePedal.implementation;
    Parts parts{madeWheel.proxy, madeMotor.proxy, madePedal.proxy};
};

std::string namesOf(const Parts& parts) {
    std::string names;
    for (const auto& part : parts)
        names += (names.empty() ? "" : ", ") + part->getName();
    return names;
}

void print(const char* what, const KrData::FieldBase& field) {
    const auto value = Kr::KrPhysicalDimension::format(field.toReal(), field.getPhysicalDimension());
    std::printf("%s %s", what, value.c_str());
}

void run(const Chain& chain, const Parts& order, int frames) {
    for (int frame = 1; frame <= frames; ++frame) {
        for (const auto& part : order)
            part->getImplementationAs<Part>()->step(0.5);
        std::printf("  frame %d", frame);
        print(": pedal", *chain.pedal.position.getField());
        print(", torque", *chain.motor.torque.getField());
        print(", speed", *chain.wheel.speed.getField());
        std::printf("\n");
    }
}

void showOrder() {
    const Chain slow;
    std::printf("== In the order of registration: %s ==\n", namesOf(slow.parts).c_str());
    run(slow, slow.parts, 3);

    const Chain chain;
    auto order = chain.parts;
    KrExtensionSorter::instance().sortExtensions(order);
    std::printf("\n== In the order of the sorter: %s ==\n", namesOf(order).c_str());
    run(chain, order, 3);
}

void showCycle(const Chain& chain) {
    std::printf("\n== The speed connected back to the pedal ==\n");
    const Kr::KrConnection loop(chain.wheel.speed.getField(), chain.pedal.speed.getField());
    int number = 0;
    for (const auto& cycle : KrExtensionSorter::instance().getCycles()) {
        std::printf("  cycle %d:\n", ++number);
        for (std::size_t i = 0; i < cycle.steps.size(); ++i) {
            const auto& step = cycle.steps[i];
            const auto& next = cycle.steps[(i + 1) % cycle.steps.size()];
            std::printf("    %s %s -> %s %s\n", step.extension->getName().c_str(), step.sourceField.c_str(),
                        next.extension->getName().c_str(), step.sinkField.c_str());
        }
    }
    // The connection ends here, and the loop with it.
}

bool showFeedback(const Chain& chain, const std::filesystem::path& picture) {
    std::printf("\n== The same by a queued connection ==\n");
    const Kr::KrSimQueuedConnection feedback(chain.wheel.speed.getField(), chain.pedal.speed.getField());
    auto& sorter = KrExtensionSorter::instance();
    auto order = chain.parts;
    sorter.sortExtensions(order);
    std::printf("  %s; the pedal knows the speed of the frame before\n",
                sorter.hasGraphCycle() ? "still a cycle" : namesOf(order).c_str());
    run(chain, order, 5);

    std::ofstream file(picture);
    sorter.toDot(file);
    file.close();
    std::printf("  %s %s\n", file ? "the graph is drawn in" : "cannot write", proximate(picture).c_str());
    return static_cast<bool>(file);
}

}  // namespace

int main(int, char** arguments) {
    Kr::LogSetHandler([](Kr::eLogLevel, const char* format, std::va_list values) {
        std::printf("  log: ");
        std::vprintf(format, values);
    });
    showOrder();
    const Chain chain;
    showCycle(chain);
    return showFeedback(chain, std::filesystem::path(arguments[0]).parent_path() / "signal_chain.dot") ? 0 : 1;
}
