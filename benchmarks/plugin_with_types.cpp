#include "kr/platform/plugins/plugin_manifest.h"

// The size of a usual manifest is all that matters of it.
KR_PLUGIN_MANIFEST("WithTypes", "1.0", "5f0c1f5e-7d5a-4d3a-9d0e-000000000001 Simulation.Vehicle",
                   "5f0c1f5e-7d5a-4d3a-9d0e-000000000002 Simulation.Driver",
                   "5f0c1f5e-7d5a-4d3a-9d0e-000000000003 Simulation.Engine",
                   "5f0c1f5e-7d5a-4d3a-9d0e-000000000004 Simulation.Brake",
                   "5f0c1f5e-7d5a-4d3a-9d0e-000000000005 Simulation.Wheel",
                   "5f0c1f5e-7d5a-4d3a-9d0e-000000000006 Simulation.Gearbox",
                   "5f0c1f5e-7d5a-4d3a-9d0e-000000000007 Simulation.Road",
                   "5f0c1f5e-7d5a-4d3a-9d0e-000000000008 Simulation.Weather");

void kr_plugin_register_v1() {}

bool kr_plugin_unregister_v1() {
    return true;
}
