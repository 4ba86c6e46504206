#pragma once

#include <new>

#include "kr/platform/guard.h"

namespace Kr {

/// As callGuarded, for callers that can fail as a whole: what the callback throws is logged, and std::bad_alloc is then
/// thrown on to the caller, so that an operation that lost a part of its work never looks complete.
template <class NameOf, class Call>
bool callGuardedButMemory(const GuardTexts& texts, const NameOf& nameOf, Call&& call, GuardedSubject subject = {}) {
    bool isOutOfMemory = false;
    const auto callAndWatch = [&] {
        try {
            call();
        } catch (const std::bad_alloc&) {
            isOutOfMemory = true;
            throw;
        }
    };
    const bool isDone = callGuarded(texts, nameOf, callAndWatch, subject);
    if (isOutOfMemory) throw std::bad_alloc();
    return isDone;
}

}  // namespace Kr
