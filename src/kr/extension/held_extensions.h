#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "kr/extension/fwd.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// The extensions of an object at one moment, all of them held. All readers share one list until the object changes, so
/// that a reader does not count holders of thousands of extensions. Thread: value.
class HeldExtensions {
public:
    using List = std::vector<Kr::KrSmartPtr<KrExtension>>;

    explicit HeldExtensions(std::shared_ptr<const List> list) noexcept : _list(std::move(list)) {}

    [[nodiscard]] auto begin() const noexcept { return _list->begin(); }
    [[nodiscard]] auto end() const noexcept { return _list->end(); }
    [[nodiscard]] auto rbegin() const noexcept { return _list->rbegin(); }
    [[nodiscard]] auto rend() const noexcept { return _list->rend(); }
    [[nodiscard]] const auto& back() const noexcept { return _list->back(); }
    [[nodiscard]] const auto& operator[](std::size_t index) const noexcept { return (*_list)[index]; }
    [[nodiscard]] std::size_t size() const noexcept { return _list->size(); }
    [[nodiscard]] bool empty() const noexcept { return _list->empty(); }

private:
    std::shared_ptr<const List> _list;
};

}  // namespace KrSim
