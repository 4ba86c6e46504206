#include "kr/extension/factory/factory_keys.h"

namespace KrSim::Keys {
namespace {

/// Before all other static objects of the library, which may register types with these keys.
#define KR_FIRST [[gnu::init_priority(1000)]]

constexpr const char* kPlugin = "KrFoundationPlugin";

}  // namespace

KR_FIRST const KrFactoryKey Seat::kFactoryKey("2af5f045-d4e6-495a-acba-567a455b6c54", "Simulation", "Seat", kPlugin);
KR_FIRST const KrFactoryKey Role::kFactoryKey("2e28c388-82a6-4942-a147-fc25e50485cc", "Simulation", "Role", kPlugin);
KR_FIRST const KrFactoryKey Configuration::kFactoryKey("{48e129a4-935b-4ead-8d55-6cb58c6bad92}", "Simulation",
                                                       "Configuration", kPlugin);
KR_FIRST const KrFactoryKey VHLInterface::kFactoryKey("51A92D19-ABCB-41FD-AE79-7F1EAAFDCE47", "Simulation",
                                                      "VHLInterface", kPlugin);
KR_FIRST const KrFactoryKey Setup::kFactoryKey("D77ED27D-D486-4D73-8433-6B258F638707", "Application", "Setup", kPlugin);
KR_FIRST const KrFactoryKey Simulator::kFactoryKey("73493879-28C8-4FA4-BFAB-C21ACF08CBF7", "Application", "Simulator",
                                                   kPlugin);
KR_FIRST const KrFactoryKey SimulatorApplication::kFactoryKey("D2008ACA-9406-46E7-A36C-10530D6FC635", "Application",
                                                              "SimulatorApplication", kPlugin);
KR_FIRST const KrFactoryKey ControlPreset::kFactoryKey("01669740-B1F5-468A-B321-2860A58D539B", "Application",
                                                       "ControlPreset", kPlugin);
KR_FIRST const KrFactoryKey DeviceMapping::kFactoryKey("35180985-96A4-421A-B5CC-73E1F40CDB24", "Application",
                                                       "DeviceMapping", kPlugin);
KR_FIRST const KrFactoryKey Scene::kFactoryKey("CB0B453A-390E-4BBD-A6BE-69563841E94A", "Content", "Scene", kPlugin);
KR_FIRST const KrFactoryKey Scenario::kFactoryKey("{28CDBBF7-477A-4AD9-888B-9AEC816049C9}", "Content", "Scenario",
                                                  kPlugin);
KR_FIRST const KrFactoryKey Connections::kFactoryKey("9D11BBF0-6C2D-4028-B9A5-E02D28AAA907", "Content", "Connections",
                                                     kPlugin);
KR_FIRST const KrFactoryKey ControlInterface::kFactoryKey("{0659B31B-2423-4FAD-82CC-BDB597F1706B}", "Content",
                                                          "ControlInterface", kPlugin);
KR_FIRST const KrFactoryKey ContentLoader::kFactoryKey("B024F1A3-0F39-4546-BFD7-7686DD20A41C", "Content",
                                                       "Content Loader", kPlugin);
KR_FIRST const KrFactoryKey Equipment::kFactoryKey("DE8E2C90-D450-4E32-A6A8-EE023A4F21B5", "Content", "Equipment",
                                                   kPlugin);
KR_FIRST const KrFactoryKey SubEquipment::kFactoryKey("5ED65D41-C168-483F-8C4B-9C57598E9262", "Content", "SubEquipment",
                                                      kPlugin);
KR_FIRST const KrFactoryKey SubEquipmentType::kFactoryKey("CEACF2F7-3351-4CC6-990D-B62AC822B699", "Content",
                                                          "SubEquipmentType", kPlugin);
KR_FIRST const KrFactoryKey Exercise::kFactoryKey("FC844EC2-6269-4E23-A924-2D168037E226", "Content", "Exercise",
                                                  kPlugin);
KR_FIRST const KrFactoryKey ExerciseList::kFactoryKey("E1923F66-EECE-45D3-AFE8-FD3E255F6AED", "Content", "ExerciseList",
                                                      kPlugin);

KR_FIRST const KrFactoryKey Module::kInternalFactoryKey("{478846C8-915E-4689-9BD6-A03F0DD70664}", "Application",
                                                        "Module");
KR_FIRST const KrFactoryKey Object::kInternalFactoryKey("{4836E8FA-6BDB-4D3F-8BFC-3846EAA48030}", "Application",
                                                        "Object");
KR_FIRST const KrFactoryKey AnimationModule::kInternalFactoryKey("6E8A9928-A565-4475-A7CE-B65107F8E8F1", "Animation",
                                                                 "Module");
KR_FIRST const KrFactoryKey HierarchyView::kInternalFactoryKey("0D8917B9-8F87-4C7D-BA11-A384FD8CE2ED", "UI",
                                                               "HierarchyView");
KR_FIRST const KrFactoryKey ConnectionModule::kInternalFactoryKey("9735B20F-DC88-451C-93B7-0626FC116E38", "Application",
                                                                  "ConnectionModule");
KR_FIRST const KrFactoryKey ControlPresetModule::kInternalFactoryKey("28BBAC9E-F98E-4DB2-A3C4-740604F9B7C3",
                                                                     "Application", "ControlPresetModule");
KR_FIRST const KrFactoryKey ConfigurationModule::kInternalFactoryKey("{00bf0438-036b-4fb8-be9e-3629b53ef0be}",
                                                                     "Application", "ConfigurationModule");
KR_FIRST const KrFactoryKey ConfigurationModuleSequenceController::kInternalFactoryKey(
    "{B2A5B733-F9E9-4FB7-AEB4-5B9CAF3DE228}", "Application", "ConfigurationModuleSequenceController");
KR_FIRST const KrFactoryKey ExecuteLaterManager::kInternalFactoryKey("5E8FCDCC-D709-4336-9826-B6BC837DBA89",
                                                                     "Application", "Execute Later Manager");
KR_FIRST const KrFactoryKey SimulationFileManager::kInternalFactoryKey("46728548-BA74-4C4D-9448-3DBDEC6D1295",
                                                                       "Application", "Simulation File Manager");
KR_FIRST const KrFactoryKey UnitSystem::kInternalFactoryKey("{4BD8F5A6-60E3-4801-A84F-8F2C8B4B2925}", "Application",
                                                            "Unit System");
KR_FIRST const KrFactoryKey MetricsManager::kInternalFactoryKey("{3BEAB8D4-3318-46DD-8554-943B6C8327C7}", "Application",
                                                                "Metrics Manager");
KR_FIRST const KrFactoryKey SystemProcessesMonitor::kInternalFactoryKey("{59214EF5-260A-496D-8275-C32A46ED35E5}",
                                                                        "Application", "SystemProcessesMonitor");
KR_FIRST const KrFactoryKey ProcessMonitorModule::kInternalFactoryKey("1421c2a5-ab4a-5e27-b0d9-15283bb212c2",
                                                                      "Application", "ProcessMonitorModule");
KR_FIRST const KrFactoryKey ProfilerModule::kInternalFactoryKey("905E01EE-2B7B-4FE9-8399-D4BFC1F4AE3C", "Application",
                                                                "ProfilerModule");
KR_FIRST const KrFactoryKey KeyFrameModule::kInternalFactoryKey("{17347254-D522-48B0-965B-CB39693BDB73}", "Content",
                                                                "KeyFrameModule");
KR_FIRST const KrFactoryKey RoleSeatModule::kInternalFactoryKey("ea065054-b13f-48ff-b6c1-ddc53538b62e", "Simulation",
                                                                "RoleSeatModule");

}  // namespace KrSim::Keys
