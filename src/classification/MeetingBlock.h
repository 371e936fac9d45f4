#pragma once

#include <string>
#include <vector>

#include "config/AppConfig.h"
#include "crm/AgendaEvent.h"
#include "crm/UserCalendar.h"

namespace halcyra {

/// The events that are asked for. An agenda that holds as many may hold more.
inline constexpr int agendaLimit = 80;

/// What a model is told before it proposes a meeting, with the agenda from `earliestDay` on.
std::string meetingBlock(const AppConfig& config, TimePoint earliestDay,
                         const std::vector<AgendaEvent>& agenda, const UserCalendar& calendar);

/// The same where the agenda is not known: no times may be proposed.
std::string meetingBlockWithoutAgenda(const AppConfig& config, TimePoint earliestDay,
                                      const UserCalendar& calendar);

/// How the user writes, by excerpts of sent mail; empty without any.
std::string toneBlock(const std::vector<std::string>& excerpts);

}  // namespace halcyra
