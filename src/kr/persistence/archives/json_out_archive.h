#pragma once

#include <boost/archive/detail/register_archive.hpp>
#include <cstdint>
#include <iosfwd>

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/named_out_archive.h"

namespace KrPersistence {

/// Writes a JSON archive; its form: docs/xml-and-json.md.
///
/// Use it with the serialization functions of Boost.Serialization, in which every value has a name, or through its
/// Writer. Exactly one value is written at the top level; it completes the document. Every failure is a
/// boost::archive::archive_exception; the bytes in the stream are no archive then.
/// Thread: one at a time. Ownership: the stream is borrowed; it must be binary. Close it to find out whether all bytes
/// were written.
class KR_API JsonOutArchive : public KrArchive, public NamedOutArchive<JsonOutArchive> {
public:
    /// \param flags  only kept; none changes the form.
    JsonOutArchive(std::ostream& stream, std::uint32_t flags);
    ~JsonOutArchive() override;
};

}  // namespace KrPersistence

BOOST_SERIALIZATION_REGISTER_ARCHIVE(KrPersistence::JsonOutArchive)

extern template class boost::archive::detail::archive_serializer_map<KrPersistence::JsonOutArchive>;
