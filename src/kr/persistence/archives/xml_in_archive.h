#pragma once

#include <boost/archive/detail/register_archive.hpp>
#include <cstdint>
#include <iosfwd>

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/named_in_archive.h"

namespace KrPersistence {

/// Reads a XML archive; docs/xml-and-json.md has its form.
///
/// The document is read whole when the first value is asked for. It is not believed: sizes, nesting, numbers of objects
/// and types of values are checked, and every failure is a boost::archive::archive_exception that says where. After one
/// the archive can do nothing but delete_created_pointers.
/// The stream is borrowed, must be a binary one and end where the document ends.
/// Thread: one thread at a time.
class KR_API XmlInArchive : public KrArchive, public NamedInArchive<XmlInArchive> {
public:
    /// \param flags  only kept; none changes the form.
    XmlInArchive(std::istream& stream, std::uint32_t flags);
    /// Destroys nothing that was read.
    ~XmlInArchive() override;
};

}  // namespace KrPersistence

BOOST_SERIALIZATION_REGISTER_ARCHIVE(KrPersistence::XmlInArchive)

extern template class boost::archive::detail::archive_serializer_map<KrPersistence::XmlInArchive>;
