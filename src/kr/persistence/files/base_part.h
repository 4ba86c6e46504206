#pragma once

#include <boost/serialization/nvp.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/tracking.hpp>
#include <string>

#include "kr/core/base.h"
#include "kr/persistence/archives/archive_error.h"

// The part of a file that stores the state of every base object: its name.
//
//     archive & boost::serialization::make_nvp("Kr::KrBase", boost::serialization::base_object<Kr::KrBase>(*this));

BOOST_CLASS_TRACKING(Kr::KrBase, boost::serialization::track_never)

namespace boost::serialization {

template <class Archive>
void serialize(Archive& archive, Kr::KrBase& base, const unsigned int /*version*/) {
    std::string name = base.getName();
    archive& make_nvp("Name", name);
    if constexpr (Archive::is_loading::value) {
        if (name.find('\0') != std::string::npos) {
            throw KrPersistence::ArchiveError(boost::archive::archive_exception::input_stream_error,
                                              "the name of an object holds a zero byte");
        }
        base.setName(name.c_str());
    }
}

}  // namespace boost::serialization
