// Saving and loading a million doubles and 100,000 small objects in memory as XML and JSON, beside Boost's XML archive
// with the same classes and RapidJSON with code for them.

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <boost/archive/xml_iarchive.hpp>
#include <boost/archive/xml_oarchive.hpp>
#include <boost/interprocess/streams/bufferstream.hpp>
#include <cstddef>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "benchmarks/archive_items.h"
#include "kr/persistence/archives/archive_sequence.h"

KR_ARCHIVE_CLASS_IMPLEMENT(archive_benchmark::Wheel)
KR_ARCHIVE_CLASS_IMPLEMENT(archive_benchmark::Door)

namespace archive_benchmark {
namespace {

const std::vector<double>& doubles() {
    static const std::vector<double> made = [] {
        std::mt19937_64 random(20200300);
        std::uniform_real_distribution<double> distribution(-1000, 1000);
        std::vector<double> values(1'000'000);
        for (double& each : values)
            each = distribution(random);
        return values;
    }();
    return made;
}

constexpr std::size_t kRoom = std::size_t{64} << 20U;  // for a document; none grows while it is written

struct Loaded {
    std::vector<double> doubles;
    Items items;
};

void saveItem(auto& archive, std::size_t i) {
    const Item* item = items()[i].get();
    archive << BOOST_SERIALIZATION_NVP(item);
}

void loadItem(auto& archive, Items& loaded) {
    Item* item = nullptr;
    archive >> BOOST_SERIALIZATION_NVP(item);
    loaded.emplace_back(item);
}

// --- Ours ------------------------------------------------------------------------------------------------------------

struct Content {
    template <class Archive>
    void serialize(Archive& archive, unsigned int /*version*/) {
        if constexpr (Archive::is_loading::value) {
            typename Archive::Reader(archive).readBlock("doubles", loaded->doubles);
            KrPersistence::loadSequence(archive, "items", [&](std::size_t) {
                loadItem(archive, loaded->items);
                archive.adopt(loaded->items.back().get());
            });
            archive.requireOwned();
        } else {
            typename Archive::Writer(archive).writeBlock("doubles", std::span<const double>(doubles()));
            KrPersistence::saveSequence(archive, "items", items().size(), [&](std::size_t i) { saveItem(archive, i); });
        }
    }
    Loaded* loaded{nullptr};
};

template <class OutArchive, class InArchive>
struct Ours {
    static std::string save() {
        const auto room = std::make_unique_for_overwrite<char[]>(kRoom);
        boost::interprocess::obufferstream stream(room.get(), kRoom);
        OutArchive archive(stream, 0);
        const Content content;
        archive << BOOST_SERIALIZATION_NVP(content);
        return {room.get(), static_cast<std::size_t>(stream.tellp())};
    }
    static Loaded load(const std::string& bytes) {
        boost::interprocess::ibufferstream stream(bytes.data(), bytes.size());
        InArchive archive(stream, 0);
        Loaded loaded;
        Content content{&loaded};
        archive >> BOOST_SERIALIZATION_NVP(content);
        return loaded;
    }
};
using OurJson = Ours<KrPersistence::JsonOutArchive, KrPersistence::JsonInArchive>;
using OurXml = Ours<KrPersistence::XmlOutArchive, KrPersistence::XmlInArchive>;

// --- Peers -----------------------------------------------------------------------------------------------------------

struct BoostXml {
    static std::string save() {
        const auto room = std::make_unique_for_overwrite<char[]>(kRoom);
        boost::interprocess::obufferstream stream(room.get(), kRoom);
        {
            boost::archive::xml_oarchive archive(stream);
            archive << boost::serialization::make_nvp("doubles", doubles());
            for (std::size_t i = 0; i < items().size(); ++i)
                saveItem(archive, i);
        }
        return {room.get(), static_cast<std::size_t>(stream.tellp())};
    }
    static Loaded load(const std::string& bytes) {
        boost::interprocess::ibufferstream stream(bytes.data(), bytes.size());
        boost::archive::xml_iarchive archive(stream);
        Loaded loaded;
        archive >> boost::serialization::make_nvp("doubles", loaded.doubles);
        for (std::size_t i = 0; i < items().size(); ++i)
            loadItem(archive, loaded.items);
        return loaded;
    }
};

/// Writes from events, without a document; reads through a document, numbers exactly.
struct RapidJson {
    static std::string save() {
        rapidjson::StringBuffer buffer(nullptr, kRoom);
        rapidjson::PrettyWriter writer(buffer);
        writer.SetIndent(' ', 1);
        writer.StartObject();
        writer.Key("doubles");
        writer.StartArray();
        for (const double each : doubles())
            writer.Double(each);
        writer.EndArray();
        writer.Key("items");
        writer.StartArray();
        for (const auto& each : items()) {
            writer.StartObject();
            writer.Key("class");
            const auto* wheel = dynamic_cast<const Wheel*>(each.get());
            writer.String(wheel != nullptr ? "Wheel" : "Door");
            writer.Key("name");
            writer.String(each->name.c_str(), static_cast<rapidjson::SizeType>(each->name.size()));
            if (wheel != nullptr) {
                writer.Key("radius");
                writer.Double(wheel->radius);
                writer.Key("width");
                writer.Double(wheel->width);
                writer.Key("number");
                writer.Int(wheel->number);
            } else {
                const auto& door = dynamic_cast<const Door&>(*each);
                writer.Key("angle");
                writer.Double(door.angle);
                writer.Key("isOpen");
                writer.Bool(door.isOpen);
            }
            writer.EndObject();
        }
        writer.EndArray();
        writer.EndObject();
        return {buffer.GetString(), buffer.GetSize()};
    }
    static Loaded load(const std::string& bytes) {
        rapidjson::Document document;
        document.Parse<rapidjson::kParseFullPrecisionFlag>(bytes.data(), bytes.size());
        Loaded loaded;
        for (const auto& each : document["doubles"].GetArray())
            loaded.doubles.push_back(each.GetDouble());
        for (const auto& each : document["items"].GetArray()) {
            if (std::string(each["class"].GetString()) == "Wheel") {
                auto wheel = std::make_unique<Wheel>();
                wheel->radius = each["radius"].GetDouble();
                wheel->width = each["width"].GetDouble();
                wheel->number = each["number"].GetInt();
                loaded.items.push_back(std::move(wheel));
            } else {
                auto door = std::make_unique<Door>();
                door->angle = each["angle"].GetDouble();
                door->isOpen = each["isOpen"].GetBool();
                loaded.items.push_back(std::move(door));
            }
            loaded.items.back()->name = each["name"].GetString();
        }
        return loaded;
    }
};

template <class Kind>
void check(const std::string& bytes) {
    const Loaded loaded = Kind::load(bytes);
    require(loaded.doubles == doubles() && loaded.items.size() == items().size());
    require(loaded.items.back()->name == items().back()->name);
}

template <class Kind>
void BM_Save(benchmark::State& state) {
    std::string bytes;
    for (auto _ : state)
        benchmark::DoNotOptimize(bytes = Kind::save());
    check<Kind>(bytes);
    state.counters["MB"] = static_cast<double>(bytes.size()) / 1e6;
}

template <class Kind>
void BM_Load(benchmark::State& state) {
    const std::string bytes = Kind::save();
    for (auto _ : state) {
        const Loaded loaded = Kind::load(bytes);
        benchmark::DoNotOptimize(loaded.items.data());
    }
    check<Kind>(bytes);
}

BENCHMARK(BM_Save<OurJson>)->Name("BM_SaveJson");
BENCHMARK(BM_Save<RapidJson>)->Name("BM_RapidJsonSave");
BENCHMARK(BM_Load<OurJson>)->Name("BM_LoadJson");
BENCHMARK(BM_Load<RapidJson>)->Name("BM_RapidJsonLoad");
BENCHMARK(BM_Save<OurXml>)->Name("BM_SaveXml");
BENCHMARK(BM_Save<BoostXml>)->Name("BM_BoostXmlSave");
BENCHMARK(BM_Load<OurXml>)->Name("BM_LoadXml");
BENCHMARK(BM_Load<BoostXml>)->Name("BM_BoostXmlLoad");

}  // namespace
}  // namespace archive_benchmark
