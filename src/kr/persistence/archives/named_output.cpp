#include "kr/persistence/archives/named_output.h"

#include <span>
#include <type_traits>

#include "kr/persistence/archives/internal/binary_format.h"
#include "kr/persistence/archives/internal/bookkeeping.h"
#include "kr/persistence/archives/internal/document_writer.h"
#include "kr/persistence/archives/internal/nesting.h"
#include "kr/persistence/archives/internal/saved_objects.h"

namespace ba = boost::archive;

namespace KrPersistence {

using detail::NumberText;

NamedOutput::NamedOutput(std::unique_ptr<detail::DocumentWriter> writer, KrArchive& state,
                         ba::detail::basic_oarchive& archive, const char* archiveKind)
    : _writer(std::move(writer)),
      _saved(std::make_unique<detail::SavedObjects>()),
      _archiveState(state),
      _archive(archive),
      _archiveKind(archiveKind) {}

NamedOutput::~NamedOutput() = default;

void NamedOutput::_beginSequence(const char* name) {
    _writer->beginSequence(name);
    _itemNames.enter();
}

void NamedOutput::_endSequence() {
    _writer->endSequence();
    _itemNames.leave();
}

void NamedOutput::register_basic_serializer(const ba::detail::basic_oserializer& serializer) {
    _saved->classOf(serializer);
}

void NamedOutput::save_object(const void* object, const ba::detail::basic_oserializer& serializer) {
    detail::SavedObjects& saved = *_saved;
    if (object == saved.announced && &serializer == saved.announcedSerializer)
        return serializer.save_object_data(_archive, object);

    const detail::Nesting nesting(saved.depth, _archiveKind);
    const std::int16_t number = saved.classOf(serializer).first;
    if (serializer.tracking(0)) {
        const auto [entry, isNew] = saved.objects.add(object, number, saved.objects.size());
        if (!isNew && entry->isPointer) detail::refuseLateValue(serializer, _archiveKind);
        if (!isNew) return _saveNumber(detail::eBookkeeping::kReference, entry->number);
        _saveVersion(serializer);
        _saveNumber(detail::eBookkeeping::kId, entry->number);
    } else {
        _saveVersion(serializer);
    }
    serializer.save_object_data(_archive, object);
}

void NamedOutput::save_pointer(const void* object, const ba::detail::basic_pointer_oserializer* pointerSerializer) {
    detail::SavedObjects& saved = *_saved;
    const detail::Nesting nesting(saved.depth, _archiveKind);
    const auto& serializer = pointerSerializer->get_basic_serializer();
    const auto [number, isNewClass] = saved.classOf(serializer);
    const bool isTracked = serializer.tracking(0);
    std::uint32_t id = 0;
    if (isTracked) {
        const auto [entry, isNew] = saved.objects.add(object, number, saved.objects.size());
        if (!isNew) return _saveNumber(detail::eBookkeeping::kReference, entry->number);
        entry->isPointer = true;
        id = entry->number;
    }
    // A class without a name can only be the one that the pointer tells: Boost has registered it.
    if (serializer.is_polymorphic() && (isNewClass || serializer.get_eti().get_key() != nullptr))
        _writer->attribute(detail::nameOf(detail::eBookkeeping::kClass), detail::keyOf(serializer, _archiveKind),
                           false);
    _saveVersion(serializer);
    if (isTracked) _saveNumber(detail::eBookkeeping::kId, id);
    const detail::Announcement announcement(saved, object, &serializer);
    pointerSerializer->save_object_ptr(_archive, object);
}

void NamedOutput::save_binary(const void* bytes, std::size_t count) {
    _writer->bytes(_name, {static_cast<const char*>(bytes), count});
}

const char* NamedOutput::_uniqueName(const char* name) {
    return _itemNames.next(name);
}

void NamedOutput::_begin(const char* name) {
    _writer->beginGroup(name);
    _itemNames.enter();
}

void NamedOutput::_end() {
    _writer->endGroup();
    _itemNames.leave();
}

void NamedOutput::_saveNull() {
    _writer->attribute(detail::nameOf(detail::eBookkeeping::kNull), "true", true);
}

void NamedOutput::_save(const Value& value) {
    std::visit(
        [this](auto saved) {
            if constexpr (std::is_pointer_v<decltype(saved)>) {
                _writer->tuple(_name, std::span<const double>(saved->m));
            } else {
                _writer->scalar(_name, saved);
            }
        },
        value);
}

void NamedOutput::_saveNumber(detail::eBookkeeping which, std::size_t number) {
    _writer->attribute(detail::nameOf(which), NumberText(number).text(), true);
}

void NamedOutput::_saveVersion(const ba::detail::basic_oserializer& serializer) {
    const std::uint32_t version = serializer.class_info() ? detail::toNumber(serializer.version()) : 0;
    if (version != 0) _saveNumber(detail::eBookkeeping::kVersion, version);
}

}  // namespace KrPersistence
