#pragma once

#include <boost/archive/detail/basic_oarchive.hpp>
#include <boost/archive/detail/basic_oserializer.hpp>
#include <boost/archive/detail/basic_pointer_oserializer.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "kr/math/transform.h"
#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/item_names.h"
#include "kr/platform/export.h"

namespace KrPersistence {

namespace detail {
class DocumentWriter;
class SavedObjects;
enum class eBookkeeping : std::uint8_t;
}  // namespace detail

/// The common part of XML and JSON output archives.
/// Thread: one at a time. Ownership: the stream is borrowed.
class KR_API NamedOutput {
public:
    NamedOutput(const NamedOutput&) = delete;
    NamedOutput& operator=(const NamedOutput&) = delete;
    virtual ~NamedOutput();

    // Called by Boost.Serialization
    void register_basic_serializer(const boost::archive::detail::basic_oserializer& serializer);
    void save_object(const void* object, const boost::archive::detail::basic_oserializer& serializer);
    void save_pointer(const void* object, const boost::archive::detail::basic_pointer_oserializer* serializer);
    void save_binary(const void* bytes, std::size_t count);

protected:
    using Value =
        std::variant<bool, long long, unsigned long long, float, double, std::string_view, const Kr::KrTransform*>;

    /// \param state, archive  the archive that derives from this.
    NamedOutput(std::unique_ptr<detail::DocumentWriter> writer, KrArchive& state,
                boost::archive::detail::basic_oarchive& archive, const char* archiveKind);

    /// Containers of Boost give all their items one name, "item"; this makes it unique in its group.
    [[nodiscard]] const char* _uniqueName(const char* name);
    void _begin(const char* name);
    void _end();
    void _saveNull();
    void _save(const Value& value);

    const char* _name{"Value"};  // of the value that is saved next

private:
    friend class NamedArchiveWriter;
    template <class Archive, class Action>
    friend void saveSequence(Archive& archive, const char* name, std::size_t count, Action&& action);

    void _beginSequence(const char* name);
    void _endSequence();
    [[nodiscard]] detail::DocumentWriter& _document() noexcept { return *_writer; }
    [[nodiscard]] KrArchive& _state() noexcept { return _archiveState; }
    void _saveNumber(detail::eBookkeeping which, std::size_t number);
    void _saveVersion(const boost::archive::detail::basic_oserializer& serializer);

    std::unique_ptr<detail::DocumentWriter> _writer;
    std::unique_ptr<detail::SavedObjects> _saved;
    detail::ItemNames _itemNames;
    KrArchive& _archiveState;
    boost::archive::detail::basic_oarchive& _archive;
    const char* _archiveKind;
};

}  // namespace KrPersistence
