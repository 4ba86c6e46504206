#include "kr/data/extension_pointer.h"

#include "kr/core/base.h"
#include "kr/data/i_extension_facts.h"

namespace KrData {

ExtensionPointer::ExtensionPointer(KrSim::KrExtension* extension) {
    const auto* base = IExtensionFacts::baseOf(extension);
    _life = Kr::KrBasePointer(base);
    _isTracked = base != nullptr && (_life.getAddress() != nullptr || Kr::KrBase::getEnableMemoryTracking());
    _extension = extension;
}

KrSim::KrExtension* const& ExtensionPointer::get() const noexcept {
    static constexpr KrSim::KrExtension* kNone = nullptr;
    return !_isTracked || _life.get() != nullptr ? _extension : kNone;
}

}  // namespace KrData
