#pragma once

#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// What was loaded with an extension and cannot be put in place yet, such as a connection to missing content. The
/// extension owns it until it is put in place, and saves it again. The layer that loads defines it.
class KR_API IKeptContent {
public:
    virtual ~IKeptContent();
    /// Gives a copy of the extension what belongs to its fields, as a reference to content that is not there.
    virtual void _copyTo(KrExtension& copy) const = 0;

    using Retry = void (*)();
    /// Installs the function that tries all kept content again; the layer that loads has one. Any thread.
    static void _setRetry(Retry retry) noexcept;
    /// Called when an instance has followed another version of its definition, so that missing content may exist now.
    /// Application thread. Throws std::bad_alloc.
    static void _retryAll();
};

}  // namespace KrSim
