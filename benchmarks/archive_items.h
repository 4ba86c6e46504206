#pragma once

#include <boost/serialization/assume_abstract.hpp>
#include <boost/serialization/base_object.hpp>
#include <boost/serialization/nvp.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/vector.hpp>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kr/persistence/archives/export_class.h"

// Small objects behind pointers to their base. The program that archives them says KR_ARCHIVE_CLASS_IMPLEMENT.
namespace archive_benchmark {

struct Item {
    virtual ~Item() = default;
    template <class Archive>
    void serialize(Archive& archive, unsigned int /*version*/) {
        archive& BOOST_SERIALIZATION_NVP(name);
    }
    std::string name;
};

/// The same twice: with tracking, the default for objects behind pointers, and without.
template <bool kIsTracked>
struct WheelOf final : Item {
    template <class Archive>
    void serialize(Archive& archive, unsigned int /*version*/) {
        archive& BOOST_SERIALIZATION_BASE_OBJECT_NVP(Item);
        archive& BOOST_SERIALIZATION_NVP(radius);
        archive& BOOST_SERIALIZATION_NVP(width);
        archive& BOOST_SERIALIZATION_NVP(number);
    }
    double radius{0.3}, width{0.2};
    int number{0};
};

template <bool kIsTracked>
struct DoorOf final : Item {
    template <class Archive>
    void serialize(Archive& archive, unsigned int /*version*/) {
        archive& BOOST_SERIALIZATION_BASE_OBJECT_NVP(Item);
        archive& BOOST_SERIALIZATION_NVP(angle);
        archive& BOOST_SERIALIZATION_NVP(isOpen);
    }
    double angle{0};
    bool isOpen{false};
};

using Wheel = WheelOf<true>;
using Door = DoorOf<true>;
using LightWheel = WheelOf<false>;
using LightDoor = DoorOf<false>;

using Items = std::vector<std::unique_ptr<Item>>;

template <bool kIsTracked = true>
const Items& items() {
    static const Items made = [] {
        Items result;
        for (int i = 0; i < 100'000; ++i) {
            if (i % 2 == 0) {
                auto wheel = std::make_unique<WheelOf<kIsTracked>>();
                wheel->number = i;
                result.push_back(std::move(wheel));
            } else {
                result.push_back(std::make_unique<DoorOf<kIsTracked>>());
            }
            result.back()->name = "item " + std::to_string(i);
        }
        return result;
    }();
    return made;
}

inline void require(bool holds) {
    if (!holds) std::abort();
}

}  // namespace archive_benchmark

BOOST_CLASS_TRACKING(archive_benchmark::Item, boost::serialization::track_never)
BOOST_CLASS_TRACKING(archive_benchmark::LightWheel, boost::serialization::track_never)
BOOST_CLASS_TRACKING(archive_benchmark::LightDoor, boost::serialization::track_never)
KR_ARCHIVE_CLASS(archive_benchmark::Wheel, "Wheel")
KR_ARCHIVE_CLASS(archive_benchmark::Door, "Door")
