#include "kr/persistence/archives/binary_out_archive.h"

#include <algorithm>
#include <array>
#include <boost/archive/detail/basic_pointer_oserializer.hpp>
#include <limits>
#include <ostream>

#include "kr/persistence/archives/archive_error.h"
#include "kr/persistence/archives/internal/binary_format.h"
#include "kr/persistence/archives/internal/nesting.h"
#include "kr/persistence/archives/internal/saved_objects.h"

namespace ba = boost::archive;

namespace KrPersistence {
namespace {

constexpr char kName[] = "BinaryOutArchive";

}  // namespace

BinaryOutArchive::BinaryOutArchive(std::ostream& stream, std::uint32_t flags)
    : BinaryOutArchive(stream, flags, OptimizationMode::kNormal) {}

BinaryOutArchive::BinaryOutArchive(std::ostream& stream, std::uint32_t flags, OptimizationMode mode)
    : BinaryOutArchive(stream, flags, mode, ba::no_codecvt) {}

BinaryOutArchive::BinaryOutArchive(std::ostream& stream, std::uint32_t flags, OptimizationMode mode,
                                   std::uint32_t primitiveFlags)
    : Impl(stream, primitiveFlags | ba::no_header),
      KrArchive(flags),
      _optimizationMode(static_cast<std::uint32_t>(mode)),
      _saved(std::make_unique<detail::SavedObjects>()) {
    if ((flags & kNoHeader) == 0) _writeHeader();
}

BinaryOutArchive::~BinaryOutArchive() = default;

void BinaryOutArchive::_writeHeader() {
    save_binary(detail::kArchiveIdentifier, sizeof detail::kArchiveIdentifier);
    save_binary(&detail::kHeaderValue, sizeof detail::kHeaderValue);
    save(std::string(ba::BOOST_ARCHIVE_SIGNATURE()));
    const std::uint16_t libraryVersion = detail::toNumber(ba::BOOST_ARCHIVE_VERSION());
    save_binary(&libraryVersion, sizeof libraryVersion);
    const std::uint8_t sizes[] = {detail::kSizeOfInt, detail::kSizeOfLong, detail::kSizeOfFloat, detail::kSizeOfDouble};
    save_binary(sizes, sizeof sizes);
    save_binary(&detail::kByteOrderTest, sizeof detail::kByteOrderTest);
}

void BinaryOutArchive::save_override(const ba::version_type& version) {
    const std::uint32_t value = detail::toNumber(version);
    if ((getArchiveFlags() & kByteVersions) == 0) return save(static_cast<unsigned int>(value));
    if (value > std::numeric_limits<std::uint8_t>::max()) {
        throw ArchiveError(ba::archive_exception::unsupported_class_version,
                           std::string(kName) + ": class version " + std::to_string(value) +
                               " does not fit into one byte; save without the flag for byte-wide versions");
    }
    const auto narrow = static_cast<std::uint8_t>(value);
    save_binary(&narrow, sizeof narrow);
}

void BinaryOutArchive::save(unsigned int value) {
    const std::uint64_t wide = value;
    save_binary(&wide, sizeof wide);
}

void BinaryOutArchive::save(long value) {
    const auto narrow = static_cast<std::int32_t>(value);
    if (narrow != value) {
        throw ArchiveError(ba::archive_exception::other_exception,
                           std::string(kName) + ": the long " + std::to_string(value) +
                               " does not fit into its 4 bytes; archive it as long long");
    }
    save_binary(&narrow, sizeof narrow);
}

void BinaryOutArchive::save(const boost::serialization::collection_size_type& count) {
    const std::uint64_t wide{static_cast<std::size_t>(count)};
    save_binary(&wide, sizeof wide);
}

void BinaryOutArchive::save(const Kr::KrTransform& transform) {
    if (!_isCompact()) return save_binary(transform.m, sizeof transform.m);
    constexpr std::uint32_t version = 0;
    save_binary(&version, sizeof version);
    Kr::KrTransform rotated = transform;
    // A mirror has no rotation near it: it keeps its full matrix.
    const bool isRigid = transform.isFinite() && transform.isValid() && rotated.orthonormalize();
    save(isRigid);
    if (!isRigid) return _saveFloats(transform.m, std::size(transform.m));
    const auto translation = rotated.getTranslation();
    const auto rotation = rotated.getRotation();
    save_binary(&version, sizeof version);
    _saveFloats(std::array{translation.x, translation.y, translation.z}.data(), 3);
    save_binary(&version, sizeof version);
    _saveFloats(std::array{rotation.x, rotation.y, rotation.z, rotation.w}.data(), 4);
}

void BinaryOutArchive::_saveFloats(const double* values, std::size_t count) {
    std::array<float, 256> block{};
    while (count > 0) {
        const std::size_t part = std::min(count, block.size());
        std::transform(values, values + part, block.begin(), [](double value) { return static_cast<float>(value); });
        save_binary(block.data(), part * sizeof(float));  // throws when the stream takes less
        values += part;
        count -= part;
    }
}

void BinaryOutArchive::register_basic_serializer(const ba::detail::basic_oserializer& serializer) {
    _saved->classOf(serializer);
}

void BinaryOutArchive::save_object(const void* object, const ba::detail::basic_oserializer& serializer) {
    detail::SavedObjects& saved = *_saved;
    if (_isCompact()) {
        const detail::Nesting nesting(saved.depth, kName);
        const std::uint32_t version = detail::toNumber(serializer.version());
        save_binary(&version, sizeof version);
        return serializer.save_object_data(*this, object);
    }
    if (object == saved.announced && &serializer == saved.announcedSerializer)
        return serializer.save_object_data(*this, object);

    const detail::Nesting nesting(saved.depth, kName);
    const std::int16_t number = saved.classOf(serializer).first;
    const auto at = static_cast<std::size_t>(number);
    const bool isTracked = serializer.tracking(0);
    if (serializer.class_info() && !saved.isDescribed[at]) {
        *this << ba::tracking_type(isTracked);
        *this << serializer.version();
        saved.isDescribed[at] = true;
    }
    if (isTracked) {
        const auto [entry, isNew] = saved.objects.add(object, number, saved.objects.size());
        if (!isNew && entry->isPointer) detail::refuseLateValue(serializer, kName);
        *this << ba::object_id_type(entry->number);
        if (!isNew) return;
    }
    serializer.save_object_data(*this, object);
}

void BinaryOutArchive::save_pointer(const void* object,
                                    const ba::detail::basic_pointer_oserializer* pointerSerializer) {
    if (_isCompact()) return save_null_pointer();

    detail::SavedObjects& saved = *_saved;
    const detail::Nesting nesting(saved.depth, kName);
    const auto& serializer = pointerSerializer->get_basic_serializer();
    const auto [number, isNewClass] = saved.classOf(serializer);
    const bool isTracked = serializer.tracking(0);
    *this << ba::class_id_type(static_cast<int>(number));
    if (const auto at = static_cast<std::size_t>(number); !saved.isDescribed[at]) {
        if (isNewClass && serializer.is_polymorphic()) {
            *this << ba::class_name_type(detail::keyOf(serializer, kName));
        }
        if (serializer.class_info()) {
            *this << ba::tracking_type(isTracked);
            *this << serializer.version();
        }
        saved.isDescribed[at] = true;
    }
    if (isTracked) {
        const auto [entry, isNew] = saved.objects.add(object, number, saved.objects.size());
        *this << ba::object_id_type(entry->number);
        if (!isNew) return;
        entry->isPointer = true;
    }
    const detail::Announcement announcement(saved, object, &serializer);
    pointerSerializer->save_object_ptr(*this, object);
}

bool BinaryOutArchive::_saveKnown(const void* object, const std::type_info& type, const std::type_info& pointedTo) {
    const auto* serializer = _isCompact() ? nullptr : _saved->serializerOf(type, pointedTo);
    if (serializer == nullptr) return false;
    save_pointer(object, serializer);
    return true;
}

void BinaryOutArchive::_note(const std::type_info& type, const std::type_info& pointedTo,
                             const ba::detail::basic_serializer* serializer) {
    if (serializer == nullptr) return;
    _saved->noteSerializer(type, pointedTo, static_cast<const ba::detail::basic_pointer_oserializer*>(serializer));
}

}  // namespace KrPersistence
