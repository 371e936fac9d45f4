#include "crm/AgendaMerge.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <unordered_set>

#include "crm/AgendaDate.h"

namespace halcyra {
namespace {

struct Dated {
  InternetMoment start;
  AgendaEvent event;
};

std::string keyOf(const AgendaEvent& event) {
  constexpr char unitSeparator = '\x1F';
  if (event.dedupeKey) return *event.dedupeKey;
  return event.title + unitSeparator + event.start + unitSeparator + event.end;
}

bool comesBefore(const Dated& one, const Dated& other) {
  return std::tie(one.start, one.event.title) < std::tie(other.start, other.event.title);
}

}  // namespace

std::vector<AgendaEvent> mergedAgenda(std::vector<AgendaEvent> events, std::size_t most) {
  std::unordered_set<std::string> keys;
  std::vector<Dated> agenda;
  for (AgendaEvent& event : events) {
    if (!keys.insert(keyOf(event)).second) continue;
    const InternetMoment start = parseAgendaDate(event.start).value_or(InternetMoment::max());
    agenda.push_back({start, std::move(event)});
  }
  std::stable_sort(agenda.begin(), agenda.end(), comesBefore);
  agenda.resize(std::min(agenda.size(), most));
  std::vector<AgendaEvent> merged;
  for (Dated& dated : agenda) merged.push_back(std::move(dated.event));
  return merged;
}

}  // namespace halcyra
