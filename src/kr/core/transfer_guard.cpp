#include "kr/core/transfer_guard.h"

namespace Kr {

thread_local constinit TransferGuard* TransferGuard::_top = nullptr;

}  // namespace Kr
