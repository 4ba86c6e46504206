#include "kr/persistence/files/file.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <utility>

#include "kr/persistence/files/file_object_numbers.h"
#include "kr/persistence/files/file_section.h"
#include "kr/persistence/files/internal/quiet_log.h"
#include "kr/persistence/files/magic_tag.h"
#include "kr/persistence/files/producer.h"
#include "kr/platform/guard.h"

namespace KrPersistence {

namespace {

constexpr Kr::GuardTexts kProgressTexts{Kr::eLogLevel::kWarn, "KrFile: fatal error in '%s' progress handler [%s]\n",
                                        "KrFile: unhandled exception in '%s' progress handler\n", "progress handler"};

// Without a time, so that the same content gives the same bytes.
std::string describeProducer() {
    const auto producer = getProducer();
    return producer.application + (producer.marketingName.empty() ? "" : " " + producer.marketingName) + ", version " +
           producer.version;
}

}  // namespace

KrFile::KrFile() = default;

KrFile::~KrFile() {
    clear();
    unsubscribeFromAll();
}

void KrFile::addSection(KrFileSection* section) {
    if (section == nullptr || contains(section)) return;
    if (section->getOwner() != nullptr && section->getOwner() != this) {
        Kr::logMessage(Kr::eLogLevel::kWarn, "KrFile: section '%s' belongs to another file; remove it there first.\n",
                       section->getName().c_str());
        return;
    }
    std::unique_ptr<KrFileSection> added(section);
    _sections.push_back(section);
    static_cast<void>(added.release());
    section->setOwner(this);
}

void KrFile::removeSection(KrFileSection* section) {
    const auto found = std::find(_sections.begin(), _sections.end(), section);
    if (found == _sections.end()) return;
    _sections.erase(found);
    section->setOwner(nullptr);
}

bool KrFile::contains(const KrFileSection* section) const {
    return std::find(_sections.begin(), _sections.end(), section) != _sections.end();
}

void KrFile::clearSections() {
    // Taken out first: a destructor may ask the file.
    for (const KrFileSection* section : std::exchange(_sections, {}))
        delete section;
    _forgetReferencableObjects();
}

void KrFile::clear() {
    clearSections();
    _callbacks.clear();
    _description.clear();
    _producerInformation.clear();
}

void KrFile::setCurrentFilename(const std::string& filename) {
    if (_currentFilename.empty()) _currentFilename = filename;
}

KrFile::Info KrFile::GetFileInfo(const std::string& path) {
    Info info;
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        Kr::logMessage(Kr::eLogLevel::kWarn, "KrFile::GetFileVersion() cannot open file '%s'.\n", path.c_str());
        return info;
    }
    KrMagicTag tag;
    tag.load(stream);
    info.fileType = tag.getFileType();
    tag.getOrreryVersion(info.majorVersion, info.minorVersion);
    info.marketingName = tag.getMarketingName();
    return info;
}

void KrFile::_reportProgress(std::size_t done, std::size_t total) const {
    if (!_progressHandler) return;
    Kr::callGuarded(
        kProgressTexts, [&] { return _currentFilename; }, [&] { _progressHandler(done, total); });
}

void KrFile::addCallback(int order, Callback callback) {
    _callbacks[order].push_back(std::move(callback));
}

void KrFile::processCallbacks() {
    // By place, and copied: a callback may add others.
    for (const auto& [order, callbacks] : _callbacks) {
        for (std::size_t i = 0; i < callbacks.size(); ++i) {
            const Callback callback = callbacks[i];
            callback();
        }
    }
}

void KrFile::registerReferencableObject(Kr::KrBase* object) {
    if (object == nullptr || _referencablePlaces.contains(object)) return;
    _referencableObjects.push_back(object);
    try {
        _referencablePlaces.emplace(object, _referencableObjects.size() - 1);
        object->addSubscriber(Event::kDestroyed, this);
    } catch (...) {
        // The file must be notified when an object that it lists dies.
        _referencablePlaces.erase(object);
        _referencableObjects.pop_back();
        throw;
    }
}

std::vector<Kr::KrBase*> KrFile::getReferencableObjects() const {
    std::vector<Kr::KrBase*> living;
    living.reserve(_referencablePlaces.size());
    std::copy_if(_referencableObjects.begin(), _referencableObjects.end(), std::back_inserter(living),
                 [](const Kr::KrBase* object) { return object != nullptr; });
    return living;
}

void KrFile::prepareBeforeSaving(int flags) {
    FileObjectNumbers::instance()._begin();
    _producerInformation = describeProducer();
    _forgetReferencableObjects();
    for (std::size_t i = 0; i < _sections.size(); ++i)
        _sections[i]->prepareBeforeSaving(this, flags);
}

void KrFile::onEvent(Event event, Kr::KrBase* object) {
    if (event != Event::kDestroyed) return;
    const auto place = _referencablePlaces.find(object);
    if (place == _referencablePlaces.end()) return;
    _referencableObjects[place->second] = nullptr;
    _referencablePlaces.erase(place);
}

void KrFile::_forgetReferencableObjects() {
    for (Kr::KrBase* object : _referencableObjects) {
        if (object != nullptr) object->removeSubscriber(this);
    }
    _referencablePlaces.clear();
    _referencableObjects.clear();
}

void KrFile::_finish() noexcept {
    _callbacks.clear();
    FileObjectNumbers::instance()._end();
}

void KrFile::_doubt(const std::string& text) {
    _doubts.push_back(text);
}

bool KrFile::_endsHere(const std::string& reason) {
    if (!_isRecovering) return false;
    _isCut = true;
    _doubt(reason);
    return true;
}

void KrFile::_forgetError(int flags) noexcept {
    _logsFailures = (flags & kUnlogged) == 0;
    _doubts.clear();
    _findings.clear();
    _isCut = false;
    _result = {};
}

bool KrFile::_fail(Kr::FileResult result) {
    if (result.file.empty()) result.file = _currentFilename;
    _result = std::move(result);
    if (!_logsFailures) return false;
    detail::logQuietly(Kr::eLogLevel::kWarn, _result.text);
    if (!_result.reason.empty()) detail::logQuietly(Kr::eLogLevel::kWarn, "KrFile: " + _result.reason + ".\n");
    return false;
}

bool KrFile::_failForMemory() noexcept {
    _result = Kr::FileResult::noMemory();
    try {
        Kr::logMessage(Kr::eLogLevel::kWarn, "KrFile: out of memory while loading or saving\n");
    } catch (...) {  // there is no other place for the message
    }
    return false;
}

}  // namespace KrPersistence
