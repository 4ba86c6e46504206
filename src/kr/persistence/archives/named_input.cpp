#include "kr/persistence/archives/named_input.h"

#include <cstring>
#include <span>
#include <type_traits>

#include "kr/persistence/archives/internal/bookkeeping.h"
#include "kr/persistence/archives/internal/document_source.h"
#include "kr/persistence/archives/internal/document_values.h"
#include "kr/persistence/archives/internal/loaded_objects.h"
#include "kr/persistence/archives/internal/nesting.h"

namespace ba = boost::archive;

namespace KrPersistence {

using eState = detail::LoadedObjects::eState;

NamedInput::NamedInput(std::istream& stream, DocumentReader reader, KrArchive& state, BasicArchive& archive,
                       const char* archiveKind)
    : _stream(stream), _reader(reader), _archiveState(state), _archive(archive), _archiveKind(archiveKind) {}

NamedInput::~NamedInput() = default;

detail::DocumentCursor& NamedInput::_cursor() {
    if (!_place) {
        const std::string& name = _archiveState.getArchiveName();
        _document = std::make_unique<detail::Document>(
            _reader({.stream = _stream,
                     .sizeLimit = _sizeLimit,
                     .archiveKind = _archiveKind,
                     .archiveName = name,
                     .mayBreakOff = (_archiveState.getArchiveFlags() & KrArchive::kRecover) != 0}));
        _place = std::make_unique<detail::DocumentCursor>(*_document, _archiveKind, name, _archiveState.getFindings());
    }
    return *_place;
}

std::string NamedInput::getBreakReason() const {
    return _document ? _document->breakReason() : std::string();
}

std::string NamedInput::_describe(const std::string& text) const {
    return _place ? _place->describe(text) : std::string(_archiveKind) + ": " + text;
}

Kr::FilePlace NamedInput::_getPlace() const {
    return _place ? _place->place() : Kr::FilePlace();
}

std::size_t NamedInput::_beginSequence(const char* name) {
    const std::size_t count = _cursor().enterSequence(name);
    _itemNames.enter();
    return count;
}

void NamedInput::_endSequence() {
    _cursor().leaveWhole();
    _itemNames.leave();
}

const char* NamedInput::_uniqueName(const char* name) {
    const char* const unique = _itemNames.next(name);
    return unique == name || _cursor().isThere(unique) ? unique : name;
}

void NamedInput::_enter(const char* name) {
    _cursor().enterGroup(name);
    _itemNames.enter();
}

void NamedInput::_leave() {
    _cursor().leave();
    _itemNames.leave();
}

bool NamedInput::_isThere() {
    return _cursor().isThere(_name);
}

void NamedInput::_load(const Value& value) {
    std::visit(
        [this](auto* target) {
            if constexpr (std::is_same_v<decltype(target), Kr::KrTransform*>) {
                detail::readTuple(_cursor(), _name, std::span<double>(target->m));
            } else {
                detail::readScalar(_cursor(), _name, *target);
            }
        },
        value);
}

void NamedInput::_loadCount(std::size_t& count) {
    detail::readNumber(_cursor(), _name, count);
    if (const std::size_t most = _cursor().mostItems(); count > most)
        _cursor().refuse("counts " + std::to_string(count) + " where at most " + std::to_string(most) + " follow");
}

void NamedInput::_refuseRange(const std::string& number) const {
    _place->refuse("is out of the range of its type: " + number);
}

void NamedInput::load_binary(void* bytes, std::size_t count) {
    std::string loaded;
    detail::readBytes(_cursor(), _name, loaded);
    if (loaded.size() != count) {
        _cursor().refuse("has " + std::to_string(loaded.size()) + " bytes, not the " + std::to_string(count) +
                         " that it needs");
    }
    std::memcpy(bytes, loaded.data(), count);
}

bool NamedInput::_number(detail::eBookkeeping which, std::uint32_t& number) {
    std::string_view text;
    if (!_cursor().attribute(which, text)) return false;
    if (!detail::parseNumber(text, number))
        _refuse(ba::archive_exception::input_stream_error,
                "a " + std::string(detail::nameOf(which)) + " that is no number of the range: " + detail::quoted(text));
    return true;
}

std::uint32_t NamedInput::_findObject() {
    std::uint32_t id = 0;
    if (!_number(detail::eBookkeeping::kReference, id)) return kNoObject;
    if (id >= _places.size() || _places[id] == kNoObject)
        _refuse(ba::archive_exception::input_stream_error,
                "a ref to object " + std::to_string(id) + ", which did not come before");
    return _places[id];
}

void NamedInput::_noteId(std::size_t place) {
    std::uint32_t id = 0;
    if (!_number(detail::eBookkeeping::kId, id)) return;  // written by hand: nothing refers to it
    if (id >= _document->size())
        _refuse(ba::archive_exception::input_stream_error,
                "object " + std::to_string(id) + " where there are not so many");
    if (id >= _places.size()) _places.resize(id + std::size_t{1}, kNoObject);
    if (_places[id] != kNoObject)
        _refuse(ba::archive_exception::input_stream_error, "object " + std::to_string(id) + " for the second time");
    _places[id] = static_cast<std::uint32_t>(place);
}

std::uint32_t NamedInput::_version(const Serializer& serializer) {
    std::uint32_t version = 0;
    if (serializer.class_info() && _number(detail::eBookkeeping::kVersion, version)) _checkVersion(version, serializer);
    return version;
}

void NamedInput::load_object(void* object, const Serializer& serializer) {
    detail::LoadedObjects& loaded = *_loaded;
    if (_loadAnnounced(_archive, object, serializer)) return;

    const detail::Nesting nesting(loaded.depth, _archiveKind);
    const std::int16_t number = loaded.classOf(serializer);
    const std::size_t first = loaded.objects.size();
    if (serializer.tracking(0)) {
        if (const std::uint32_t known = _findObject(); known != kNoObject) {
            const auto& before = loaded.objects[known];
            if (before.number != number || before.address != object)
                _refuse(ba::archive_exception::pointer_conflict, "an object in the place of another");
            return;
        }
        _noteId(first);
        loaded.objects.push_back({object, loaded.pointerLevel, number, eState::kValue});
    }
    serializer.load_object_data(_archive, object, _version(serializer));
    loaded.recent = first;
}

const NamedInput::PointerSerializer* NamedInput::load_pointer(void*& slot, const PointerSerializer* expected,
                                                              PointerFinder finder) {
    detail::LoadedObjects& loaded = *_loaded;
    const TypeInfo* target = _takeTarget();
    slot = nullptr;
    const detail::Nesting nesting(loaded.depth, _archiveKind);
    std::string_view text;
    if (_cursor().attribute(detail::eBookkeeping::kNull, text)) return expected;
    if (const std::uint32_t known = _findObject(); known != kNoObject) {
        const auto before = loaded.objects[known];
        const auto* serializer = loaded.classes[static_cast<std::size_t>(before.number)].pointerSerializer;
        if (serializer == nullptr || before.state == eState::kGone || before.state == eState::kRaw)
            _refuse(ba::archive_exception::pointer_conflict, "a pointer to an object that is not available");
        _checkFamily(before.number, target, before.address);
        slot = before.address;
        return serializer;
    }

    std::int16_t number = 0;
    if (_cursor().attribute(detail::eBookkeeping::kClass, text)) {
        if (text.size() >= BOOST_SERIALIZATION_MAX_KEY_SIZE)
            _refuse(ba::archive_exception::invalid_class_name,
                    "a class name of " + std::to_string(text.size()) + " bytes");
        if (expected != nullptr && !expected->get_basic_serializer().is_polymorphic())
            _refuse(ba::archive_exception::input_stream_error, "a class that does not fit its pointer");
        auto known = _classes.find(text);
        if (known == _classes.end())
            known = _classes.emplace(text, _findClass(detail::unescapeBytes(text).c_str(), finder)).first;
        number = known->second;
    } else if (expected != nullptr) {
        number = loaded.classOf(expected->get_basic_serializer());
    } else {
        _refuse(ba::archive_exception::unregistered_class, "an object without the name of its class");
    }
    const auto& known = loaded.classes[static_cast<std::size_t>(number)];
    const PointerSerializer* serializer = known.pointerSerializer;
    if (serializer == nullptr)
        _refuse(ba::archive_exception::unregistered_class, "a pointer to a class that is archived by value only");
    const std::uint32_t version = _version(*known.serializer);
    if (known.serializer->tracking(0)) _noteId(loaded.objects.size());
    slot = _make(_archive, number, version, target);
    return serializer;
}

}  // namespace KrPersistence
