#pragma once

// list.hpp uses it without including it.
#include <boost/serialization/library_version_type.hpp>

#include <boost/serialization/list.hpp>
#include <boost/serialization/map.hpp>
#include <cstdlib>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <sstream>

#include "kr/platform/log.h"
#include "tests/persistence/archives/shapes.h"

// Whatever the bytes are: both faces of an archive refuse them with an exception or read them, and leave nothing.
namespace named_archive_fuzzer {

struct Everything {
    template <class Archive>
    void serialize(Archive& archive, unsigned int /*version*/) {
        archive& BOOST_SERIALIZATION_NVP(shape);
        if constexpr (Archive::is_loading::value) {
            if (shape != nullptr) archive.adopt(shape);
            owner.reset(shape);
        }
        archive& BOOST_SERIALIZATION_NVP(doubles);
        archive& BOOST_SERIALIZATION_NVP(numbers);
        archive& BOOST_SERIALIZATION_NVP(texts);
        archive& BOOST_SERIALIZATION_NVP(readings);
        archive& BOOST_SERIALIZATION_NVP(transform);
        archive& BOOST_SERIALIZATION_NVP(strangers);
        archive& BOOST_SERIALIZATION_NVP(stranger);
        if constexpr (Archive::is_loading::value) {
            if (stranger != nullptr) {
                archive.adopt(stranger);
                delete stranger;
            }
        }
    }
    shapes::Shape* shape{nullptr};
    std::unique_ptr<shapes::Shape> owner;
    std::vector<double> doubles;
    std::vector<unsigned int> numbers;
    std::map<std::string, short> texts;
    std::list<shapes::Reading> readings;
    Kr::KrTransform transform;
    std::list<shapes::Stranger> strangers;  // tracked values that move
    shapes::Stranger* stranger{nullptr};
};

inline void readValues(KrPersistence::ArchiveReader& reader, int depth) {
    int number = 0;
    unsigned long long wide = 0;
    double real = 0;
    bool flag = false;
    std::string text;
    std::vector<double> block;
    std::vector<int> integers;
    float tuple[3];
    reader.readIf("A", number);
    reader.readIf("B", wide);
    reader.readIf("C", real);
    reader.readIf("D", flag);
    reader.readIf("E", text);
    reader.optional("F", [&] { reader.readBlock("F", block); });
    reader.optional("G", [&] { reader.readBlock("G", integers); });
    reader.optional("H", [&] { reader.readTuple("H", tuple); });
    reader.optional("I", [&] { reader.readBytes("I", text); });
    reader.optional("J", [&] { text = reader.readRepeated("J"); });
    reader.optional("K", [&] { (void)reader.readChoice("K", [](std::string_view) { return std::optional<int>(); }); });
    reader.sequence("L", [&](std::size_t) { reader.read("Item", real); });
    reader.sequence("M", [&](std::size_t) { reader.read("Item", text); });
    if (depth > 6) return;
    reader.groupIf("N", [&] { readValues(reader, depth + 1); });
    reader.sequence("O", [&](std::size_t) { reader.group("Item", [&] { readValues(reader, depth + 1); }); });
    reader.sequence("P",
                    [&](std::size_t) { reader.sequence("Item", [&](std::size_t) { reader.read("Item", number); }); });
}

template <class Archive>
void run(const std::string& bytes) {
    Kr::LogSetLevel(Kr::eLogLevel::kOff);
    {
        Everything top;
        std::istringstream stream(bytes);
        Archive archive(stream, 0);
        try {
            archive >> boost::serialization::make_nvp("Top", top);
            archive.requireOwned();
        } catch (const std::exception&) {
            archive.delete_created_pointers();
        }
    }
    if (shapes::Shape::living() != 0) std::abort();
    std::istringstream stream(bytes);
    Archive archive(stream, 0);
    typename Archive::Reader reader(archive);
    try {
        reader.group("Top", [&] { readValues(reader, 0); });
    } catch (const std::exception&) {
        return;
    }
}

}  // namespace named_archive_fuzzer
