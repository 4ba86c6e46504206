#pragma once

#include <boost/archive/detail/register_archive.hpp>
#include <cstdint>
#include <iosfwd>

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/named_in_archive.h"

namespace KrPersistence {

/// Reads a JSON archive; its form: docs/xml-and-json.md.
///
/// The whole document is read with the first value. No value in it is trusted: sizes, nesting, numbers of objects and
/// types of values are checked, and every failure is a boost::archive::archive_exception that says where. After a
/// failure only delete_created_pointers may be called.
/// Thread: one at a time. Ownership: the stream is borrowed; it must be binary and end where the document ends.
class KR_API JsonInArchive : public KrArchive, public NamedInArchive<JsonInArchive> {
public:
    /// \param flags  returned by getArchiveFlags; only kRecover has an effect.
    JsonInArchive(std::istream& stream, std::uint32_t flags);
    /// Destroys no object that was read.
    ~JsonInArchive() override;
};

}  // namespace KrPersistence

BOOST_SERIALIZATION_REGISTER_ARCHIVE(KrPersistence::JsonInArchive)

extern template class boost::archive::detail::archive_serializer_map<KrPersistence::JsonInArchive>;
