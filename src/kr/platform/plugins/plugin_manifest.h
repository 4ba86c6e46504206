#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "kr/platform/export.h"
#include "kr/platform/version.h"

/// What a plug-in and the library must have in common beside the version, as a text literal: the processor with the
/// width of its pointers, and the standard library with the switches that change the layout of its classes. Compilers
/// are not part of it: g++ and clang++ share one binary interface. A sanitizer is, because its run-time part ends a
/// process that was started without it.
#define KR_PLUGIN_BUILD KR_PLUGIN_PLAIN_BUILD_ KR_PLUGIN_SANITIZER_
#define KR_PLUGIN_PLAIN_BUILD_ KR_PLUGIN_MACHINE_ ";" KR_PLUGIN_STANDARD_LIBRARY_

#if defined(__x86_64__) && defined(__LP64__)
#define KR_PLUGIN_MACHINE_ "x86_64"
#elif defined(__aarch64__) && defined(__LP64__)
#define KR_PLUGIN_MACHINE_ "aarch64"
#else
#error "plug-ins are defined for 64-bit x86 and ARM"
#endif

#if !defined(__GLIBCXX__)
#define KR_PLUGIN_STANDARD_LIBRARY_ "libc++"
#elif !_GLIBCXX_USE_CXX11_ABI
#define KR_PLUGIN_STANDARD_LIBRARY_ "libstdc++ without the C++11 interface"
#elif defined(_GLIBCXX_DEBUG)
#define KR_PLUGIN_STANDARD_LIBRARY_ "libstdc++ in debug mode"
#else
#define KR_PLUGIN_STANDARD_LIBRARY_ "libstdc++"
#endif

#if defined(__has_feature)
#define KR_PLUGIN_HAS_(feature) __has_feature(feature)
#else
#define KR_PLUGIN_HAS_(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || KR_PLUGIN_HAS_(address_sanitizer)
#define KR_PLUGIN_SANITIZER_ ";address sanitizer"
#elif defined(__SANITIZE_THREAD__) || KR_PLUGIN_HAS_(thread_sanitizer)
#define KR_PLUGIN_SANITIZER_ ";thread sanitizer"
#else
#define KR_PLUGIN_SANITIZER_ ""
#endif

namespace KrPluginSystem::detail {

inline constexpr std::uint32_t kManifestNoteType = 0x4B520001;
inline constexpr std::string_view kManifestNoteOwner{"KrP\0", 4};

/// An ELF note. Text only: pointers would be filled in by the loader, and the note is read without it.
template <std::size_t TextSize>
struct ManifestNote {
    std::uint32_t ownerSize{4};
    std::uint32_t textSize{TextSize};
    std::uint32_t type{kManifestNoteType};
    char owner[4]{'K', 'r', 'P', '\0'};
    char text[(TextSize + 3) / 4 * 4]{};
};

/// A control character would break the lines of a manifest, and the log lines that show it.
constexpr bool isManifestLine(std::string_view line) noexcept {
    for (const char character : line) {
        if (static_cast<unsigned char>(character) < ' ' || character == '\x7F') return false;
    }
    return !line.empty();
}

/// Longest name of a plug-in: with ".krp" it is the longest name that a file may have.
inline constexpr std::size_t kMaxPluginNameBytes = 251;

/// Whether this is the base name of a file: no folder, no "..", no hidden file, no control character.
constexpr bool isPluginName(std::string_view name) noexcept {
    return isManifestLine(name) && name.size() <= kMaxPluginNameBytes && name.front() != '.' &&
           name.find_first_of("/\\") == std::string_view::npos;
}

template <std::size_t NameSize, std::size_t... Sizes>
consteval auto makeManifestNote(const char (&name)[NameSize], const char (&... lines)[Sizes]) {
    if (!isPluginName({name, NameSize - 1})) throw "the name of a plug-in is the base name of its file";
    constexpr std::string_view kVersion = KR_VERSION;
    constexpr std::string_view kBuild = KR_PLUGIN_BUILD;
    ManifestNote<kVersion.size() + kBuild.size() + 2 + (NameSize + ... + Sizes)> note;
    std::size_t end = 0;
    const auto append = [&](std::string_view line) {
        if (!isManifestLine(line)) throw "a line of a manifest is not empty and has no control character";
        for (const char character : line)
            note.text[end++] = character;
        note.text[end++] = '\n';
    };
    append(kVersion);
    append(kBuild);
    append({name, NameSize - 1});
    (append({lines, Sizes - 1}), ...);
    return note;
}

}  // namespace KrPluginSystem::detail

/// Makes the library that it is compiled into a plug-in: puts the manifest into the file, where the plug-in manager and
/// tools read it without loading the file, and declares the two entry functions, which the plug-in then defines.
/// Once in a plug-in, in the global namespace, followed by a semicolon. All arguments are text literals.
///
/// \param name     the base name of the file, without ".krp".
/// \param version  the plug-in's own version, for people.
/// The other arguments are the types that the plug-in registers, one text each, for people.
///
/// void kr_plugin_register_v1() registers the types. It runs when the plug-in is loaded, and again when it is loaded
/// after having been unloaded, on the thread that called load. It may load other plug-ins and may throw: the plug-in
/// then counts as not loaded, and kr_plugin_unregister_v1 is called to withdraw the registered types.
///
/// bool kr_plugin_unregister_v1() withdraws the types; while instances exist it withdraws none and returns false.
///
/// Registration belongs into these functions and not into static initialisers: an exception that leaves a static
/// initialiser ends the process, since the system's loader cannot pass it on.
#define KR_PLUGIN_MANIFEST(name, version, ...)                                                                  \
    [[gnu::used, gnu::section(".note.kr"), gnu::aligned(4)]] static constinit const auto krPluginManifestNote = \
        KrPluginSystem::detail::makeManifestNote(name, version __VA_OPT__(, ) __VA_ARGS__);                     \
    extern "C" KR_API void kr_plugin_register_v1();                                                             \
    extern "C" KR_API bool kr_plugin_unregister_v1()
