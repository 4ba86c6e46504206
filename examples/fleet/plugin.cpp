#include "fleet_modules.h"
#include "quarter_car_object.h"
#include "quarter_car_parts.h"

KR_PLUGIN("Fleet", "1.0", KR_EXTENSION(fleet::QuarterCar, "Fleet", "Quarter Car", fleet::QuarterCar::kUuid),
          KR_EXTENSION(fleet::Road, "Fleet", "Road", fleet::Road::kUuid),
          KR_EXTENSION(fleet::Tyre, "Fleet", "Tyre", fleet::Tyre::kUuid),
          KR_EXTENSION(fleet::Skyhook, "Fleet", "Skyhook", fleet::Skyhook::kUuid),
          KR_EXTENSION(fleet::Suspension, "Fleet", "Suspension", fleet::Suspension::kUuid),
          KR_EXTENSION(fleet::Wheel, "Fleet", "Wheel", fleet::Wheel::kUuid),
          KR_EXTENSION(fleet::Body, "Fleet", "Body", fleet::Body::kUuid),
          KR_EXTENSION(fleet::WholeCar, "Fleet", "Whole Car", fleet::WholeCar::kUuid),
          KR_EXTENSION(fleet::PartsModule, "Fleet", "Parts Module", fleet::PartsModule::kUuid),
          KR_EXTENSION(fleet::CarsModule, "Fleet", "Cars Module", fleet::CarsModule::kUuid))
