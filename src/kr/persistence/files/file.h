#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <limits>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kr/core/base.h"
#include "kr/persistence/archives/finding.h"
#include "kr/persistence/files/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/file_result.h"
#include "kr/platform/ref_count.h"

namespace boost::serialization {
class access;
}  // namespace boost::serialization

namespace KrPersistence {

namespace detail {
class AtomicFile;
struct LoadSource;
}  // namespace detail

/// A document on disk: sections in order, a description, and a leading tag with the kind of contents, the release that
/// wrote it and the kind of archive. Its bytes: docs/files.md.
///
/// No operation that loads or saves throws. They return false and keep the reason in getLastResult; a failed load
/// leaves an empty file, a failed save leaves the file on disk unchanged.
/// Thread: one at a time. Ownership: owns its sections; referencable objects are borrowed.
class KR_API KrFile : public Kr::KrBase, public Kr::KrBase::Subscriber, public Kr::KrRefCount {
    KR_BASE_CLASS(KrFile, Kr::KrBase)

public:
    /// The kind of contents. 0 to 11 are kinds of earlier releases, which are only read.
    enum class eFileType : std::int32_t {
        kUnknown = 12,  ///< no type given
        kObject = 13,
        kSimulationState = 14,
        kInvalid = 15,  ///< not a file of this library
    };

    /// The contents of a file's tag.
    struct Info {
        eFileType fileType{eFileType::kInvalid};
        std::uint32_t majorVersion{0};
        std::uint32_t minorVersion{0};
        std::string marketingName;
    };

    static constexpr std::uint64_t kNoSizeLimit = std::numeric_limits<std::uint64_t>::max();

    // Flags of load and save; the others go to the archive, see KrArchive.
    static constexpr int kJson = 32;  ///< save as JSON
    static constexpr int kXml = 64;   ///< save as XML; takes precedence over kJson
    /// Save XML and JSON with a checksum; binary files always have one.
    static constexpr int kChecksum = 128;
    static constexpr int kNoChecksum = 256;  ///< save a binary file without its checksum
    /// Load the readable part of a damaged file; getDoubts returns what may be wrong or missing.
    static constexpr int kRecover = 512;
    /// Load or save without the warning in the log about a failure: the caller shows getLastResult.
    static constexpr int kUnlogged = 1024;
    /// Save instances complete, so that the file needs no other one; see docs/object-files.md.
    static constexpr int kSelfContained = 2048;

    using Callback = std::function<void()>;
    /// Called with the number of finished steps of loading or saving and their total; the section defines the step.
    using ProgressHandler = std::function<void(std::size_t done, std::size_t total)>;

    KrFile();
    /// Deletes the sections.
    ~KrFile() override;

    // --- Sections, in the order of the file -------------------------------------------------------------------------

    /// The file owns the section from now on, and deletes it when it throws std::bad_alloc. Ignores null and a section
    /// that it has already; refuses one of another file with a warning.
    void addSection(KrFileSection* section);
    /// Removes the section, which the caller owns from now on. Does nothing for a section of another file.
    void removeSection(KrFileSection* section);
    /// Whether the file owns the section, which is only compared.
    [[nodiscard]] bool contains(const KrFileSection* section) const;
    /// Valid until the sections change.
    [[nodiscard]] const std::vector<KrFileSection*>& getSections() const noexcept { return _sections; }
    /// Whether the file has a section.
    [[nodiscard]] bool isValid() const noexcept { return !_sections.empty(); }
    /// Deletes the sections and removes all referencable objects.
    void clearSections();
    /// As clearSections, and removes callbacks, description and producer. Name, type and current filename are kept.
    void clear();

    // --- Properties of the file -------------------------------------------------------------------------------------

    [[nodiscard]] eFileType getFileType() const noexcept { return _fileType; }
    void setFileType(eFileType type) noexcept { _fileType = type; }  ///< Written into the tag by the next save.
    [[nodiscard]] const std::string& getDescription() const noexcept { return _description; }
    /// For people; written by the next save.
    void setDescription(const std::string& text) { _description = text; }
    /// The program that wrote the file; each save replaces it. See setProducer.
    [[nodiscard]] const std::string& getProducerInformation() const noexcept { return _producerInformation; }
    /// The path last loaded or saved.
    [[nodiscard]] const std::string& getCurrentFilename() const noexcept { return _currentFilename; }
    /// Only without a current filename: a loaded file keeps its name.
    void setCurrentFilename(const std::string& filename);
    /// The setup or object file that refers to this one; set it before load. The path seen from there becomes part of
    /// the identity of this file's content (docs/content-identity.md). Empty: the path that was given to load.
    void setReferringFile(const std::string& filename) { _referringFile = filename; }
    [[nodiscard]] const std::string& getReferringFile() const noexcept { return _referringFile; }
    /// After a load with kRecover: faults of the file, one text each, for people.
    [[nodiscard]] const std::vector<std::string>& getDoubts() const noexcept { return _doubts; }
    /// After a load: probable mistakes, in the order of the file; without those that only the complete content shows
    /// (checkContent). Valid until the next load.
    [[nodiscard]] const std::vector<Finding>& getFindings() const noexcept { return _findings; }
    /// The first failure of the last load or save; empty after a success.
    [[nodiscard]] const std::string& getLastError() const noexcept { return _result.text; }
    /// The last load or save, with the reason, the place and the remedy of its failure.
    [[nodiscard]] const Kr::FileResult& getLastResult() const noexcept { return _result; }

    // --- Loading and saving -----------------------------------------------------------------------------------------

