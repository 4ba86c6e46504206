#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "kr/persistence/archives/export_class.h"

// What holds for archives of every kind is tested once, with the kind as parameter.
namespace archive_kinds {

struct Binary {
    using Out = KrPersistence::BinaryOutArchive;
    using In = KrPersistence::BinaryInArchive;
    static constexpr char kName[] = "Binary";
};
struct Json {
    using Out = KrPersistence::JsonOutArchive;
    using In = KrPersistence::JsonInArchive;
    static constexpr char kName[] = "Json";
};
struct Xml {
    using Out = KrPersistence::XmlOutArchive;
    using In = KrPersistence::XmlInArchive;
    static constexpr char kName[] = "Xml";
};

using All = testing::Types<Binary, Json, Xml>;
using Named = testing::Types<Json, Xml>;

struct Names {
    template <class Kind>
    static std::string GetName(int /*index*/) {
        return Kind::kName;
    }
};

/// All is written into one group, as named archives want it.
template <class Kind, class Action>
std::string written(const Action& write) {
    std::ostringstream stream;
    typename Kind::Out archive(stream, 0);
    typename Kind::Out::Writer writer(archive);
    writer.group("Top", [&] { write(writer); });
    return stream.str();
}

template <class Kind, class Action>
void read(const std::string& bytes, const Action& readAll) {
    std::istringstream stream(bytes);
    typename Kind::In archive(stream, 0);
    archive.setArchiveName("some file");
    typename Kind::In::Reader reader(archive);
    reader.group("Top", [&] { readAll(reader); });
}

}  // namespace archive_kinds
