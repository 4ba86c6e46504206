#include "kr/persistence/archives/in_archive_objects.h"

#include <boost/serialization/void_cast.hpp>
#include <new>
#include <utility>

#include "kr/persistence/archives/archive_error.h"
#include "kr/persistence/archives/internal/binary_format.h"
#include "kr/persistence/archives/internal/loaded_objects.h"

namespace ba = boost::archive;

namespace KrPersistence {

InArchiveObjects::InArchiveObjects() : _loaded(std::make_unique<detail::LoadedObjects>()) {}

InArchiveObjects::~InArchiveObjects() = default;

void InArchiveObjects::requireOwned() const {
    if (!_loaded->unowned.empty()) {
        _refuse(ba::archive_exception::pointer_conflict,
                std::to_string(_loaded->unowned.size()) + " objects that belong to nothing");
    }
}

void InArchiveObjects::delete_created_pointers() {
    _loaded->destroyUnowned();
}

void InArchiveObjects::refuse(const std::string& text) const {
    _refuse(ba::archive_exception::input_stream_error, text);
}

void InArchiveObjects::_refuse(ErrorCode code, const std::string& text) const {
    throw ArchiveError(code, _describe(text), _getPlace());
}

void InArchiveObjects::register_basic_serializer(const Serializer& serializer) {
    _loaded->classOf(serializer);
}

const InArchiveObjects::TypeInfo* InArchiveObjects::_takeTarget() noexcept {
    return std::exchange(_target, nullptr);
}

void InArchiveObjects::_adopt(const void* object) {
    if (!_loaded->adopt(object))
        _refuse(ba::archive_exception::pointer_conflict, "an object that belongs to two owners, or to itself");
}

void InArchiveObjects::_move(const void* to, const void* from, std::size_t size) {
    _loaded->move(to, from, size);
}

bool InArchiveObjects::_loadAnnounced(BasicArchive& archive, void* object, const Serializer& serializer) {
    auto& announced = _loaded->announced;
    if (object != announced.address || &serializer != announced.serializer || announced.isConstructed) return false;
    announced.isConstructed = true;
    if (serializer.tracking(0)) _loaded->objects[announced.object].state = detail::LoadedObjects::eState::kFilling;
    serializer.load_object_data(archive, object, announced.version);
    return true;
}

std::int16_t InArchiveObjects::_findClass(const char* name, PointerFinder finder) {
    const TypeInfo* type = name[0] != '\0' ? TypeInfo::find(name) : nullptr;
    const PointerSerializer* serializer = type != nullptr ? finder(*type) : nullptr;
    if (serializer == nullptr)
        _refuse(ba::archive_exception::unregistered_class, "class '" + std::string(name) + "', which is not known");
    const std::int16_t number = _loaded->classOf(serializer->get_basic_serializer());
    _loaded->classes[static_cast<std::size_t>(number)].pointerSerializer = serializer;
    return number;
}

void InArchiveObjects::_checkVersion(std::uint32_t version, const Serializer& serializer) const {
    const std::uint32_t known = detail::toNumber(serializer.version());
    if (version <= known) return;
    _refuse(ba::archive_exception::unsupported_class_version,
            std::string("version ") + std::to_string(version) + " of class " + serializer.get_eti().get_debug_info() +
                ", which is known up to version " + std::to_string(known));
}

void InArchiveObjects::_checkFamily(std::int16_t number, const TypeInfo* target, const void* object) {
    auto& known = _loaded->classes[static_cast<std::size_t>(number)];
    if (target == nullptr || target == known.family) return;
    const TypeInfo& type = known.serializer->get_eti();
    if (type != *target && boost::serialization::void_upcast(type, *target, object) == nullptr) {
        _refuse(ba::archive_exception::unregistered_cast, std::string("an object of class ") + type.get_debug_info() +
                                                              " behind a pointer to " + target->get_debug_info());
    }
    known.family = target;
}

void* InArchiveObjects::_make(BasicArchive& archive, std::int16_t number, std::uint32_t version,
                              const TypeInfo* target) {
    using eState = detail::LoadedObjects::eState;
    detail::LoadedObjects& loaded = *_loaded;
    const auto known = loaded.classes[static_cast<std::size_t>(number)];  // a copy: the list grows
    const bool isTracked = known.serializer->tracking(0);
    const std::size_t place = loaded.objects.size();
    void* object = known.pointerSerializer->heap_allocation();
    const auto outer = loaded.announced;
    bool isConstructed = false;
    const auto restore = [&] {
        isConstructed = loaded.announced.isConstructed;
        loaded.announced = outer;
        --loaded.pointerLevel;
    };
    loaded.announced = {object, known.serializer, version, place, false};
    ++loaded.pointerLevel;
    try {
        if (isTracked) {
            if (loaded.unowned.size() == loaded.unowned.capacity())
                loaded.unowned.reserve(2 * loaded.unowned.size() + 16);
            loaded.objects.push_back({object, loaded.pointerLevel, number, eState::kRaw});
        }
        known.pointerSerializer->load_object_ptr(archive, object, version);
        _checkFamily(number, target, object);
    } catch (...) {
        restore();
        if (isTracked && place < loaded.objects.size()) loaded.objects[place].state = eState::kGone;
        if (isConstructed) {
            known.serializer->destroy(object);
        } else {
            ::operator delete(object);
        }
        throw;
    }
    restore();
    if (isTracked) {
        loaded.objects[place].state = eState::kMade;
        loaded.unowned.push_back(static_cast<std::uint32_t>(place));
    }
    return object;
}

}  // namespace KrPersistence
