#include <boost/archive/impl/archive_serializer_map.ipp>

#include "kr/persistence/archives/internal/document_source.h"
#include "kr/persistence/archives/internal/json_document_writer.h"
#include "kr/persistence/archives/json_in_archive.h"
#include "kr/persistence/archives/json_out_archive.h"

namespace KrPersistence {

JsonOutArchive::JsonOutArchive(std::ostream& stream, std::uint32_t flags)
    : KrArchive(flags),
      NamedOutArchive(std::make_unique<detail::JsonDocumentWriter>(stream), *this, "JsonOutArchive") {}

JsonOutArchive::~JsonOutArchive() = default;

JsonInArchive::JsonInArchive(std::istream& stream, std::uint32_t flags)
    : KrArchive(flags), NamedInArchive(stream, detail::readJson, *this, "JsonInArchive") {}

JsonInArchive::~JsonInArchive() = default;

}  // namespace KrPersistence

// The part of Boost.Serialization that exists once for each archive.
template class boost::archive::detail::archive_serializer_map<KrPersistence::JsonOutArchive>;
template class boost::archive::detail::archive_serializer_map<KrPersistence::JsonInArchive>;
