#include "kr/signals/death_watch.h"

namespace Kr {

constinit thread_local DeathWatch* DeathWatch::_innermost{nullptr};

}  // namespace Kr
