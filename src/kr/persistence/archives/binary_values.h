#pragma once

#include <boost/mpl/bool.hpp>
#include <boost/serialization/is_bitwise_serializable.hpp>
#include <boost/serialization/level.hpp>
#include <type_traits>

#include "kr/math/transform.h"

namespace KrPersistence {

/// Whether binary archives store arrays of the type as one block. Types whose stored bytes differ from those in memory,
/// and bool, whose bytes are checked, are stored one by one.
template <class T>
struct IsBlockType
    : boost::mpl::bool_<boost::serialization::is_bitwise_serializable<T>::value && !std::is_same_v<T, long> &&
                        !std::is_same_v<T, unsigned int> && !std::is_same_v<T, bool>> {};

}  // namespace KrPersistence

// A plain value to archives: no class information precedes it.
BOOST_CLASS_IMPLEMENTATION(Kr::KrTransform, boost::serialization::primitive_type)
