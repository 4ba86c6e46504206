#include "kr/data/array_resizes.h"

#include <string>
#include <utility>

#include "kr/data/container_access.h"
#include "kr/data/field_array.h"
#include "kr/platform/guard.h"

namespace KrData {

namespace {
constexpr Kr::GuardTexts kTakeBackTexts{
    Kr::eLogLevel::kWarn, "FieldArray: fatal error in '%s' taking back a size [%s]\n",
    "FieldArray: unhandled exception in '%s' taking back a size\n", "taking back a size"};
}  // namespace

ArrayResizes::ArrayResizes() = default;

ArrayResizes::~ArrayResizes() {
    for (auto each = _all.rbegin(); each != _all.rend(); ++each)
        Kr::callGuarded(
            kTakeBackTexts, [&] { return each->array.isAlive() ? each->array.get()->getID().str() : std::string(); },
            [&] { _takeBack(*each); });
}

bool ArrayResizes::resize(FieldArrayBase& array, std::size_t count) {
    if (!array.isSizeAllowed(count)) return true;
    auto& resized = _all.emplace_back(Resized{FieldReference(&array), array.size(), {}});
    if (count < resized.before) resized.dropped.reserve(resized.before - count);
    // A bounded number of steps: observers may add and remove items on their own.
    for (auto surplus = resized.before; surplus > count && array.size() > count; --surplus) {
        auto* last = array.getChildren().back();
        array._removeField(last);
        resized.dropped.emplace_back(last);
        if (!resized.array.isAlive()) return false;
    }
    if (array.size() < count) array.resize(count);
    return resized.array.isAlive();
}

void ArrayResizes::keep() noexcept {
    _all.clear();
}

void ArrayResizes::_takeBack(Resized& resized) {
    if (!resized.array.isAlive()) return;
    auto& array = static_cast<FieldArrayBase&>(*resized.array.get());
    const auto kept = resized.before - resized.dropped.size();
    if (array.size() > kept) array.resize(kept);
    while (!resized.dropped.empty() && resized.array.isAlive()) {
        auto item = std::move(resized.dropped.back());
        resized.dropped.pop_back();
        if (detail::ContainerAccess::addNumberedField(array, item.get(), array.end()))
            static_cast<void>(item.release());
    }
}

}  // namespace KrData
