// The parts of Boost.Serialization that exist once for each archive.

#include <boost/archive/impl/archive_serializer_map.ipp>
#include <boost/archive/impl/basic_binary_iarchive.ipp>
#include <boost/archive/impl/basic_binary_iprimitive.ipp>
#include <boost/archive/impl/basic_binary_oarchive.ipp>
#include <boost/archive/impl/basic_binary_oprimitive.ipp>

#include "kr/persistence/archives/binary_in_archive.h"
#include "kr/persistence/archives/binary_out_archive.h"

namespace boost::archive {

using KrPersistence::BinaryInArchive;
using KrPersistence::BinaryOutArchive;

template class detail::archive_serializer_map<BinaryOutArchive>;
template class detail::archive_serializer_map<BinaryInArchive>;
template class basic_binary_oprimitive<BinaryOutArchive, char, std::char_traits<char>>;
template class basic_binary_iprimitive<BinaryInArchive, char, std::char_traits<char>>;
template class basic_binary_oarchive<BinaryOutArchive>;
template class basic_binary_iarchive<BinaryInArchive>;
template class binary_oarchive_impl<BinaryOutArchive, char, std::char_traits<char>>;
template class binary_iarchive_impl<BinaryInArchive, char, std::char_traits<char>>;

}  // namespace boost::archive
