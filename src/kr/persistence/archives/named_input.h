#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "kr/math/transform.h"
#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/in_archive_objects.h"
#include "kr/persistence/archives/item_names.h"

namespace KrPersistence {

namespace detail {
class Document;
class DocumentCursor;
enum class eBookkeeping : std::uint8_t;
struct DocumentSource;
}  // namespace detail

/// The common part of XML and JSON input archives: the whole document is read with the first value.
/// Thread: one at a time. Ownership: the stream is borrowed; objects as in InArchiveObjects.
class KR_API NamedInput : public InArchiveObjects {
public:
    ~NamedInput() override;

    /// Larger documents are refused. Call it before the first value is read.
    void setSizeLimit(std::uint64_t limitBytes) noexcept { _sizeLimit = limitBytes; }

    /// Why the document could be read only up to a break, for people; empty for a complete document, and before the
    /// first value is read. Without KrArchive::kRecover a broken document is refused.
    [[nodiscard]] std::string getBreakReason() const;

    // Called by Boost.Serialization
    void load_object(void* object, const Serializer& serializer);
    const PointerSerializer* load_pointer(void*& slot, const PointerSerializer* expected, PointerFinder finder);
    void load_binary(void* bytes, std::size_t count);

protected:
    using DocumentReader = detail::Document (*)(const detail::DocumentSource& source);
    using Value = std::variant<bool*, long long*, unsigned long long*, float*, double*, std::string*, Kr::KrTransform*>;

    /// \param state, archive  the archive that derives from this; the stream is borrowed.
    NamedInput(std::istream& stream, DocumentReader reader, KrArchive& state, BasicArchive& archive,
               const char* archiveKind);

    [[nodiscard]] std::string _describe(const std::string& text) const override;
    [[nodiscard]] Kr::FilePlace _getPlace() const override;
    /// Reverses the renaming of items at writing; files of earlier releases have the original names.
    [[nodiscard]] const char* _uniqueName(const char* name);
    void _enter(const char* name);
    void _leave();
    [[nodiscard]] bool _isThere();
    void _load(const Value& value);
    void _loadCount(std::size_t& count);
    [[noreturn]] void _refuseRange(const std::string& number) const;

    const char* _name{"Value"};  // of the value that is loaded next

private:
    friend class NamedArchiveReader;
    template <class Archive, class Action>
    friend std::size_t loadSequence(Archive& archive, const char* name, Action&& action);

    static constexpr std::uint32_t kNoObject = UINT32_MAX;

    [[nodiscard]] std::size_t _beginSequence(const char* name);
    void _endSequence();
    [[nodiscard]] detail::DocumentCursor& _cursor();
    [[nodiscard]] KrArchive& _state() noexcept { return _archiveState; }
    [[nodiscard]] bool _number(detail::eBookkeeping which, std::uint32_t& number);
    /// The place of an object that was in the archive before; kNoObject for a new one.
    [[nodiscard]] std::uint32_t _findObject();
    void _noteId(std::size_t place);
    [[nodiscard]] std::uint32_t _version(const Serializer& serializer);

    detail::ItemNames _itemNames;
    std::istream& _stream;
    DocumentReader _reader;
    KrArchive& _archiveState;
    BasicArchive& _archive;
    const char* _archiveKind;
    std::uint64_t _sizeLimit{UINT64_MAX};
    std::unique_ptr<detail::Document> _document;
    std::unique_ptr<detail::DocumentCursor> _place;
    std::map<std::string, std::int16_t, std::less<>> _classes;  // by the names in the document
    std::vector<std::uint32_t> _places;                         // of objects, by their numbers in the document
};

}  // namespace KrPersistence
