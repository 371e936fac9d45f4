#pragma once

#include <cstddef>
#include <vector>

#include "crm/AgendaEvent.h"

namespace halcyra {

/// The events of several calendars as one agenda: of those with one key, or without keys with the
/// same title and times, the first; sorted by start, then title, with unreadable starts last; at
/// most `most`.
std::vector<AgendaEvent> mergedAgenda(std::vector<AgendaEvent> events, std::size_t most);

}  // namespace halcyra
