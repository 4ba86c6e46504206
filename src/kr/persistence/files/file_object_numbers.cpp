#include "kr/persistence/files/file_object_numbers.h"

#include <utility>

namespace KrPersistence {

FileObjectNumbers& FileObjectNumbers::instance() {
    thread_local FileObjectNumbers numbers;
    return numbers;
}

std::uint32_t FileObjectNumbers::getNumber(const Kr::KrBase* object) {
    return _numbers.try_emplace(object, static_cast<std::uint32_t>(_numbers.size())).first->second;
}

void FileObjectNumbers::_begin() noexcept {
    _numbers.clear();
    _isInUse = true;
}

void FileObjectNumbers::_end() noexcept {
    _numbers.clear();
    _isInUse = false;
}

FileObjectNumbers::Scope::Scope() : _outer(std::exchange(instance(), {})) {}

FileObjectNumbers::Scope::~Scope() {
    instance() = std::move(_outer);
}

}  // namespace KrPersistence
