#include "kr/platform/plugins/plugin_manifest_reader.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "kr/platform/plugins/plugin_manifest.h"

namespace KrPluginSystem {
namespace {

using detail::isManifestLine;
using detail::isPluginName;

#if defined(__x86_64__)
constexpr Elf64_Half kMachine = EM_X86_64;
#else
constexpr Elf64_Half kMachine = EM_AARCH64;
#endif
static_assert(std::endian::native == std::endian::little, "the head is read as it lies in the file");

/// Far beyond what linkers write; the bounds keep a corrupt head from costing time and memory.
constexpr std::uint64_t kMaxSegments = 128;
constexpr std::uint64_t kMaxNoteBytes = 1U << 20U;

constexpr std::string_view kCutShort = "is cut short: its head speaks of bytes beyond the end of the file";

/// Leaves the reader with the reason, written to follow the name of the file.
struct Unfit {
    std::string reason;
    Kr::FileResult::eFailure failure{Kr::FileResult::eFailure::kRefused};
};

/// A file opened for reading. The first page, where linkers also put the notes, is read with one call.
class FileImage {
public:
    explicit FileImage(const std::string& path) {
        if (path.find('\0') != std::string::npos) throw Unfit{"cannot be opened: its path has a zero byte in it"};
        // Non-blocking: opening a pipe would wait for somebody to write to it.
        _descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (_descriptor < 0) {
            using eFailure = Kr::FileResult::eFailure;
            const int error = errno;
            throw Unfit{std::string("cannot be opened: ") + std::strerror(error),
                        error == ENOENT ? eFailure::kMissing : eFailure::kNotOpened};
        }
        try {
            _readHead();
        } catch (...) {
            ::close(_descriptor);
            throw;
        }
    }
    FileImage(const FileImage&) = delete;
    FileImage& operator=(const FileImage&) = delete;
    ~FileImage() { ::close(_descriptor); }

    void require(std::uint64_t offset, std::uint64_t count) const {
        if (offset > _size || count > _size - offset) throw Unfit{std::string(kCutShort)};
    }

    void read(std::uint64_t offset, std::span<char> bytes) const {
        require(offset, bytes.size());
        if (offset + bytes.size() <= _headSize) {
            std::copy_n(_head.data() + offset, bytes.size(), bytes.data());
        } else if (_readAt(offset, bytes) != bytes.size()) {
            throw Unfit{std::string(kCutShort)};  // somebody is writing to it
        }
    }

    template <class Record>
    [[nodiscard]] Record read(std::uint64_t offset) const {
        std::array<char, sizeof(Record)> bytes{};
        read(offset, bytes);
        return std::bit_cast<Record>(bytes);
    }

    [[nodiscard]] bool hasMagic(std::string_view magic) const noexcept {
        return std::string_view(_head.data(), _headSize).starts_with(magic);
    }

private:
    void _readHead() {
        struct stat status {};
        if (::fstat(_descriptor, &status) != 0) throw Unfit{std::string("cannot be read: ") + std::strerror(errno)};
        if (!S_ISREG(status.st_mode)) throw Unfit{"is no regular file"};
        _size = static_cast<std::uint64_t>(status.st_size);
        if (_size == 0) throw Unfit{"is empty"};
        _headSize = _readAt(0, _head);
    }

    [[nodiscard]] std::size_t _readAt(std::uint64_t offset, std::span<char> bytes) const {
        std::size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t count =
                ::pread(_descriptor, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) throw Unfit{std::string("cannot be read: ") + std::strerror(errno)};
            if (count == 0) break;
            done += static_cast<std::size_t>(count);
        }
        return done;
    }

