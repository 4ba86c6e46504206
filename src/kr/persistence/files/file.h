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

/// A document on disk: sections in order, a description, and a tag in front that says what the file holds, which
/// release wrote it and in what kind of archive. docs/files.md has its bytes.
///
/// Failure: no operation that loads or saves throws. They answer false and leave the reason in getLastResult; a failed
/// load leaves an empty file, a failed save the file on disk as it was.
/// Thread: one thread at a time.
class KR_API KrFile : public Kr::KrBase, public Kr::KrBase::Subscriber, public Kr::KrRefCount {
    KR_BASE_CLASS(KrFile, Kr::KrBase)

public:
    /// What a file holds. 0 to 11 are kinds of content of earlier releases, which are only read.
    enum class eFileType : std::int32_t {
        kUnknown = 12,  ///< no type given
        kObject = 13,
        kSimulationState = 14,
        kInvalid = 15,  ///< not a file of ours
    };

    /// What the tag of a file tells.
    struct Info {
        eFileType fileType{eFileType::kInvalid};
        std::uint32_t majorVersion{0};
        std::uint32_t minorVersion{0};
        std::string marketingName;
    };

    static constexpr std::uint64_t kNoSizeLimit = std::numeric_limits<std::uint64_t>::max();

    // Flags of load and save; the others go to the archive, see KrArchive.
    static constexpr int kJson = 32;  ///< save as JSON
    static constexpr int kXml = 64;   ///< save as XML; wins over kJson
    /// Save XML and JSON with a checksum; binary files always have one.
    static constexpr int kChecksum = 128;
    static constexpr int kNoChecksum = 256;  ///< save a binary file without its checksum
    /// Load what can be read of a damaged file; getDoubts has what may be wrong or is missing then.
    static constexpr int kRecover = 512;
    /// Load or save without the warning in the log that tells a failure: the caller shows getLastResult.
    static constexpr int kUnlogged = 1024;

    using Callback = std::function<void()>;
    /// Called with how many of how many steps of loading or saving are done; the unit is the section's.
    using ProgressHandler = std::function<void(std::size_t done, std::size_t total)>;

    KrFile();
    /// Deletes the sections.
    ~KrFile() override;

    // --- Sections, in the order of the file -------------------------------------------------------------------------

    /// The file owns the section from now on, and deletes it when it throws std::bad_alloc. One that it holds already
    /// is not added again, null is ignored, and one of another file is refused with a warning.
    void addSection(KrFileSection* section);
    /// Hands the section back to the caller. Does nothing for one that the file does not hold.
    void removeSection(KrFileSection* section);
    [[nodiscard]] bool contains(const KrFileSection* section) const;
    /// Good until the sections change.
    [[nodiscard]] const std::vector<KrFileSection*>& getSections() const noexcept { return _sections; }
    /// Whether there is a section.
    [[nodiscard]] bool isValid() const noexcept { return !_sections.empty(); }
    /// Deletes the sections and forgets the referencable objects.
    void clearSections();
    /// clearSections, and no callbacks, description and producer any more. Name, type and current filename stay.
    void clear();

    // --- What the file says of itself -------------------------------------------------------------------------------

    [[nodiscard]] eFileType getFileType() const noexcept { return _fileType; }
    void setFileType(eFileType type) noexcept { _fileType = type; }
    [[nodiscard]] const std::string& getDescription() const noexcept { return _description; }
    void setDescription(const std::string& text) { _description = text; }
    /// Which program wrote the file; each save replaces it. See setProducer.
    [[nodiscard]] const std::string& getProducerInformation() const noexcept { return _producerInformation; }
    /// The path last loaded or saved.
    [[nodiscard]] const std::string& getCurrentFilename() const noexcept { return _currentFilename; }
    /// Only while there is none: a loaded file keeps its name.
    void setCurrentFilename(const std::string& filename);
    /// The setup or object file that names this one; set it before load. Content of this file gets the path from there
    /// as part of its identity (docs/content-identity.md). Empty: the path that was given to load.
    void setReferringFile(const std::string& filename) { _referringFile = filename; }
    [[nodiscard]] const std::string& getReferringFile() const noexcept { return _referringFile; }
    /// After a load with kRecover: what is wrong with the file, one text each, for people; none where nothing is.
    [[nodiscard]] const std::vector<std::string>& getDoubts() const noexcept { return _doubts; }
    /// After a load: what is probably not as meant, in the order of the file; not what only the whole content shows
    /// (checkContent). Content that was loaded keeps no more of it than it did of its file.
    [[nodiscard]] const std::vector<Finding>& getFindings() const noexcept { return _findings; }
    /// For sections, while the file is loaded.
    void _addFinding(Finding finding) { _findings.push_back(std::move(finding)); }
    /// The first failure of the last load or save; empty when there was none.
    [[nodiscard]] const std::string& getLastError() const noexcept { return _result.text; }
    /// The last load or save: with the reason, the place and the remedy of its failure.
    [[nodiscard]] const Kr::FileResult& getLastResult() const noexcept { return _result; }

