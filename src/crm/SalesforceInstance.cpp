#include "crm/SalesforceInstance.h"

#include "platform/LoopbackURL.h"
#include "platform/ProviderError.h"
#include "signin/DataverseEnvironment.h"
#include "text/Case.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr int badInstance = 2;

bool isSecure(std::string_view url) {
  return asciiLowercased(url.substr(0, 8)) == "https://" &&
         normalizedDataverseEnvironment(url).has_value();
}

}  // namespace

std::string usableSalesforceInstance(std::string_view instanceURL, const std::string& domain) {
  std::string_view url = trimmed(instanceURL);
  if (url.ends_with('/')) url.remove_suffix(1);
  if (!isSecure(url) && !isLoopbackURL(url)) {
    throw ProviderError(domain, badInstance,
                        "Salesforce named an instance URL that is not an https address; sign in to "
                        "Salesforce again.");
  }
  return std::string(url);
}

}  // namespace halcyra
