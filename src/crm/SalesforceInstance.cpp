#include "crm/SalesforceInstance.h"

#include <algorithm>

#include "platform/LoopbackURL.h"
#include "platform/ProviderError.h"
#include "signin/DataverseEnvironment.h"
#include "text/Case.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr int badInstance = 2;
constexpr std::size_t longestURL = 2048;

// What follows the base is a path, so the base itself holds no query, fragment or user.
bool isPlain(std::string_view url) {
  return std::all_of(url.begin(), url.end(), [](char c) {
    return c > ' ' && c < '\x7F' && std::string_view("?#@\\").find(c) == std::string_view::npos;
  });
}

bool isSecure(std::string_view url) {
  return asciiLowercased(url.substr(0, 8)) == "https://" && isPlain(url) &&
         normalizedDataverseEnvironment(url).has_value();
}

}  // namespace

std::string usableSalesforceInstance(std::string_view instanceURL, const std::string& domain) {
  std::string_view url = trimmed(instanceURL);
  if (url.ends_with('/')) url.remove_suffix(1);
  if (url.size() > longestURL || (!isSecure(url) && !isLoopbackURL(url))) {
    throw ProviderError(
        domain, badInstance,
        "Salesforce named an instance URL that is not a plain https address; sign in to "
        "Salesforce again.");
  }
  return std::string(url);
}

}  // namespace halcyra
