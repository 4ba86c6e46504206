#pragma once

#include <boost/archive/detail/register_archive.hpp>
#include <cstdint>
#include <iosfwd>

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/named_out_archive.h"

namespace KrPersistence {

/// Writes a XML archive; docs/xml-and-json.md has its form.
///
/// Works with the serialization functions of Boost.Serialization, in which every value has a name, or through its
/// Writer. Exactly one value is written at the top; with it the document is complete. Every failure is a
/// boost::archive::archive_exception; what stands in the stream then is no archive.
/// The stream is borrowed and must be a binary one. Whether its bytes arrived is known when it was closed.
/// Thread: one thread at a time.
class KR_API XmlOutArchive : public KrArchive, public NamedOutArchive<XmlOutArchive> {
public:
    /// \param flags  only kept; none changes the form.
    XmlOutArchive(std::ostream& stream, std::uint32_t flags);
    ~XmlOutArchive() override;
};

}  // namespace KrPersistence

BOOST_SERIALIZATION_REGISTER_ARCHIVE(KrPersistence::XmlOutArchive)

extern template class boost::archive::detail::archive_serializer_map<KrPersistence::XmlOutArchive>;
