#include <kr/foundation.h>

KR_PLUGIN_MANIFEST("Guest", "1.0", "Simulation.Guest");

void kr_plugin_register_v1() {}

bool kr_plugin_unregister_v1() {
    return true;
}
