#include "cli/Connections.h"

#include <stdexcept>

namespace halcyra {

CRMConnectionProfile connectionWithId(const AppConfig& config, const std::string& id) {
  if (auto connection = config.crmConnectionProfile(id)) return std::move(*connection);
  std::string known;
  for (const CRMConnectionProfile& each : config.crmConnectionProfiles) {
    known += (known.empty() ? "" : ", ") + each.id;
  }
  throw std::runtime_error(
      known.empty() ? "there is no connection \"" + id +
                          "\", nor any other; add one with \"halcyra-cli connection "
                          "add\""
                    : "there is no connection \"" + id + "\"; the connections are: " + known);
}

}  // namespace halcyra
