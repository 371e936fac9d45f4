#include "signin/OAuthRedirect.h"

#include <algorithm>

#include "signin/OAuthFlowError.h"
#include "text/PercentEncoding.h"

namespace halcyra {
namespace {

std::string_view queryOf(std::string_view url) {
  url = url.substr(0, url.find('#'));
  const std::size_t mark = url.find('?');
  return mark == url.npos ? std::string_view() : url.substr(mark + 1);
}

}  // namespace

std::string authorizationCode(std::string_view redirectURL) {
  const std::vector<QueryItem> items = queryItems(queryOf(redirectURL));
  const auto firstValue = [&](std::string_view name) -> std::optional<std::string> {
    const auto found = std::find_if(items.begin(), items.end(),
                                    [&](const QueryItem& item) { return item.name == name; });
    return found == items.end() ? std::nullopt : found->value;
  };
  const auto code = firstValue("code");
  if (code && !code->empty()) return *code;
  if (const auto error = firstValue("error")) {
    throw OAuthFlowError::providerError(firstValue("error_description").value_or(*error));
  }
  throw OAuthFlowError::noAuthCode();
}

}  // namespace halcyra
