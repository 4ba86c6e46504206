#include "kr/data/i_extension_facts.h"

template class Kr::UpperLayer<KrData::IExtensionFacts>;

namespace KrData {

namespace {

/// The result of one function, or the default of its type.
template <class Answer>
Answer ask(Answer (IExtensionFacts::*question)(KrSim::KrExtension&) const, KrSim::KrExtension* extension) {
    const auto* facts = Kr::UpperLayer<IExtensionFacts>::get();
    return extension != nullptr && facts != nullptr ? (facts->*question)(*extension) : Answer{};
}

}  // namespace

KrSim::IExtension* IExtensionFacts::getImplementation(KrSim::KrExtension&) const {
    return {};
}

Kr::KrBase* IExtensionFacts::asBase(KrSim::KrExtension&) const {
    return {};
}

std::string IExtensionFacts::getName(KrSim::KrExtension&) const {
    return {};
}

std::string IExtensionFacts::getTypeName(KrSim::KrExtension&) const {
    return {};
}

Container* IExtensionFacts::getFields(KrSim::KrExtension&) const {
    return {};
}

std::string IExtensionFacts::getPath(KrSim::KrExtension&) const {
    return {};
}

KrSim::IExtension* IExtensionFacts::implementationOf(KrSim::KrExtension* extension) {
    return ask(&IExtensionFacts::getImplementation, extension);
}

Kr::KrBase* IExtensionFacts::baseOf(KrSim::KrExtension* extension) {
    return ask(&IExtensionFacts::asBase, extension);
}

std::string IExtensionFacts::nameOf(KrSim::KrExtension* extension) {
    return ask(&IExtensionFacts::getName, extension);
}

std::string IExtensionFacts::typeNameOf(KrSim::KrExtension* extension) {
    return ask(&IExtensionFacts::getTypeName, extension);
}

Container* IExtensionFacts::fieldsOf(KrSim::KrExtension* extension) {
    return ask(&IExtensionFacts::getFields, extension);
}

std::string IExtensionFacts::pathOf(KrSim::KrExtension* extension) {
    return ask(&IExtensionFacts::getPath, extension);
}

}  // namespace KrData
