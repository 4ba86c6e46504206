#include "drive_module.h"
#include "driver.h"
#include "driving_cycle.h"
#include "electric_car.h"
#include "electric_drive.h"
#include "vehicle.h"

KR_PLUGIN("DriveCycle", "1.0", KR_EXTENSION(ElectricCar, "Drive Cycle", "Electric Car", ElectricCar::kUuid),
          KR_EXTENSION(DrivingCycle, "Drive Cycle", "Driving Cycle", DrivingCycle::kUuid),
          KR_EXTENSION(Driver, "Drive Cycle", "Driver", Driver::kUuid),
          KR_EXTENSION(ElectricDrive, "Drive Cycle", "Electric Drive", ElectricDrive::kUuid),
          KR_EXTENSION(Vehicle, "Drive Cycle", "Vehicle", Vehicle::kUuid),
          KR_EXTENSION(DriveModule, "Drive Cycle", "Drive Module", DriveModule::kUuid))
