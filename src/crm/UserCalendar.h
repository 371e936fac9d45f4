#pragma once

#include "crm/DateStyles.h"
#include "platform/Clock.h"

namespace halcyra {

/// The calendar on the user's wall: the zone and the day from the clock, the words from the locale.
/// Both outlive it.
struct UserCalendar {
  const Clock& clock;
  const DateStyles& styles;
};

}  // namespace halcyra
