// The content types of the library. What most of them do, other plug-ins and modules do; those carry data only.

#include "kr/application/connections/connection_container.h"
#include "kr/extension/data_extension.h"
#include "kr/extension/factory/factory_keys.h"
#include "kr/extension/factory/plugin.h"

using KrSim::KrDataExtension;
using KrSim::KrDataObject;
namespace Keys = KrSim::Keys;

KR_PLUGIN(
    "KrFoundationPlugin", KR_VERSION,
    KR_EXTENSION(KrDataExtension<Keys::Seat>, "Simulation", "Seat", "2af5f045-d4e6-495a-acba-567a455b6c54"),
    KR_EXTENSION(KrDataExtension<Keys::Role>, "Simulation", "Role", "2e28c388-82a6-4942-a147-fc25e50485cc"),
    KR_EXTENSION(KrDataObject<Keys::Configuration>, "Simulation", "Configuration",
                 "{48e129a4-935b-4ead-8d55-6cb58c6bad92}"),
    KR_EXTENSION(KrDataExtension<Keys::VHLInterface>, "Simulation", "VHLInterface",
                 "51A92D19-ABCB-41FD-AE79-7F1EAAFDCE47"),
    KR_EXTENSION(KrDataObject<Keys::Simulator>, "Application", "Simulator", "73493879-28C8-4FA4-BFAB-C21ACF08CBF7"),
    KR_EXTENSION(KrDataObject<Keys::SimulatorApplication>, "Application", "SimulatorApplication",
                 "D2008ACA-9406-46E7-A36C-10530D6FC635"),
    KR_EXTENSION(KrDataExtension<Keys::ControlPreset>, "Application", "ControlPreset",
                 "01669740-B1F5-468A-B321-2860A58D539B"),
    KR_EXTENSION(KrDataExtension<Keys::DeviceMapping>, "Application", "DeviceMapping",
                 "35180985-96A4-421A-B5CC-73E1F40CDB24"),
    KR_EXTENSION(KrDataObject<Keys::Scene>, "Content", "Scene", "CB0B453A-390E-4BBD-A6BE-69563841E94A"),
    KR_EXTENSION(KrDataObject<Keys::Scenario>, "Content", "Scenario", "{28CDBBF7-477A-4AD9-888B-9AEC816049C9}"),
    KR_EXTENSION(KrSim::ConnectionContainer, "Content", "Connections", "9D11BBF0-6C2D-4028-B9A5-E02D28AAA907"),
    KR_EXTENSION(KrDataExtension<Keys::ControlInterface>, "Content", "ControlInterface",
                 "{0659B31B-2423-4FAD-82CC-BDB597F1706B}"),
    KR_EXTENSION(KrDataExtension<Keys::ContentLoader>, "Content", "Content Loader",
                 "B024F1A3-0F39-4546-BFD7-7686DD20A41C"),
    KR_EXTENSION(KrDataObject<Keys::Equipment>, "Content", "Equipment", "DE8E2C90-D450-4E32-A6A8-EE023A4F21B5"),
    KR_EXTENSION(KrDataObject<Keys::SubEquipment>, "Content", "SubEquipment", "5ED65D41-C168-483F-8C4B-9C57598E9262"),
    KR_EXTENSION(KrDataExtension<Keys::SubEquipmentType>, "Content", "SubEquipmentType",
                 "CEACF2F7-3351-4CC6-990D-B62AC822B699"),
    KR_EXTENSION(KrDataObject<Keys::Exercise>, "Content", "Exercise", "FC844EC2-6269-4E23-A924-2D168037E226"),
    KR_EXTENSION(KrDataObject<Keys::ExerciseList>, "Content", "ExerciseList", "E1923F66-EECE-45D3-AFE8-FD3E255F6AED"))
