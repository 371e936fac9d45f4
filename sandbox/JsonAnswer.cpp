#include "sandbox/JsonAnswer.h"

#include <algorithm>

#include "text/Case.h"
#include "text/Json.h"
#include "text/Uuid.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;

bool hasType(const ServedRequest& request, std::string_view type) {
  return asciiLowercased(request.header("Content-Type")).starts_with(type);
}

}  // namespace

HttpResponse jsonAnswer(int status, const json& body) {
  return {status, {{"Content-Type", "application/json; charset=utf-8"}}, jsonText(body)};
}

HttpResponse googleError(int status, std::string_view name, std::string_view reason,
                         std::string_view message) {
  const json detail = {{"message", message}, {"domain", "global"}, {"reason", reason}};
  return jsonAnswer(status, {{"error",
                              {{"code", status},
                               {"message", message},
                               {"errors", json::array({detail})},
                               {"status", name}}}});
}

HttpResponse graphError(int status, std::string_view code, std::string_view message) {
  const json inner = {{"request-id", newUuid()}, {"client-request-id", newUuid()}};
  return jsonAnswer(status,
                    {{"error", {{"code", code}, {"message", message}, {"innerError", inner}}}});
}

HttpResponse tokenError(int status, std::string_view error, std::string_view description) {
  return jsonAnswer(status, {{"error", error}, {"error_description", description}});
}

std::optional<json> jsonBody(const ServedRequest& request) {
  if (!hasType(request, "application/json")) return std::nullopt;
  try {
    json body = parseJson(request.body);
    if (body.is_object()) return body;
  } catch (const JsonError&) {
    // Refused like a body that is declared as something else.
  }
  return std::nullopt;
}

std::optional<std::vector<QueryItem>> formBody(const ServedRequest& request) {
  if (!hasType(request, "application/x-www-form-urlencoded")) return std::nullopt;
  std::string body = request.body;
  std::replace(body.begin(), body.end(), '+', ' ');
  return queryItems(body);
}

std::string itemOf(const std::vector<QueryItem>& items, std::string_view name) {
  const auto found =
      std::find_if(items.begin(), items.end(), [&](const auto& item) { return item.name == name; });
  return found == items.end() ? std::string() : found->value.value_or("");
}

}  // namespace halcyra::sandbox
