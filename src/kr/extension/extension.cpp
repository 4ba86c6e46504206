#include "kr/extension/extension.h"

#include <iterator>
#include <new>
#include <utility>
#include <vector>

#include "kr/data/container.h"
#include "kr/data/field_access.h"
#include "kr/data/i_extension_facts.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension_state.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/implementation_changes.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/instance_map.h"
#include "kr/extension/internal/extension_guards.h"
#include "kr/extension/internal/state_header.h"
#include "kr/extension/kept_content.h"
#include "kr/extension/object.h"
#include "kr/extension/upper_layers.h"
#include "kr/platform/log.h"

template class Kr::UpperLayer<KrSim::IExtensionMaker>;
template class Kr::UpperLayer<KrSim::IExtensionOrder>;

namespace KrSim {

using KrData::detail::FieldAccess;

namespace {

/// Only its version matters: nothing calls it.
class UnknownImplementation final : public IExtension {
public:
    explicit UnknownImplementation(KrExtension* proxy) : IExtension(proxy, kNoImplementationVersion) {}
};

}  // namespace

// --- Life ----------------------------------------------------------------------------------------------------------

KrExtension::KrExtension()
    : _fields(std::make_unique<Kr::KrInputOutputContainer>(*this)), _contentID(KrContentID::createUnique()) {
    KrContentRegistry::instance().registerExtension(this);
}

KrExtension::~KrExtension() {
    KrContentRegistry::instance().unregisterExtension(this);
    if (_sorterSlot != kNoSlot) Kr::UpperLayer<IExtensionOrder>::get()->forget(*this);
    // No listener may be notified of actions of the implementation's destructor.
    _fields->_release();
    _setIExtension(nullptr);
    // Not before: the type must not be withdrawn while code of its implementation runs.
    if (_instanceLink.list != nullptr) detail::ObjectMap::instance().remove(*this);
}

// --- Name and place ------------------------------------------------------------------------------------------------

void KrExtension::setName(const char* name) {
    if (!_fields) return;
    if (name == nullptr || *name == '\0') {
        _setDefaultName();
        return;
    }
    _fields->getNameField().setValue(name);
}

void KrExtension::_setDefaultName() {
    if (!_fields) return;
    const auto& name = _fields->getNameField().getValue();
    if (!name.empty()) {
        if (name != getName()) KrBase::setName(name.c_str());
        return;
    }
    setCombinedName(_creationKey.name.c_str(), "default", getCreationIndex());
}

void KrExtension::_ensureName() {
    if (!hasName()) setCombinedName("default", nullptr, getCreationIndex());
}

void KrExtension::_onNameFieldChanged() {
    const auto& name = _fields->getNameField().getValue();
    if (name == getName()) return;
    if (name.empty()) {
        _fields->getNameField().setValue(getName());  // a name is never taken away
        return;
    }
    const auto before = getName();
    try {
        KrBase::setName(name.c_str());
        if (auto* owner = getOwner()) owner->_onExtensionRenamed(*this, before);
    } catch (const std::bad_alloc&) {
        // Field and name stay equal. The former text fits into the memory of the longer one.
        if (getName() != name) FieldAccess::restoreValue(_fields->getNameField(), getName());
        throw;
    }
}

const std::string& KrExtension::getTypeName() const noexcept {
    return _creationKey.name.empty() ? getClassName() : _creationKey.name;
}

std::string KrExtension::getPath() const {
    std::vector<const std::string*> names{&getName()};
    for (const auto* owner = getOwner(); owner != nullptr && !owner->isApplicationRoot(); owner = owner->getOwner())
        names.push_back(&owner->getName());
    std::string path = *names.back();
    for (auto name = std::next(names.rbegin()); name != names.rend(); ++name)
        path.append(1, '/').append(**name);
    return path;
}

ApplicationContext KrExtension::getApplicationContext() const {
    return _fields->getApplicationContext();
}

eApplicationMode KrExtension::getApplicationMode() const {
    return _fields->getApplicationContext().getApplicationMode();
}

bool KrExtension::isActive() const {
    return !_fields->getApplicationContext().isValid() || _fields->_isActiveInApplication();
}

bool KrExtension::_isSimulatorModule() const noexcept {
    return false;
}

void KrExtension::_setApplicationContext(const ApplicationContext& context) {
    _fields->_setApplicationContext(context);
}

void KrExtension::_setOwner(KrObject* owner) {
    if (_owner == owner) return;
    const auto nameOf = [this] { return getName(); };
    if (_owner != nullptr && _hasImplementation) {
        Kr::callGuarded(
            detail::kOnRemoveFromOwner, nameOf, [this] { _implementation->onRemoveFromOwner(_owner); }, this);
    }
    if (const auto* order = Kr::UpperLayer<IExtensionOrder>::get()) {
        order->changeOwner(*this, _owner, owner);
    } else {
        _owner = owner;
    }
    if (_owner != nullptr && _hasImplementation) {
        Kr::callGuarded(
            detail::kOnAddToOwner, nameOf, [this] { _implementation->onAddToOwner(_owner); }, this);
    }
}

void KrExtension::_setCreationKey(const KrFactoryKey& key) {
    _creationKey = key;
    _stateHeader.reset();
    if (!hasName()) _setDefaultName();
}

void KrExtension::_setContentID(const KrContentID& id) {
    auto before = std::exchange(_contentID, KrContentID(id));
    _stateHeader.reset();
    try {
        KrContentRegistry::instance()._onContentIDChanged(this, before, _contentID);
    } catch (...) {
        _contentID = std::move(before);
        throw;
    }
}

// --- Implementation ------------------------------------------------------------------------------------------------

// Runs in the constructor of IExtension: nothing virtual of the implementation may be called here.
constinit std::atomic<std::uint32_t> detail::replacedImplementations{0};

void KrExtension::_setIExtension(IExtension* implementation) {
    if (_implementation == implementation) return;
    if (_implementation != nullptr) {
        _implementationVersion = 0;
        _versions.clear();
        _extensionData.clear();
        _addPending(-_pendingCount);
        _hasImplementation = false;
        _isUnknown = false;
        delete std::exchange(_implementation, nullptr);
        if (implementation != nullptr) detail::replacedImplementations.fetch_add(1, std::memory_order_relaxed);
    }
    _implementation = implementation;
    _hasImplementation = implementation != nullptr && implementation->_version != IExtension::kNoImplementationVersion;
    try {
        _updateVersionInfo();
    } catch (...) {
        // The constructor of the implementation fails with this: nothing of it is left to be destroyed.
        _forgetImplementation(implementation);
        throw;
    }
}

void KrExtension::_updateVersionInfo() {
    if (!_hasImplementation) return;  // a placeholder knows no versions, those that were saved stay
    _implementationVersion = _implementation->_version;
    _versions = KrVersioningRegistry::getVersions(this);
}

void KrExtension::_forgetImplementation(const IExtension* implementation) noexcept {
    if (_implementation != implementation) return;
    _implementation = nullptr;
    _hasImplementation = false;
    _isUnknown = false;
    _implementationVersion = 0;
    _versions.clear();
}

void KrExtension::_createUnknownImplementation() {
    // The constructor hands it over to this extension.
    static_cast<void>(new UnknownImplementation(this));
    _isUnknown = true;
}

// --- Fields --------------------------------------------------------------------------------------------------------

namespace {

template <class Insert>
KrData::FieldBase* insertField(KrData::Container& group, const Kr::KrID& name, std::uint64_t index,
                               const Insert& insert) {
    if (index == KrExtension::kLastIndex) index = group.size();
    if (index > group.size()) return nullptr;
    const auto position = group.begin() + static_cast<std::ptrdiff_t>(index);
    const auto place = insert(position, group.getUniqueFieldId(name));
    return place != KrData::Container::iterator() && place != group.end() ? *place : nullptr;
}

KrData::FieldBase* addField(KrData::Container& group, const Kr::KrID& name, KrData::Types::DataTypeEnum type,
                            std::uint64_t index) {
    return insertField(group, name, index,
                       [&](auto position, const Kr::KrID& id) { return group.insert(position, id, type); });
}

KrData::FieldBase* addField(KrData::Container& group, const Kr::KrID& name, const std::type_info& type,
                            std::uint64_t index) {
    return insertField(group, name, index,
                       [&](auto position, const Kr::KrID& id) { return group.insert(position, id, type); });
}

KrData::FieldBase* addField(KrData::Container& group, const Kr::KrID& name, const Kr::KrID& type, std::uint64_t index) {
    return insertField(group, name, index, [&](auto position, const Kr::KrID& id) {
        return group.insertExtensionField(position, id, type);
    });
}

KrData::FieldBase* findField(const KrData::Container& group, const Kr::KrID& id) {
    const auto found = group.find(id);
    return found != group.end() ? *found : nullptr;
}

/// By value: the identifier may be that of the first removed field.
std::size_t removeFields(KrData::Container& group, Kr::KrID id) {
    std::size_t count = 0;
    while (group.removeField(id))
        ++count;
    return count;
}

}  // namespace

KrData::FieldBase* KrExtension::addInput(const Kr::KrID& name, KrData::Types::DataTypeEnum type, Index index) {
    return addField(getInputContainer(), name, type, index);
}
KrData::FieldBase* KrExtension::addInput(const Kr::KrID& name, const std::type_info& type, Index index) {
    return addField(getInputContainer(), name, type, index);
}
KrData::FieldBase* KrExtension::addInput(const Kr::KrID& name, const Kr::KrID& type, Index index) {
    return addField(getInputContainer(), name, type, index);
}
KrData::FieldBase* KrExtension::addOutput(const Kr::KrID& name, KrData::Types::DataTypeEnum type, Index index) {
    return addField(getOutputContainer(), name, type, index);
}
KrData::FieldBase* KrExtension::addOutput(const Kr::KrID& name, const std::type_info& type, Index index) {
    return addField(getOutputContainer(), name, type, index);
}
KrData::FieldBase* KrExtension::addOutput(const Kr::KrID& name, const Kr::KrID& type, Index index) {
    return addField(getOutputContainer(), name, type, index);
}
KrData::FieldBase* KrExtension::addParameter(const Kr::KrID& name, KrData::Types::DataTypeEnum type, Index index) {
    return addField(getParameterContainer(), name, type, index);
}
KrData::FieldBase* KrExtension::addParameter(const Kr::KrID& name, const std::type_info& type, Index index) {
    return addField(getParameterContainer(), name, type, index);
}
KrData::FieldBase* KrExtension::addParameter(const Kr::KrID& name, const Kr::KrID& type, Index index) {
    return addField(getParameterContainer(), name, type, index);
}

KrData::FieldBase* KrExtension::getInput(const Kr::KrID& id) const {
    return findField(_fields->getInputs(), id);
}
KrData::FieldBase* KrExtension::getOutput(const Kr::KrID& id) const {
    return findField(_fields->getOutputs(), id);
}
KrData::FieldBase* KrExtension::getParameter(const Kr::KrID& id) const {
    return findField(_fields->getParameters(), id);
}
std::size_t KrExtension::removeInput(const Kr::KrID& id) {
    return removeFields(_fields->getInputs(), id);
}
std::size_t KrExtension::removeOutput(const Kr::KrID& id) {
    return removeFields(_fields->getOutputs(), id);
}
std::size_t KrExtension::removeParameter(const Kr::KrID& id) {
    return removeFields(_fields->getParameters(), id);
}

KrData::Container& KrExtension::getInputContainer() {
    return _fields->getInputs();
}
const KrData::Container& KrExtension::getInputContainer() const {
    return _fields->getInputs();
}
KrData::Container& KrExtension::getOutputContainer() {
    return _fields->getOutputs();
}
const KrData::Container& KrExtension::getOutputContainer() const {
    return _fields->getOutputs();
}
KrData::Container& KrExtension::getParameterContainer() {
    return _fields->getParameters();
}
const KrData::Container& KrExtension::getParameterContainer() const {
    return _fields->getParameters();
}

KrData::FieldBase* KrExtension::findFieldFromPath(const std::string& path) const {
    return _fields->findFieldFromPath(path);
}
KrData::DelegateConnection KrExtension::addObserver(Observer observer) {
    return _fields->addObserver(std::move(observer));
}
KrData::DelegateConnection KrExtension::addPropertyObserver(Observer observer) {
    return _fields->addPropertyObserver(std::move(observer));
}

// --- Errors and infos ----------------------------------------------------------------------------------------------

void KrExtension::_addMessage(KrMessageList& list, const std::string& message, bool log) {
    // Observers of the messages and of the name may drop the last holder.
    const Kr::KrSmartPtr<KrExtension> keep(getRefCount() > 0 ? this : nullptr);
    if (!list.addMessage(message) || !log) return;
    _ensureName();
    Kr::logMessage(Kr::eLogLevel::kWarn, "%s: %s\n", getName().c_str(), message.c_str());
}

void KrExtension::addError(const std::string& message, bool log) {
    _addMessage(_fields->getErrors(), message, log);
}
void KrExtension::addInfo(const std::string& message, bool log) {
    _addMessage(_fields->getInfos(), message, log);
}
void KrExtension::removeError(std::size_t index) {
    _fields->getErrors().removeMessage(index);
}
void KrExtension::removeError(const std::string& message, bool) {
    _fields->getErrors().removeMessage(message);
}
void KrExtension::removeInfo(std::size_t index) {
    _fields->getInfos().removeMessage(index);
}
void KrExtension::removeInfo(const std::string& message, bool) {
    _fields->getInfos().removeMessage(message);
}
void KrExtension::clearErrors() {
    _fields->getErrors().clearMessages();
}
void KrExtension::clearInfos() {
    _fields->getInfos().clearMessages();
}
std::size_t KrExtension::getErrorCount() const {
    return _fields->getErrors().getMessageCount();
}
std::size_t KrExtension::getInfoCount() const {
    return _fields->getInfos().getMessageCount();
}
const std::string& KrExtension::getError(std::size_t index) const {
    return _fields->getErrors().getMessage(index);
}
const std::string& KrExtension::getInfo(std::size_t index) const {
    return _fields->getInfos().getMessage(index);
}
std::string KrExtension::getError() const {
    return _fields->getErrors().joinMessages(getName() + ": ");
}
std::string KrExtension::getAllErrors(bool) const {
    return getError();
}
std::string KrExtension::getAllInfos(bool) const {
    return _fields->getInfos().joinMessages({});
}
bool KrExtension::hasError(bool) const {
    return (!_hasImplementation || isActive()) && getErrorCount() != 0;
}
bool KrExtension::hasInfo(bool) const {
    return (!_hasImplementation || isActive()) && getInfoCount() != 0;
}

// --- What data/ asks of extensions -----------------------------------------------------------------------------------

namespace {

class ExtensionFacts final : public KrData::IExtensionFacts {
public:
    [[nodiscard]] IExtension* getImplementation(KrExtension& extension) const override {
        return extension.hasImplementation() ? extension.getImplementation() : nullptr;
    }
    [[nodiscard]] Kr::KrBase* asBase(KrExtension& extension) const override { return &extension; }
    [[nodiscard]] std::string getName(KrExtension& extension) const override { return extension.getName(); }
    [[nodiscard]] std::string getTypeName(KrExtension& extension) const override { return extension.getTypeName(); }
    [[nodiscard]] KrData::Container* getFields(KrExtension& extension) const override {
        return &extension.getFieldsContainer();
    }
    [[nodiscard]] std::string getPath(KrExtension& extension) const override { return extension.getPath(); }
};

/// Installed while the library is loaded, before anything can use a field.
[[maybe_unused]] const bool areFactsInstalled = [] {
    static const ExtensionFacts facts;
    Kr::UpperLayer<KrData::IExtensionFacts>::install(&facts);
    return true;
}();

}  // namespace

}  // namespace KrSim
