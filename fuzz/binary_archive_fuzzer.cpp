// list.hpp uses it without including it.
#include <boost/serialization/library_version_type.hpp>

#include <boost/serialization/list.hpp>
#include <boost/serialization/map.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <map>
#include <sstream>

#include "kr/platform/log.h"
#include "tests/persistence/archives/shapes.h"

namespace {

using KrPersistence::BinaryInArchive;

void readAll(BinaryInArchive& archive, std::unique_ptr<shapes::Shape>& owner) {
    shapes::Shape* shape = nullptr;
    archive >> shape;
    if (shape != nullptr) archive.adopt(shape);
    owner.reset(shape);
    std::vector<double> doubles;
    std::vector<unsigned int> numbers;
    std::map<std::string, std::wstring> texts;
    std::list<shapes::Reading> readings;
    Kr::KrTransform transform;
    long number = 0;
    archive >> doubles >> numbers >> texts >> readings >> transform >> number;
    std::list<shapes::Stranger> strangers;  // tracked values that move
    shapes::Stranger* stranger = nullptr;
    archive >> strangers >> stranger;
    if (stranger != nullptr) {
        archive.adopt(stranger);
        delete stranger;
    }
    archive.requireOwned();
}

}  // namespace

// The first byte holds the flags, and in its highest bit the mode; what remains is the archive.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    Kr::LogSetLevel(Kr::eLogLevel::kOff);
    const auto mode = static_cast<BinaryInArchive::OptimizationMode>(data[0] >> 7U);
    std::istringstream stream(std::string(data + 1, data + size));
    {
        std::unique_ptr<shapes::Shape> owner;
        std::unique_ptr<BinaryInArchive> archive;
        try {
            archive = std::make_unique<BinaryInArchive>(stream, data[0] & 0x7fU, mode);
            readAll(*archive, owner);
        } catch (const std::exception&) {
            if (archive) archive->delete_created_pointers();
        }
    }
    if (shapes::Shape::living() != 0) std::abort();
    return 0;
}