    int _descriptor{-1};
    std::uint64_t _size{0};
    std::size_t _headSize{0};
    std::array<char, 4096> _head{};
};

std::vector<Elf64_Phdr> readSegments(const FileImage& file) {
    if (!file.hasMagic({ELFMAG, SELFMAG})) throw Unfit{"is no shared library: it does not begin as an ELF file"};
    const auto head = file.read<Elf64_Ehdr>(0);
    if (head.e_ident[EI_CLASS] != ELFCLASS64 || head.e_ident[EI_DATA] != ELFDATA2LSB || head.e_machine != kMachine) {
        throw Unfit{"was built for another machine than " KR_PLUGIN_MACHINE_};
    }
    if (head.e_type != ET_DYN) throw Unfit{"is an ELF file, but no shared library"};
    if (head.e_phentsize != sizeof(Elf64_Phdr) || head.e_phnum == 0 || head.e_phnum > kMaxSegments) {
        throw Unfit{"has a corrupt head: the table of its segments makes no sense"};
    }
    // The sections lie at the end of the file, so that a copy which broke off somewhere is noticed here.
    if (head.e_shnum != 0) file.require(head.e_shoff, std::uint64_t{head.e_shnum} * head.e_shentsize);

    std::vector<Elf64_Phdr> segments(head.e_phnum);
    file.require(head.e_phoff, segments.size() * sizeof(Elf64_Phdr));
    for (std::size_t index = 0; index < segments.size(); ++index)
        segments[index] = file.read<Elf64_Phdr>(head.e_phoff + index * sizeof(Elf64_Phdr));
    return segments;
}

/// What the loader takes on trust: it would map beyond the end of the file and die of the first access there.
void checkSegments(const FileImage& file, const std::vector<Elf64_Phdr>& segments) {
    for (const Elf64_Phdr& segment : segments) {
        file.require(segment.p_offset,
                     segment.p_type == PT_LOAD || segment.p_type == PT_DYNAMIC ? segment.p_filesz : 0);
    }
    const auto isLoaded = [&](const Elf64_Phdr& inner) {
        return std::any_of(segments.begin(), segments.end(), [&](const Elf64_Phdr& outer) {
            return outer.p_type == PT_LOAD && inner.p_vaddr >= outer.p_vaddr && inner.p_filesz <= outer.p_filesz &&
                   inner.p_vaddr - outer.p_vaddr <= outer.p_filesz - inner.p_filesz;
        });
    };
    std::uint64_t end = 0;
    std::size_t dynamicTables = 0;
    for (const Elf64_Phdr& segment : segments) {
        bool isSound = true;
        if (segment.p_type == PT_LOAD) {
            isSound = segment.p_filesz <= segment.p_memsz && segment.p_vaddr >= end &&
                      segment.p_memsz <= UINT64_MAX - segment.p_vaddr && std::has_single_bit(segment.p_align) &&
                      (segment.p_vaddr - segment.p_offset) % segment.p_align == 0;
            end = segment.p_vaddr + segment.p_memsz;
        } else if (segment.p_type == PT_DYNAMIC) {
            isSound = ++dynamicTables == 1 && segment.p_filesz % sizeof(Elf64_Dyn) == 0 && isLoaded(segment);
        }
        if (!isSound) throw Unfit{"has a corrupt head: its segments do not fit together"};
    }
    if (dynamicTables == 0) throw Unfit{"has a corrupt head: it has no table of dynamic links"};
}

/// The text of our note among the notes of one segment; empty without one.
std::string findManifestText(std::string_view notes, std::uint64_t alignment) {
    const auto align = [&](std::uint64_t offset) { return (offset + alignment - 1) / alignment * alignment; };
    std::uint64_t position = 0;
    while (notes.size() - position >= sizeof(Elf64_Nhdr)) {
        Elf64_Nhdr head;
        std::memcpy(&head, notes.data() + position, sizeof head);
        const std::uint64_t ownerAt = position + sizeof head;
        const std::uint64_t textAt = align(ownerAt + head.n_namesz);
        if (textAt > notes.size() || head.n_descsz > notes.size() - textAt) {
            throw Unfit{"has a corrupt head: a note is longer than the place of the notes"};
        }
        if (head.n_type == detail::kManifestNoteType &&
            notes.substr(ownerAt, head.n_namesz) == detail::kManifestNoteOwner) {
            return std::string(notes.substr(textAt, head.n_descsz));
        }
        position = align(textAt + head.n_descsz);
        if (position > notes.size()) break;  // the last note need not be padded
    }
    return {};
}

std::string readManifestText(const FileImage& file, const std::vector<Elf64_Phdr>& segments) {
    for (const Elf64_Phdr& segment : segments) {
        if (segment.p_type != PT_NOTE) continue;
        if (segment.p_filesz > kMaxNoteBytes) throw Unfit{"has a corrupt head: its notes take more than a mebibyte"};
        std::string notes(segment.p_filesz, '\0');
        file.read(segment.p_offset, notes);
        std::string text = findManifestText(notes, segment.p_align == 8 ? 8 : 4);
        if (!text.empty()) return text;
    }
    throw Unfit{"has no plug-in manifest: it was not built as a plug-in of this library"};
}

KrPluginManifest parseManifest(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        if (end == std::string_view::npos || !isManifestLine(text.substr(0, end))) {
            throw Unfit{"has a corrupt manifest: its text is not made of lines"};
        }
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    constexpr std::size_t kFixedLines = 4;
    if (lines.size() < kFixedLines || !isPluginName(lines[2])) {
        throw Unfit{"has a corrupt manifest: it does not name library version, build, plug-in and plug-in version"};
    }
    return {lines[0], lines[1], lines[2], lines[3], {lines.begin() + kFixedLines, lines.end()}};
}

/// "2020.3" of "2020.3.0".
std::string_view getInterfaceVersion(std::string_view version) {
    return version.substr(0, version.rfind('.'));
}

}  // namespace

Kr::FileResultOf<KrPluginManifest> readPluginManifest(const std::string& path) {
    try {
        const FileImage file(path);
        const std::vector<Elf64_Phdr> segments = readSegments(file);
        checkSegments(file, segments);
        return parseManifest(readManifestText(file, segments));
    } catch (Unfit& unfit) {
        return Kr::FileResult::failed(unfit.failure, path, "'" + path + "' ", std::move(unfit.reason));
    }
}

bool isPluginCompatible(const KrPluginManifest& manifest) {
    return getInterfaceVersion(manifest.libraryVersion) == getInterfaceVersion(KR_VERSION) &&
           (manifest.build == KR_PLUGIN_BUILD || manifest.build == KR_PLUGIN_PLAIN_BUILD_);
}

std::string getExpectedPluginBuild() {
    return KR_VERSION " (" KR_PLUGIN_BUILD ")";
}

}  // namespace KrPluginSystem
