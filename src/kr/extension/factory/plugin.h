#pragma once

#include <cstddef>
#include <initializer_list>
#include <string_view>
#include <typeinfo>

#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/factory/registration.h"
#include "kr/platform/export.h"
#include "kr/platform/plugins/plugin_manifest.h"
#include "kr/platform/uuid.h"

namespace KrSim::detail {

/// A type that a plug-in registers.
struct PluginType {
    std::string_view category;
    std::string_view name;
    KrUuid uuid;
    KrExtensionFactory::CreateFunction create;
    KrExtensionFactory::eType kind;
    const std::type_info* type;
};

/// The same with its line for the manifest, "Category.Name {uuid}", which ends with a zero byte.
template <std::size_t LineSize>
struct ListedPluginType : PluginType {
    char line[LineSize]{};
};

inline constexpr std::size_t kUuidTextLength = 36;

template <class T, std::size_t CategorySize, std::size_t NameSize>
consteval auto listPluginType(const char (&category)[CategorySize], const char (&name)[NameSize],
                              std::string_view uuid) {
    static_assert(CategorySize > 1 && NameSize > 1, "a type has a category and a name");
    ListedPluginType<CategorySize + NameSize + kUuidTextLength + 3> listed{{{category, CategorySize - 1},
                                                                            {name, NameSize - 1},
                                                                            KrUuid(uuid),
                                                                            &createExtension<T>,
                                                                            kKindOf<T>,
                                                                            &typeid(T)}};
    if (listed.uuid.getBytes() == KrUuid::Bytes{}) {
        throw "the uuid of a type is a text such as 5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e43";
    }
    std::size_t end = 0;
    const auto append = [&](std::string_view text) {
        for (const char character : text)
            listed.line[end++] = character;
    };
    append(listed.category);
    append(".");
    append(listed.name);
    append(" {");
    for (const char character : uuid) {
        if (character == '{' || character == '}') continue;
        const bool isUpperCase = character >= 'A' && character <= 'F';
        listed.line[end++] = isUpperCase ? static_cast<char>(character - 'A' + 'a') : character;
    }
    append("}");
    return listed;
}

/// Registers all types or, with an exception, none.
KR_API void registerPluginTypes(const char* plugin, std::initializer_list<PluginType> types);
/// Withdraws all types or, because instances of them exist, none.
KR_API bool unregisterPluginTypes(const char* plugin, std::initializer_list<PluginType> types);

}  // namespace KrSim::detail

namespace KrPluginSystem::detail {

/// The note of a plug-in that lists its types with KR_EXTENSION.
template <std::size_t NameSize, std::size_t VersionSize, std::size_t... LineSizes>
requires(sizeof...(LineSizes) >
         0) consteval auto makeManifestNote(const char (&name)[NameSize], const char (&version)[VersionSize],
                                            const KrSim::detail::ListedPluginType<LineSizes>&... types) {
    const KrSim::KrUuid uuids[] = {types.uuid...};
    for (std::size_t index = 0; index < sizeof...(types); ++index) {
        for (std::size_t other = 0; other < index; ++other) {
            if (uuids[index].getBytes() == uuids[other].getBytes()) throw "two types have the same uuid";
        }
    }
    return makeManifestNote(name, version, types.line...);
}

}  // namespace KrPluginSystem::detail

/// One type of a plug-in: an argument of KR_PLUGIN.
///
/// \param Class     the implementation, derived from KrSim::IExtension, KrSim::IObject or KrSim::ISimulatorModule.
/// \param category  a grouping word, text literal, such as "Simulation".
/// \param name      the display name, text literal; new extensions are named after it.
/// \param uuid      text literal of a new random uuid (uuidgen), checked by the compiler. Content refers to the type by
///                  it: it must never change once content was saved, and be unique.
#define KR_EXTENSION(Class, category, name, uuid) KrSim::detail::listPluginType<Class>(category, name, uuid)

/// Makes a library a plug-in: its manifest, and the entry functions that register and withdraw its types. Once in a
/// plug-in, in the global namespace:
///
///     KR_PLUGIN("DriveCycle", "1.0",
///               KR_EXTENSION(Vehicle, "Simulation", "Vehicle", "5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e43"))
///
/// \param name     base name of the plug-in file, without ".krp", text literal; it becomes part of the keys.
/// \param version  the plug-in's own version, for people.
///
/// A plug-in is loaded completely or not at all: when one of its types is refused, because its uuid is taken, the
/// others are withdrawn and loading fails.
#define KR_PLUGIN(name, version, ...)                                     \
    KR_PLUGIN_MANIFEST(name, version __VA_OPT__(, ) __VA_ARGS__);         \
    void kr_plugin_register_v1() {                                        \
        KrSim::detail::registerPluginTypes(name, {__VA_ARGS__});          \
    }                                                                     \
    bool kr_plugin_unregister_v1() {                                      \
        return KrSim::detail::unregisterPluginTypes(name, {__VA_ARGS__}); \
    }
