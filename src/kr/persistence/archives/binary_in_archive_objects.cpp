#include <boost/archive/detail/basic_pointer_iserializer.hpp>
#include <boost/serialization/void_cast.hpp>
#include <istream>
#include <limits>
#include <new>
#include <utility>

#include "kr/persistence/archives/archive_error.h"
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
      _sizeLimit(std::numeric_limits<std::uint64_t>::max()),
      _loaded(std::make_unique<detail::LoadedObjects>()) {
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

void BinaryInArchive::requireOwned() const {
    if (!_loaded->unowned.empty()) {
        _refuse(ba::archive_exception::pointer_conflict,
                std::to_string(_loaded->unowned.size()) + " objects that belong to nothing");
    }
}

void BinaryInArchive::delete_created_pointers() {
    _loaded->destroyUnowned();
}

void BinaryInArchive::_adopt(const void* object) {
    if (!_loaded->adopt(object))
        _refuse(ba::archive_exception::pointer_conflict, "an object that belongs to two owners, or to itself");
}

void BinaryInArchive::_move(const void* to, const void* from, std::size_t size) {
    _loaded->move(to, from, size);
}

void BinaryInArchive::register_basic_serializer(const Serializer& serializer) {
    _loaded->classOf(serializer);
}

void BinaryInArchive::_checkVersion(std::uint32_t version, const Serializer& serializer) const {
    const std::uint32_t known = detail::toNumber(serializer.version());
    if (version <= known) return;
    _refuse(ba::archive_exception::unsupported_class_version,
            std::string("version ") + std::to_string(version) + " of class " + serializer.get_eti().get_debug_info() +
                ", which is known up to version " + std::to_string(known));
}

/// Reads the information of a class where it stands, in front of the first object.
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
    if (auto& announced = loaded.announced;
        object == announced.address && &serializer == announced.serializer && !announced.isConstructed) {
        announced.isConstructed = true;
        if (serializer.tracking(0)) loaded.objects[announced.object].state = detail::LoadedObjects::eState::kFilling;
        return serializer.load_object_data(*this, object, announced.version);
    }

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

/// The number of the class behind a pointer, with all that stands before an object of it; -1 for a null pointer.
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
        const TypeInfo* type = name[0] != '\0' ? TypeInfo::find(name) : nullptr;
        const PointerSerializer* serializer = type != nullptr ? finder(*type) : nullptr;
        if (serializer == nullptr)
            _refuse(ba::archive_exception::unregistered_class, "class '" + std::string(name) + "', which is not known");
        if (_loaded->classOf(serializer->get_basic_serializer()) != number)
            _refuse(ba::archive_exception::input_stream_error, "class '" + std::string(name) + "' for the second time");
        classes[at].pointerSerializer = serializer;
    }
    if (classes[at].pointerSerializer == nullptr)
        _refuse(ba::archive_exception::unregistered_class, "a pointer to a class that is archived by value only");
    _loadPreamble(number);
    return number;
}

void BinaryInArchive::_checkFamily(std::int16_t number, const TypeInfo* target, const void* object) {
    auto& known = _loaded->classes[static_cast<std::size_t>(number)];
    if (target == nullptr || target == known.family) return;
    const TypeInfo& type = known.serializer->get_eti();
    if (type != *target && boost::serialization::void_upcast(type, *target, object) == nullptr) {
        _refuse(ba::archive_exception::unregistered_cast, std::string("an object of class ") + type.get_debug_info() +
                                                              " behind a pointer to " + target->get_debug_info());
    }
    known.family = target;
}

/// Makes the object of a pointer and fills it, or leaves nothing of it.
void* BinaryInArchive::_make(std::int16_t number, const TypeInfo* target) {
    using eState = detail::LoadedObjects::eState;
    detail::LoadedObjects& loaded = *_loaded;
    const auto known = loaded.classes[static_cast<std::size_t>(number)];  // a copy: the list grows
    const std::size_t place = loaded.objects.size();
    void* object = known.pointerSerializer->heap_allocation();
    const auto outer = loaded.announced;
    bool isConstructed = false;
    const auto restore = [&] {
        isConstructed = loaded.announced.isConstructed;
        loaded.announced = outer;
        --loaded.pointerLevel;
    };
    loaded.announced = {object, known.serializer, known.version, place, false};
    ++loaded.pointerLevel;
    try {
        if (known.isTracked) {
            loaded.unowned.reserve(loaded.unowned.size() + 1);
            loaded.objects.push_back({object, loaded.pointerLevel, number, eState::kRaw});
        }
        known.pointerSerializer->load_object_ptr(*this, object, known.version);
        _checkFamily(number, target, object);
    } catch (...) {
        restore();
        if (place < loaded.objects.size()) loaded.objects[place].state = eState::kGone;
        if (isConstructed) {
            known.serializer->destroy(object);
        } else {
            ::operator delete(object);
        }
        throw;
    }
    restore();
    if (known.isTracked) {
        loaded.objects[place].state = eState::kMade;
        loaded.unowned.push_back(static_cast<std::uint32_t>(place));
    }
    return object;
}

const BinaryInArchive::PointerSerializer* BinaryInArchive::load_pointer(void*& slot, const PointerSerializer* expected,
                                                                        PointerFinder finder) {
    using eState = detail::LoadedObjects::eState;
    detail::LoadedObjects& loaded = *_loaded;
    const TypeInfo* target = std::exchange(_target, nullptr);
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
                _refuse(ba::archive_exception::pointer_conflict, "a pointer to an object that cannot stand there");
            _checkFamily(number, target, before.address);
            slot = before.address;
            return loaded.classes[at].pointerSerializer;
        }
    }
    slot = _make(number, target);
    return loaded.classes[at].pointerSerializer;
}

}  // namespace KrPersistence
