#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "kr/data/container.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/persistence/fields/field_archive.h"
#include "tests/persistence/archives/archive_kinds.h"

/// Random trees of fields of all kinds, and what writes and reads them.
namespace field_trees {

using archive_kinds::Binary;
using archive_kinds::Json;
using archive_kinds::Xml;

/// Random choices, repeatable from the seed.
class Random {
public:
    explicit Random(std::uint32_t seed) : _engine(seed) {}

    [[nodiscard]] unsigned below(unsigned count) { return static_cast<unsigned>(_engine() % count); }
    [[nodiscard]] bool oneIn(unsigned count) { return below(count) == 0; }
    /// Any double, not only the usual ones.
    [[nodiscard]] double number();
    /// Any bytes.
    [[nodiscard]] std::string text();
    template <class T>
    [[nodiscard]] T value();

private:
    std::mt19937 _engine;
};

/// Extensions for fields to refer to, as long as it lives.
class Extensions {
public:
    [[nodiscard]] KrSim::KrExtension* add(const KrSim::KrContentID& id) {
        const auto made = Kr::makeSmart<KrSim::KrExtension>();
        KrSim::detail::ExtensionAccess::setContentID(*made, id);
        return _extensions.emplace_back(made).get();
    }

private:
    std::vector<Kr::KrSmartPtr<KrSim::KrExtension>> _extensions;
};

/// Makes trees; extensions that fields refer to live as long as this.
class TreeMaker {
public:
    explicit TreeMaker(std::uint32_t seed) : _random(seed) {}

    [[nodiscard]] std::unique_ptr<KrData::Container> make();
    /// Changes every field that is there and adds dynamic ones. Identifiers are unique then, so that fields find their
    /// likeness in another tree.
    void change(KrData::Container& container);

private:
    void _fill(KrData::Container& container, int depth);
    [[nodiscard]] KrData::FieldBase* _makeField(int depth);
    [[nodiscard]] KrData::FieldBase* _makeVector(const Kr::KrID& id);
    [[nodiscard]] KrData::FieldBase* _makeArray(const Kr::KrID& id, int depth);
    [[nodiscard]] KrData::FieldBase* _makeProxy(const Kr::KrID& id);
    KrData::FieldBase* _refer(KrData::Field<KrSim::KrExtension*>& field);
    void _setUniqueID(KrData::FieldBase& field);
    void _decorate(KrData::FieldBase& field, int depth);
    [[nodiscard]] Kr::KrID _id();
    [[nodiscard]] KrSim::KrContentID _contentID(int depth = 0);
    [[nodiscard]] KrSim::KrExtension* _extension();

    Random _random;
    int _references{0};
    bool _hasUniqueIDs{false};
    Extensions _extensions;
};

template <class Kind, class Action>
std::string written(Action&& write, std::uint32_t flags = 0) {
    std::ostringstream stream;
    typename Kind::Out archive(stream, flags);
    typename Kind::Out::Writer writer(archive);
    write(writer);
    return stream.str();
}

template <class Kind, class Action>
void readFrom(const std::string& bytes, Action&& read) {
    std::istringstream stream(bytes);
    typename Kind::In archive(stream, 0);
    typename Kind::In::Reader reader(archive);
    read(reader);
}

template <class Kind>
std::string saved(const KrData::FieldBase& field, const KrPersistence::FieldWriteContext& context = {},
                  std::uint32_t flags = 0) {
    return written<Kind>([&](auto& writer) { KrPersistence::writeField(writer, "Field", field, context); }, flags);
}

template <class Kind>
std::unique_ptr<KrData::FieldBase> loaded(const std::string& bytes, KrPersistence::FieldReadContext& context) {
    std::unique_ptr<KrData::FieldBase> field;
    readFrom<Kind>(bytes, [&](auto& reader) { field = KrPersistence::readField(reader, "Field", context); });
    return field;
}

template <class Kind>
std::unique_ptr<KrData::FieldBase> loaded(const std::string& bytes) {
    KrPersistence::FieldReadContext context;
    return loaded<Kind>(bytes, context);
}

}  // namespace field_trees
