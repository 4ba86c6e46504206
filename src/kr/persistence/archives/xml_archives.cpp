#include <boost/archive/impl/archive_serializer_map.ipp>

#include "kr/persistence/archives/internal/document_source.h"
#include "kr/persistence/archives/internal/xml_document_writer.h"
#include "kr/persistence/archives/xml_in_archive.h"
#include "kr/persistence/archives/xml_out_archive.h"

namespace KrPersistence {

XmlOutArchive::XmlOutArchive(std::ostream& stream, std::uint32_t flags)
    : KrArchive(flags), NamedOutArchive(std::make_unique<detail::XmlDocumentWriter>(stream), *this, "XmlOutArchive") {}

XmlOutArchive::~XmlOutArchive() = default;

XmlInArchive::XmlInArchive(std::istream& stream, std::uint32_t flags)
    : KrArchive(flags), NamedInArchive(stream, detail::readXml, *this, "XmlInArchive") {}

XmlInArchive::~XmlInArchive() = default;

}  // namespace KrPersistence

// The part of Boost.Serialization that exists once for each archive.
template class boost::archive::detail::archive_serializer_map<KrPersistence::XmlOutArchive>;
template class boost::archive::detail::archive_serializer_map<KrPersistence::XmlInArchive>;
