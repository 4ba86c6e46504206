#pragma once

#include "kr/extension/factory_key.h"
#include "kr/platform/export.h"

/// The keys of the library's own types. They are initialised before all other static objects of the library and of
/// plug-ins. Types with children, and types without an implementation yet: docs/factory.md. Thread: any. Ownership:
/// constants.
namespace KrSim::Keys {

// Content types, in the plug-in KrFoundationPlugin

struct KR_API Seat {
    static const KrFactoryKey kFactoryKey;  ///< Simulation.Seat
};
struct KR_API Role {
    static const KrFactoryKey kFactoryKey;  ///< Simulation.Role
};
struct KR_API Configuration {
    static const KrFactoryKey kFactoryKey;  ///< Simulation.Configuration
};
struct KR_API VHLInterface {
    static const KrFactoryKey kFactoryKey;  ///< Simulation.VHLInterface
};
struct KR_API Setup {
    static const KrFactoryKey kFactoryKey;  ///< Application.Setup
};
struct KR_API Simulator {
    static const KrFactoryKey kFactoryKey;  ///< Application.Simulator
};
struct KR_API SimulatorApplication {
    static const KrFactoryKey kFactoryKey;  ///< Application.SimulatorApplication
};
struct KR_API ControlPreset {
    static const KrFactoryKey kFactoryKey;  ///< Application.ControlPreset
};
struct KR_API DeviceMapping {
    static const KrFactoryKey kFactoryKey;  ///< Application.DeviceMapping
};
struct KR_API Scene {
    static const KrFactoryKey kFactoryKey;  ///< Content.Scene
};
struct KR_API Scenario {
    static const KrFactoryKey kFactoryKey;  ///< Content.Scenario
};
struct KR_API Connections {
    static const KrFactoryKey kFactoryKey;  ///< Content.Connections
};
struct KR_API ControlInterface {
    static const KrFactoryKey kFactoryKey;  ///< Content.ControlInterface
};
struct KR_API ContentLoader {
    static const KrFactoryKey kFactoryKey;  ///< Content.Content Loader
};
struct KR_API Equipment {
    static const KrFactoryKey kFactoryKey;  ///< Content.Equipment
};
struct KR_API SubEquipment {
    static const KrFactoryKey kFactoryKey;  ///< Content.SubEquipment
};
struct KR_API SubEquipmentType {
    static const KrFactoryKey kFactoryKey;  ///< Content.SubEquipmentType
};
struct KR_API Exercise {
    static const KrFactoryKey kFactoryKey;  ///< Content.Exercise
};
struct KR_API ExerciseList {
    static const KrFactoryKey kFactoryKey;  ///< Content.ExerciseList
};

// Types built into the library

struct KR_API Module {
    static const KrFactoryKey kInternalFactoryKey;  ///< Application.Module
};
struct KR_API Object {
    static const KrFactoryKey kInternalFactoryKey;  ///< Application.Object
};
struct KR_API AnimationModule {
    static const KrFactoryKey kInternalFactoryKey;  ///< Animation.Module
};
struct KR_API HierarchyView {
    static const KrFactoryKey kInternalFactoryKey;  ///< UI.HierarchyView
};
struct KR_API ConnectionModule {
    static const KrFactoryKey kInternalFactoryKey;  ///< Application.ConnectionModule
};
struct KR_API ControlPresetModule {
    static const KrFactoryKey kInternalFactoryKey;  ///< Application.ControlPresetModule
};
struct KR_API ConfigurationModule {
    static const KrFactoryKey kInternalFactoryKey;  ///< Application.ConfigurationModule
};
struct KR_API ConfigurationModuleSequenceController {
    static const KrFactoryKey kInternalFactoryKey;  ///< Application.ConfigurationModuleSequenceController
};
struct KR_API ExecuteLaterManager {
    static const KrFactoryKey kInternalFactoryKey;  ///< Application.Execute Later Manager
};
struct KR_API SimulationFileManager {
    static const KrFactoryKey kInternalFactoryKey;  ///< Application.Simulation File Manager
};
struct KR_API UnitSystem {
    static const KrFactoryKey kInternalFactoryKey;  ///< Application.Unit System
};
struct KR_API MetricsManager {
    static const KrFactoryKey kInternalFactoryKey;  ///< Application.Metrics Manager
};
struct KR_API SystemProcessesMonitor {
    static const KrFactoryKey kInternalFactoryKey;  ///< Application.SystemProcessesMonitor
};
struct KR_API ProcessMonitorModule {
    static const KrFactoryKey kInternalFactoryKey;  ///< Application.ProcessMonitorModule
};
struct KR_API ProfilerModule {
    static const KrFactoryKey kInternalFactoryKey;  ///< Application.ProfilerModule
};
struct KR_API KeyFrameModule {
    static const KrFactoryKey kInternalFactoryKey;  ///< Content.KeyFrameModule
};
struct KR_API RoleSeatModule {
    static const KrFactoryKey kInternalFactoryKey;  ///< Simulation.RoleSeatModule
};

}  // namespace KrSim::Keys
