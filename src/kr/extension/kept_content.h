#pragma once

#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Data loaded with an extension that cannot be resolved yet, such as a connection to missing content. The extension
/// owns it until it is resolved, and saves it again. The loading layer defines it.
/// Thread: application. Ownership: owned by its extension.
class KR_API IKeptContent {
public:
    virtual ~IKeptContent();
    /// Copies the data that belongs to the fields to a copy of the extension, as a reference to missing content.
    virtual void _copyTo(KrExtension& copy) const = 0;

    using Retry = void (*)();
    /// Installs the function that tries to resolve all kept content; the loading layer has one. Any thread.
    static void _setRetry(Retry retry) noexcept;
    /// Called when an instance has followed another version of its definition, so that missing content may exist now.
    /// Application thread. Throws std::bad_alloc.
    static void _retryAll();
};

}  // namespace KrSim