    // --- Loading and saving -----------------------------------------------------------------------------------------

    /// \param filename     empty: the current filename; otherwise it becomes that.
    /// \param archiveName  the path that paths inside the file are relative to; empty: the current filename.
    bool load(const std::string& filename, int flags = 0, const std::string& archiveName = {});
    /// From the current position of a binary stream. Where the file has no name yet, the archive name becomes it. Bytes
    /// behind the file are left to be read.
    bool load(std::istream& stream, const std::string& archiveName = {}, int flags = 0);
    /// Writes beside the target, as "<target>.temp", and replaces the target in one step once all is on disk. A link to
    /// a regular file is followed, but not for simulation states; what is no regular file is refused.
    bool save(const std::string& filename, int flags = 0, const std::string& archiveName = {});
    /// To a binary stream.
    bool save(std::ostream& stream, const std::string& archiveName = {}, int flags = 0);
    /// Loading refuses files of more bytes. kNoSizeLimit unless set.
    void setSizeLimit(std::uint64_t sizeBytes) noexcept { _sizeLimit = sizeBytes; }

    /// What the tag of the file says; the defaults, and a warning, when it cannot be opened.
    [[nodiscard]] static Info GetFileInfo(const std::string& path);
    [[nodiscard]] static eFileType GetFileType(const std::string& path) { return GetFileInfo(path).fileType; }

    /// Called, on the thread that loads or saves, by sections that report. An exception from it is logged, and the work
    /// goes on. Empty: progress is not reported.
    void setProgressHandler(ProgressHandler handler) { _progressHandler = std::move(handler); }
    void _reportProgress(std::size_t done, std::size_t total) const;

    // --- For sections, while the file is loaded or saved ------------------------------------------------------------

    /// Runs the callback at the end of the load or save under way, before the sections are notified of the end of the
    /// load; lower order numbers first. An exception from it ends the load or save.
    void addCallback(int order, Callback callback);
    /// Runs all callbacks by order and within it by age. Throws std::bad_function_call for an empty one.
    void processCallbacks();
    /// Adds an object that others may refer to; once, and until it dies. Null is ignored. The object is borrowed.
    void registerReferencableObject(Kr::KrBase* object);
    /// Those that live, in the order of registration.
    [[nodiscard]] std::vector<Kr::KrBase*> getReferencableObjects() const;
    /// First step of each save: sets the producer and has the sections register their referencable objects anew.
    void prepareBeforeSaving(int flags);

    /// A section that cannot read on asks this: true while a damaged file is recovered. The section then keeps what it
    /// has, throws nothing, and nothing more of the file is read.
    [[nodiscard]] bool _endsHere(const std::string& reason);

    void onEvent(Event event, Kr::KrBase* object) override;

protected:
    /// Last step of each load: takes the sections out and puts them back one by one, each with its own postLoad, so
    /// that a section sees those before it. May throw; the load fails then.
    virtual void _postLoad();

private:
    friend class boost::serialization::access;

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
    /// Throws, or keeps the text as a doubt while a damaged file is recovered.
    void _refuseChecksum(const std::string& reason);
    void _doubt(const std::string& text);
    bool _saveTo(std::ostream& stream, const std::string& archiveName, int flags, const detail::AtomicFile* target);
    void _finish() noexcept;
    void _forgetReferencableObjects();
    /// Keeps the failure, of the current file unless it names one, as the last result; answers false.
    bool _fail(Kr::FileResult result);
    /// The same where a text could not be made.
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
