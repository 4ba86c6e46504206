// Stops with one object of each kind that the pretty printers show. See printers_test.py.

#include <string>

#include "kr/content/content_id.h"
#include "kr/data/vector.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/object.h"
#include "kr/extension/smart_interface.h"
#include "kr/extension/typed_field.h"
#include "kr/platform/fixed_string.h"
#include "kr/platform/weak_ptr.h"

namespace {

class Motor final : public KrSim::IExtension {
public:
    explicit Motor(KrSim::KrExtension* proxy) : IExtension(proxy, 1) {}
    KrSim::Input<double> pedal{this, "Pedal", {.value = 0.25}};
    KrSim::Parameter<std::string> label{this, "Label", {.value = "Vé 8"}};
};

[[gnu::noinline]] void stop(const void* all) {
    asm volatile("" : : "r"(all) : "memory");
}

}  // namespace

int main() {
    const Kr::KrID name("Speed");
    const Kr::KrID empty;
    const Kr::KrString<32> path("cars/a");
    const Kr::KrSmartPtr<KrSim::KrExtension> held(new KrSim::KrExtension);
    held->setName("Engine");
    KrSim::detail::ExtensionAccess::setContentID(*held, KrSim::KrContentID::createFromWords(1, 0xabc));
    const auto id = held->getContentID().getRuntimeID();
    auto* const motor = new Motor(held.get());
    const Kr::KrSmartPtr<KrSim::KrExtension> again(held);
    const Kr::KrSmartPtr<KrSim::KrExtension> null;
    const Kr::KrWeakPtr<KrSim::KrExtension> weak(held);
    Kr::KrWeakPtr<KrSim::KrExtension> expired;
    expired = Kr::KrSmartPtr<KrSim::KrExtension>(new KrSim::KrExtension);
    const KrSim::KrSmartInterface<Motor> interface(motor);
    KrData::Container group("Group");
    auto* const field = group.add<double>("Mass", 1.5);
    const KrData::FieldBase* const base = field;
    group.add<KrSim::KrExtension*>("Target", held.get());
    new KrData::Vector<int>("Items", &group, {3, 2, 1});
    group.addContainer("Inner")->add<bool>("On", true);
    const void* all[] = {&name, &empty, &path, &id, &again, &null, &weak, &expired, &interface, &base};
    stop(all);
    return 0;
}
