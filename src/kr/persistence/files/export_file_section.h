#pragma once

#include <boost/serialization/level.hpp>
#include <boost/serialization/nvp.hpp>
#include <boost/serialization/version.hpp>
#include <boost/serialization/void_cast.hpp>
#include <concepts>

#include "kr/persistence/archives/archive_object_scope.h"
#include "kr/persistence/archives/export_class.h"
#include "kr/persistence/files/base_part.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/files/named_file_section.h"

/// Gives a class derived from NamedFileSection the name and version under which files store it. At global scope, in the
/// source of the class (or in its header, if plug-ins derive from it). The name must be unique and never change; raise
/// the version when _write changes.
#define KR_FILE_SECTION(Class, Name, Version) \
    KR_ARCHIVE_CLASS(Class, Name)             \
    BOOST_CLASS_VERSION(Class, Version)

/// Registers the section for archives of every kind when its module is loaded; after KR_FILE_SECTION, in one source.
/// The module links Boost.Serialization.
#define KR_FILE_SECTION_IMPLEMENT(Class) KR_ARCHIVE_CLASS_IMPLEMENT(Class)

BOOST_CLASS_IMPLEMENTATION(KrPersistence::KrFileSection, boost::serialization::object_serializable)
BOOST_CLASS_TRACKING(KrPersistence::KrFileSection, boost::serialization::track_never)

namespace boost::serialization {

/// For sections that use Boost directly: they begin with base_object<KrFileSection>, which calls this.
template <class Archive>
void serialize(Archive& archive, KrPersistence::KrFileSection& section, const unsigned int /*version*/) {
    Kr::KrBase& base = section;
    archive& make_nvp("Kr::KrBase", base);
}

}  // namespace boost::serialization

namespace KrPersistence {

/// Found by Boost.Serialization for every class derived from NamedFileSection.
template <class Archive, std::derived_from<NamedFileSection> Section>
void serialize(Archive& archive, Section& section, const unsigned int version) {
    boost::serialization::void_cast_register<Section, KrFileSection>();
    Kr::KrBase& base = section;
    if constexpr (Archive::is_loading::value) section.setOwner(dynamic_cast<KrFile*>(archive.getCurrentObject()));
    const ArchiveObjectScope scope(archive, &base);
    archive& boost::serialization::make_nvp("Kr::KrBase", base);
    if constexpr (Archive::is_loading::value) {
        typename Archive::Reader reader(archive);
        static_cast<NamedFileSection&>(section).read(reader, version);
    } else {
        typename Archive::Writer writer(archive);
        static_cast<const NamedFileSection&>(section).write(writer);
    }
}

}  // namespace KrPersistence
