#pragma once

#include <boost/archive/detail/register_archive.hpp>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "kr/persistence/archives/named_in_archive.h"

namespace KrPersistence {

/// Reads a JSON archive; docs/xml-and-json.md has its form.
///
/// The document is read whole when the first value is asked for. It is not believed: sizes, nesting, numbers of objects
/// and types of values are checked, and every failure is a boost::archive::archive_exception that says where. After one
/// the archive can do nothing but delete_created_pointers.
/// The stream is borrowed, must be a binary one and end where the document ends.
/// Thread: one thread at a time.
class KR_API JsonInArchive : public NamedInArchive<JsonInArchive> {
public:
    /// \param flags  only kept; none changes the form.
    JsonInArchive(std::istream& stream, std::uint32_t flags);
    /// Destroys nothing that was read.
    ~JsonInArchive() override;

    // As KrArchive has them
    [[nodiscard]] const std::string& getArchiveName() const noexcept { return _archive.getArchiveName(); }
    void setArchiveName(const std::string& name) { _archive.setArchiveName(name); }
    [[nodiscard]] std::vector<Finding>& getFindings() noexcept { return _archive.getFindings(); }
    [[nodiscard]] std::uint32_t getArchiveFlags() const noexcept { return _archive.getArchiveFlags(); }
    void pushObject(Kr::KrBase* object) { _archive.pushObject(object); }
    void popObject() noexcept { _archive.popObject(); }
    [[nodiscard]] Kr::KrBase* getCurrentObject() const noexcept { return _archive.getCurrentObject(); }

private:
    KrArchive _archive;
};

}  // namespace KrPersistence

BOOST_SERIALIZATION_REGISTER_ARCHIVE(KrPersistence::JsonInArchive)

extern template class boost::archive::detail::archive_serializer_map<KrPersistence::JsonInArchive>;