    /// \param filename     becomes the current filename; empty: the current filename.
    /// \param archiveName  the path to which paths inside the file are relative; empty: the current filename.
    bool load(const std::string& filename, int flags = 0, const std::string& archiveName = {});
    /// From the current position of a binary stream. A file without a name takes the archive name. Reads no further.
    bool load(std::istream& stream, const std::string& archiveName = {}, int flags = 0);
    /// Writes "<target>.temp" beside the target, and replaces the target in one step when all bytes are on disk. A link
    /// to a regular file is followed, but not for simulation states; a target that is no regular file is refused.
    bool save(const std::string& filename, int flags = 0, const std::string& archiveName = {});
    /// To a binary stream.
    bool save(std::ostream& stream, const std::string& archiveName = {}, int flags = 0);
    /// Loading refuses larger files. Initially kNoSizeLimit.
    void setSizeLimit(std::uint64_t sizeBytes) noexcept { _sizeLimit = sizeBytes; }

    /// The contents of the file's tag; the defaults, and a warning, when it cannot be opened.
    [[nodiscard]] static Info GetFileInfo(const std::string& path);
    [[nodiscard]] static eFileType GetFileType(const std::string& path) { return GetFileInfo(path).fileType; }

    /// Called by sections that report, on the thread that loads or saves. An exception is logged, and the work
    /// continues. Empty: no reports.
    void setProgressHandler(ProgressHandler handler) { _progressHandler = std::move(handler); }

    // --- For sections, while the file is loaded or saved ------------------------------------------------------------

    /// Runs the callback at the end of the load or save in progress, before the sections are notified of the end of the
    /// load; lower order numbers first. An exception of it fails the load or save.
    void addCallback(int order, Callback callback);
    /// Runs all callbacks by order, those of equal order by age. Throws std::bad_function_call for an empty one.
    void processCallbacks();
    /// Adds an object that other sections may refer to; it is listed once, until it dies. Ignores null. Borrowed.
    void registerReferencableObject(Kr::KrBase* object);
    /// The living ones, in the order of registration.
    [[nodiscard]] std::vector<Kr::KrBase*> getReferencableObjects() const;
    /// First step of each save: sets the producer, and all sections register their referencable objects again.
    void prepareBeforeSaving(int flags);

    void onEvent(Event event, Kr::KrBase* object) override;

protected:
    /// Last step of each load: removes the sections and adds them again one by one, each with its own postLoad, so that
    /// a section sees those before it. May throw; the load fails then.
    virtual void _postLoad();

private:
    friend class boost::serialization::access;
    friend class KrFileSection;

    template <class Archive>
    void serialize(Archive& archive, unsigned int version);
    template <class Archive>
    void _readBodyFrom(std::istream& stream, const std::string& archiveName, std::uint32_t flags);
    template <class Archive>
    void _writeBodyTo(std::ostream& stream, const std::string& archiveName, std::uint32_t flags) const;
    bool _readBody(std::istream& stream, const KrMagicTag& tag, const std::string& archiveName, int flags);
    void _writeBody(std::ostream& stream, const KrMagicTag& tag, const std::string& archiveName, int flags) const;

    bool _load(std::istream& stream, const std::string& archiveName, int flags, bool isWholeStream);
    bool _loadFrom(const detail::LoadSource& source, const std::string& archiveName, int flags);
    bool _loadChecked(const detail::LoadSource& source, const KrMagicTag& tag, const std::string& archiveName,
                      int flags);
    /// Throws, or adds the text to the doubts while a damaged file is recovered.
    void _refuseChecksum(const std::string& reason);
    void _doubt(const std::string& text);
    void _reportProgress(std::size_t done, std::size_t total) const;
    [[nodiscard]] bool _endsHere(const std::string& reason);
    bool _saveTo(std::ostream& stream, const std::string& archiveName, int flags, const detail::AtomicFile* target);
    void _finish() noexcept;
    void _forgetReferencableObjects();
    /// Keeps the failure, of the current file unless it names one, as the last result; returns false.
    bool _fail(Kr::FileResult result);
    /// The same when memory for a text was missing.
    bool _failForMemory() noexcept;
    /// The same for a failure that is made here.
    template <class MakeResult>
    bool _failWith(const MakeResult& makeResult) noexcept {
        try {
            return _fail(makeResult());
        } catch (...) {
            return _failForMemory();
        }
    }
    /// For failures of a file that is loaded from a stream, too.
    [[nodiscard]] const std::string& _shownName(const std::string& archiveName) const noexcept {
        return _currentFilename.empty() ? archiveName : _currentFilename;
    }
    /// \param flags  of the load or save that begins.
    void _forgetError(int flags) noexcept;

    std::vector<KrFileSection*> _sections;  // owned
    std::map<int, std::vector<Callback>> _callbacks;
    std::string _currentFilename;
    std::string _referringFile;
    eFileType _fileType{eFileType::kUnknown};
    std::vector<Kr::KrBase*> _referencableObjects;  // null where one has died
    std::unordered_map<const Kr::KrBase*, std::size_t> _referencablePlaces;
    std::string _description;
    std::string _producerInformation;
    Kr::FileResult _result;  // of the last load or save
    std::vector<std::string> _doubts;
    std::vector<Finding> _findings;
    bool _isRecovering{false};
    bool _isCut{false};  // nothing more of the archive can be read
    bool _logsFailures{true};
    ProgressHandler _progressHandler;
    std::uint64_t _sizeLimit{kNoSizeLimit};
};

}  // namespace KrPersistence
