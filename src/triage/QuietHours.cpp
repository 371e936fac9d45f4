#include "triage/QuietHours.h"

namespace halcyra {

bool quietHoursInForce(const AppConfig& config, int localHour) {
  if (!config.quietHoursEnabled) return false;
  const auto start = config.quietStartHour;
  const auto end = config.quietEndHour;
  return start < end ? start <= localHour && localHour < end
                     : localHour >= start || localHour < end;
}

}  // namespace halcyra
