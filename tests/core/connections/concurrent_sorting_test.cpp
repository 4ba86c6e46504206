// Threads that sort their own content by the common order, each while the others make, move and destroy theirs.

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>

#include "kr/core/connections/connection.h"
#include "kr/extension/object.h"
#include "kr/extension/order/extension_sorter.h"
#include "tests/support/stress.h"

namespace concurrent_sorting_test {

using namespace test_support;
using Kr::KrConnection;
using Kr::KrSmartPtr;
using KrData::Types;
using KrSim::KrExtension;
using KrSim::KrExtensionSorter;
using KrSim::KrObject;

/// A registered object with a part that is not: the object represents the part in the order.
struct Unit {
    explicit Unit(const std::string& name) {
        object->setName(name.c_str());
        part->addInput("In", Types::kDouble);
        part->addOutput("Out", Types::kDouble);
        object->add(part.get());
        KrExtensionSorter::instance().addExtension(object.get());
    }

    KrSmartPtr<KrObject> object = Kr::makeSmart<KrObject>();
    KrSmartPtr<KrExtension> part = Kr::makeSmart<KrExtension>();
};

bool runsBefore(const Unit& first, const Unit& second) {
    Kr::KrArray<KrSmartPtr<KrExtension>> list;
    list.append(KrSmartPtr<KrExtension>(second.object.get()));
    list.append(KrSmartPtr<KrExtension>(first.object.get()));
    KrExtensionSorter::instance().sortExtensions(list);
    return list[0].get() == first.object.get();
}

TEST(ConcurrentSorting, OrdersEachThreadsContentWhileOthersChangeTheirs) {
    std::atomic<int> wrong{0};
    runStress(
        stressRounds(40, 200),
        [&](int thread, int round) {
            const Unit registeredFirst("sink"), registeredLast("source");
            auto connection = std::make_unique<KrConnection>(registeredLast.part->getOutput("Out"),
                                                             registeredFirst.part->getInput("In"));
            if (!runsBefore(registeredLast, registeredFirst)) ++wrong;
            // Each way in which a connection stops to order: it ends, its field dies, its extension gets another owner.
            switch ((thread + round) % 3) {
                case 0:
                    connection.reset();
                    break;
                case 1:
                    registeredFirst.part->removeInput("In");
                    break;
                default:
                    registeredFirst.object->remove(registeredFirst.part.get());
            }
            registeredFirst.object->setName("renamed");
            if (!runsBefore(registeredFirst, registeredLast)) ++wrong;
        },
        [] {
            auto& sorter = KrExtensionSorter::instance();
            static_cast<void>(sorter.getGlobalOrder());
            static_cast<void>(sorter.getConnectionsBetween(nullptr, nullptr));
        });
    EXPECT_EQ(wrong, 0);
}

}  // namespace concurrent_sorting_test
