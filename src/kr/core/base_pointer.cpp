#include "kr/core/base_pointer.h"

#include "kr/core/base.h"

namespace Kr {

KrBasePointer::KrBasePointer(const KrBase* object) noexcept {
    if (!KrBase::isKrBaseValid(object)) return;
    _object = object;
    _serial = object->_getSerial();
}

KrBase* KrBasePointer::get() const noexcept {
    return _object != nullptr && KrBase::_isAlive(_object, _serial) ? const_cast<KrBase*>(_object) : nullptr;
}

}  // namespace Kr
