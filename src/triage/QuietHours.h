#pragma once

#include "config/AppConfig.h"

namespace halcyra {

/// Are quiet hours in force at this local hour (0 to 23)? A start equal to the end means all day.
bool quietHoursInForce(const AppConfig& config, int localHour);

}  // namespace halcyra
