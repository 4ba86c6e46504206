#include <istream>
#include <limits>

#include "kr/persistence/archives/binary_in_archive.h"
#include "kr/persistence/archives/internal/binary_format.h"
#include "kr/persistence/archives/internal/loaded_objects.h"
#include "kr/persistence/archives/internal/nesting.h"

// Objects and pointers: which classes and objects an archive has brought, and who destroys them when it fails.

namespace ba = boost::archive;

namespace KrPersistence {
namespace {

constexpr char kName[] = "BinaryInArchive";

std::string describe(const char* what, std::uint64_t number, std::size_t count) {
    return std::string(what) + " " + std::to_string(number) + " where " + std::to_string(count) + " are known";
}

}  // namespace

BinaryInArchive::BinaryInArchive(std::istream& stream, std::uint32_t flags, OptimizationMode mode,
                                 std::uint32_t primitiveFlags)
    : Impl(stream, primitiveFlags | ba::no_header),
      KrArchive(flags),
      _optimizationMode(static_cast<std::uint32_t>(mode)),
      _sizeLimit(std::numeric_limits<std::uint64_t>::max()) {
    const std::streamoff start = m_sb.pubseekoff(0, std::ios::cur, std::ios::in);
    if (start >= 0) {
        _end = m_sb.pubseekoff(0, std::ios::end, std::ios::in);
        m_sb.pubseekpos(start, std::ios::in);
    } else {
        _sizeLimit = kUnknownEndLimit;
    }
    if ((flags & kNoHeader) == 0) _init();
}

BinaryInArchive::~BinaryInArchive() = default;

/// Reads the information of a class, which precedes its first object.
void BinaryInArchive::_loadPreamble(std::int16_t number) {
    auto& loaded = _loaded->classes[static_cast<std::size_t>(number)];
    if (loaded.isDescribed) return;
    const Serializer& serializer = *loaded.serializer;
    loaded.isTracked = serializer.tracking(0);
    if (serializer.class_info()) {
        bool isTracked = false;
        load(isTracked);
        ba::version_type version;
        load_override(version);
        _checkVersion(detail::toNumber(version), serializer);
        // Otherwise objects behind pointers would escape those who clear up.
        if (isTracked != loaded.isTracked)
            _refuse(ba::archive_exception::input_stream_error,
                    std::string("another tracking of class ") + serializer.get_eti().get_debug_info());
        loaded.version = detail::toNumber(version);
    }
    loaded.isDescribed = true;
}

void BinaryInArchive::load_object(void* object, const Serializer& serializer) {
    detail::LoadedObjects& loaded = *_loaded;
    if (_isCompact()) {
        const detail::Nesting nesting(loaded.depth, kName);
        std::uint32_t version = 0;
        load_binary(&version, sizeof version);
        _checkVersion(version, serializer);
        return serializer.load_object_data(*this, object, version);
    }
    if (_loadAnnounced(*this, object, serializer)) return;

    const detail::Nesting nesting(loaded.depth, kName);
    const std::int16_t number = loaded.classOf(serializer);
    _loadPreamble(number);
    const auto& known = loaded.classes[static_cast<std::size_t>(number)];
    const std::uint32_t version = known.version;
    const std::size_t first = loaded.objects.size();
    if (known.isTracked) {
        std::uint32_t id = 0;
        load_binary(&id, sizeof id);
        if (id > first) _refuse(ba::archive_exception::input_stream_error, describe("object", id, first));
        if (id < first) {
            // The same object once more.
            const auto& before = loaded.objects[id];
            if (before.number != number || before.address != object)
                _refuse(ba::archive_exception::pointer_conflict, "an object in the place of another");
            return;
        }
        loaded.objects.push_back({object, loaded.pointerLevel, number, detail::LoadedObjects::eState::kValue});
    }
    serializer.load_object_data(*this, object, version);
    loaded.recent = first;
}

/// Reads the number of the class behind a pointer, and all data before an object of it; -1 for a null pointer.
std::int16_t BinaryInArchive::_loadPointerClass(const PointerSerializer* expected, PointerFinder finder) {
    auto& classes = _loaded->classes;
    std::int16_t number = 0;
    load_binary(&number, sizeof number);
    if (number == -1) return number;
    if (_isCompact()) _refuse(ba::archive_exception::input_stream_error, "a pointer with an object in compact mode");
    const auto at = static_cast<std::size_t>(number);
    if (number < 0 || at > classes.size())
        _refuse(ba::archive_exception::input_stream_error,
                "class number " + std::to_string(number) + " where " + std::to_string(classes.size()) + " are known");
    if (at == classes.size()) {
        // Only a class that the pointer does not tell has a name.
        char name[BOOST_SERIALIZATION_MAX_KEY_SIZE];
        ba::class_name_type nameReader(name);
        if (expected != nullptr && !expected->get_basic_serializer().is_polymorphic())
            _refuse(ba::archive_exception::input_stream_error, "a class that does not fit its pointer");
        load_override(nameReader);
        if (_findClass(name, finder) != number)
            _refuse(ba::archive_exception::input_stream_error, "class '" + std::string(name) + "' for the second time");
    }
    if (classes[at].pointerSerializer == nullptr)
        _refuse(ba::archive_exception::unregistered_class, "a pointer to a class that is archived by value only");
    _loadPreamble(number);
    return number;
}

const BinaryInArchive::PointerSerializer* BinaryInArchive::load_pointer(void*& slot, const PointerSerializer* expected,
                                                                        PointerFinder finder) {
    using eState = detail::LoadedObjects::eState;
    detail::LoadedObjects& loaded = *_loaded;
    const TypeInfo* target = _takeTarget();
    slot = nullptr;
    const detail::Nesting nesting(loaded.depth, kName);
    const std::int16_t number = _loadPointerClass(expected, finder);
    if (number == -1) return expected;
    const auto at = static_cast<std::size_t>(number);
    if (loaded.classes[at].isTracked) {
        std::uint32_t id = 0;
        load_binary(&id, sizeof id);
        const std::size_t count = loaded.objects.size();
        if (id > count) _refuse(ba::archive_exception::input_stream_error, describe("object", id, count));
        if (id < count) {
            const auto before = loaded.objects[id];
            if (before.number != number || before.state == eState::kGone || before.state == eState::kRaw)
                _refuse(ba::archive_exception::pointer_conflict, "a pointer to an object that is not available");
            _checkFamily(number, target, before.address);
            slot = before.address;
            return loaded.classes[at].pointerSerializer;
        }
    }
    slot = _make(*this, number, loaded.classes[at].version, target);
    return loaded.classes[at].pointerSerializer;
}

}  // namespace KrPersistence
