#pragma once

#include <boost/serialization/export.hpp>
#include <boost/serialization/tracking.hpp>

// A class is exported to the archives that are declared at the place of the export: these are all of them.
#include "kr/persistence/archives/binary_in_archive.h"
#include "kr/persistence/archives/binary_out_archive.h"
#include "kr/persistence/archives/json_in_archive.h"
#include "kr/persistence/archives/json_out_archive.h"
#include "kr/persistence/archives/xml_in_archive.h"
#include "kr/persistence/archives/xml_out_archive.h"

/// Gives a polymorphic class the name under which files store it, so that archives find it behind pointers to its
/// bases. At global scope in the header of the class; the name must be unique and never change. Objects are always
/// tracked, so that every module writes the same bytes, whatever else it archives. The class declares its bases by
/// `boost::serialization::base_object` and gives each value a name by `boost::serialization::make_nvp`. Each exported
/// class costs code for each archive: export few.
#define KR_ARCHIVE_CLASS(Class, Name)    \
    BOOST_CLASS_EXPORT_KEY2(Class, Name) \
    BOOST_CLASS_TRACKING(Class, ::boost::serialization::track_always)

/// Registers the class when the module is loaded. At global scope in one source of the module that owns the class.
/// Modules that archive classes link Boost.Serialization.
#define KR_ARCHIVE_CLASS_IMPLEMENT(Class) BOOST_CLASS_EXPORT_IMPLEMENT(Class)
