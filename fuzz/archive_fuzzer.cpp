// list.hpp uses it without including it.
#include <boost/serialization/library_version_type.hpp>

#include <boost/serialization/list.hpp>
#include <boost/serialization/map.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <map>
#include <optional>
#include <sstream>
#include <type_traits>

#include "kr/platform/log.h"
#include "tests/persistence/archives/shapes.h"

// Compiled for each kind of archive, whose reading class is KR_IN_ARCHIVE.
namespace {

using KrPersistence::BinaryInArchive;
using Archive = KrPersistence::KR_IN_ARCHIVE;
constexpr bool kIsBinary = std::is_same_v<Archive, BinaryInArchive>;

struct Everything {
    template <class In>
    void serialize(In& archive, unsigned int /*version*/) {
        archive& BOOST_SERIALIZATION_NVP(shape);
        if (shape != nullptr) archive.adopt(shape);
        owner.reset(shape);
        archive& BOOST_SERIALIZATION_NVP(doubles);
        archive& BOOST_SERIALIZATION_NVP(numbers);
        archive& BOOST_SERIALIZATION_NVP(texts);
        archive& BOOST_SERIALIZATION_NVP(readings);
        archive& BOOST_SERIALIZATION_NVP(transform);
        if constexpr (kIsBinary) archive& BOOST_SERIALIZATION_NVP(number);
        archive& BOOST_SERIALIZATION_NVP(strangers);
        archive& BOOST_SERIALIZATION_NVP(stranger);
        if (stranger == nullptr) return;
        archive.adopt(stranger);
        delete stranger;
    }
    shapes::Shape* shape{nullptr};
    std::unique_ptr<shapes::Shape> owner;
    std::vector<double> doubles;
    std::vector<unsigned int> numbers;
    std::map<std::string, std::conditional_t<kIsBinary, std::wstring, short>> texts;
    std::list<shapes::Reading> readings;
    Kr::KrTransform transform;
    long number{0};
    std::list<shapes::Stranger> strangers;  // tracked values that move
    shapes::Stranger* stranger{nullptr};
};

void readValues(KrPersistence::ArchiveReader& reader, int depth) {
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

/// Archives of binary bytes take their flags, and in its highest bit the mode, from the first byte.
std::unique_ptr<Archive> open(std::istream& stream, std::uint8_t first) {
    if constexpr (kIsBinary) {
        return std::make_unique<Archive>(stream, first & 0x7fU,
                                         static_cast<BinaryInArchive::OptimizationMode>(first >> 7U));
    } else {
        return std::make_unique<Archive>(stream, 0);
    }
}

/// What is thrown is a refusal.
template <class Read>
void read(const std::string& bytes, std::uint8_t first, const Read& readAll) {
    std::istringstream stream(bytes);
    std::unique_ptr<Archive> archive;
    try {
        archive = open(stream, first);
        readAll(*archive);
    } catch (const std::exception&) {
        if (archive) archive->delete_created_pointers();
    }
}

}  // namespace

// Whatever the bytes are: both faces of an archive refuse them with an exception or read them, and leave nothing.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Kr::LogSetLevel(Kr::eLogLevel::kOff);
    if (kIsBinary && size == 0) return 0;
    const std::string bytes(data + (kIsBinary ? 1 : 0), data + size);
    const std::uint8_t first = kIsBinary ? data[0] : std::uint8_t{0};
    {
        Everything top;
        read(bytes, first, [&](Archive& archive) {
            if constexpr (kIsBinary) {
                top.serialize(archive, 0);
            } else {
                archive >> boost::serialization::make_nvp("Top", top);
            }
            archive.requireOwned();
        });
    }
    if (shapes::Shape::living() != 0) std::abort();
    read(bytes, first, [](Archive& archive) {
        Archive::Reader reader(archive);
        reader.group("Top", [&] { readValues(reader, 0); });
    });
    return 0;
}
