#include "kr/data/extension_functions.h"

#include <atomic>

namespace KrData {

namespace {

std::atomic<const ExtensionFunctions*>& installed() noexcept {
    static std::atomic<const ExtensionFunctions*> table{nullptr};
    return table;
}

/// The answer of one function of the table, or the default of its type.
template <class Answer>
Answer ask(Answer (*ExtensionFunctions::*question)(KrSim::KrExtension*), KrSim::KrExtension* extension) {
    const auto* table = installed().load(std::memory_order_acquire);
    if (extension == nullptr || table == nullptr || table->*question == nullptr) return Answer{};
    return (table->*question)(extension);
}

}  // namespace

void ExtensionFunctions::_install(const ExtensionFunctions* functions) noexcept {
    installed().store(functions, std::memory_order_release);
}

KrSim::IExtension* ExtensionFunctions::implementationOf(KrSim::KrExtension* extension) {
    return ask(&ExtensionFunctions::getImplementation, extension);
}

Kr::KrBase* ExtensionFunctions::baseOf(KrSim::KrExtension* extension) {
    return ask(&ExtensionFunctions::asBase, extension);
}

std::string ExtensionFunctions::nameOf(KrSim::KrExtension* extension) {
    return ask(&ExtensionFunctions::getName, extension);
}

std::string ExtensionFunctions::typeNameOf(KrSim::KrExtension* extension) {
    return ask(&ExtensionFunctions::getTypeName, extension);
}

Container* ExtensionFunctions::fieldsOf(KrSim::KrExtension* extension) {
    return ask(&ExtensionFunctions::getFields, extension);
}

std::string ExtensionFunctions::pathOf(KrSim::KrExtension* extension) {
    return ask(&ExtensionFunctions::getPath, extension);
}

}  // namespace KrData
