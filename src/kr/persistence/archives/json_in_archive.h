#pragma once

#include <boost/archive/detail/register_archive.hpp>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "kr/persistence/archives/named_in_archive.h"

namespace KrPersistence {

/// Reads a JSON archive; its form: docs/xml-and-json.md.
///
/// The whole document is read with the first value. No value in it is trusted: sizes, nesting, numbers of objects and
/// types of values are checked, and every failure is a boost::archive::archive_exception that says where. After a
/// failure only delete_created_pointers may be called.
/// Thread: one at a time. Ownership: the stream is borrowed; it must be binary and end where the document ends.
class KR_API JsonInArchive : public NamedInArchive<JsonInArchive> {
public:
    /// \param flags  returned by getArchiveFlags; only kRecover has an effect.
    JsonInArchive(std::istream& stream, std::uint32_t flags);
    /// Destroys no object that was read.
    ~JsonInArchive() override;

    // See KrArchive
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
