#pragma once

#include <boost/serialization/access.hpp>
#include <boost/serialization/assume_abstract.hpp>
#include <boost/serialization/base_object.hpp>
#include <boost/serialization/nvp.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/vector.hpp>
#include <boost/serialization/version.hpp>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "kr/persistence/archives/archive_sequence.h"
#include "kr/persistence/archives/export_class.h"

// Classes as plug-ins have them: a tree of shapes, some of which refer to others.
namespace shapes {

struct Shape {
    Shape() { ++living(); }
    Shape(const Shape&) = delete;
    Shape& operator=(const Shape&) = delete;
    virtual ~Shape() { --living(); }
    virtual double area() const = 0;

    static int& living() {
        static int count = 0;
        return count;
    }
    template <class Archive>
    void serialize(Archive& archive, unsigned int /*version*/) {
        archive& BOOST_SERIALIZATION_NVP(name);
    }

    std::string name;
};

struct Circle final : Shape {
    double area() const override { return 3 * radius * radius; }
    template <class Archive>
    void serialize(Archive& archive, unsigned int version) {
        archive& BOOST_SERIALIZATION_BASE_OBJECT_NVP(Shape);
        archive& BOOST_SERIALIZATION_NVP(radius);
        readVersion = version;
    }

    double radius{1};
    unsigned int readVersion{0};
};

/// Owns its members and knows a friend.
struct Group final : Shape {
    double area() const override { return 0; }
    template <class Archive>
    void serialize(Archive& archive, unsigned int /*version*/) {
        archive& BOOST_SERIALIZATION_BASE_OBJECT_NVP(Shape);
        if constexpr (Archive::is_loading::value) {
            KrPersistence::loadSequence(archive, "members", [&](std::size_t) {
                Shape* member = nullptr;
                archive >> BOOST_SERIALIZATION_NVP(member);
                if (member != nullptr) archive.adopt(member);
                members.emplace_back(member);
            });
        } else {
            KrPersistence::saveSequence(archive, "members", members.size(), [&](std::size_t i) {
                const Shape* member = members[i].get();
                archive << BOOST_SERIALIZATION_NVP(member);
            });
        }
        archive& BOOST_SERIALIZATION_NVP(linked);
    }

    std::vector<std::unique_ptr<Shape>> members;
    Shape* linked{nullptr};
};

/// Of no family with shapes.
struct Stranger {
    virtual ~Stranger() = default;
    template <class Archive>
    void serialize(Archive& archive, unsigned int /*version*/) {
        archive& BOOST_SERIALIZATION_NVP(number);
    }
    int number{5};
};

/// A value with a version.
struct Reading {
    template <class Archive>
    void serialize(Archive& archive, unsigned int version) {
        archive& BOOST_SERIALIZATION_NVP(count);
        archive& BOOST_SERIALIZATION_NVP(value);
        if (Archive::is_loading::value) readVersion = version;
    }
    int count{0};
    double value{0};
    unsigned int readVersion{0};
};

}  // namespace shapes

BOOST_SERIALIZATION_ASSUME_ABSTRACT(shapes::Shape)
BOOST_CLASS_IMPLEMENTATION(shapes::Shape, boost::serialization::object_serializable)
BOOST_CLASS_TRACKING(shapes::Shape, boost::serialization::track_never)
KR_ARCHIVE_CLASS(shapes::Circle, "Circle")
BOOST_CLASS_VERSION(shapes::Circle, 2)
KR_ARCHIVE_CLASS(shapes::Group, "Group")
KR_ARCHIVE_CLASS(shapes::Stranger, "Stranger")
BOOST_CLASS_VERSION(shapes::Reading, 3)
BOOST_CLASS_TRACKING(shapes::Reading, boost::serialization::track_never)
