#include "sandbox/Routes.h"

#include <algorithm>

namespace halcyra::sandbox {
namespace {

std::vector<std::string_view> pieces(std::string_view path) {
  std::vector<std::string_view> found;
  while (!path.empty()) {
    path.remove_prefix(1);  // the slash
    found.push_back(path.substr(0, path.find('/')));
    path.remove_prefix(found.back().size());
  }
  return found;
}

}  // namespace

RequestTarget requestTarget(std::string_view target) {
  RequestTarget result;
  const std::size_t mark = target.find('?');
  for (const std::string_view piece : pieces(target.substr(0, mark))) {
    result.segments.push_back(percentDecoded(piece));
  }
  if (mark != target.npos) result.query = queryItems(target.substr(mark + 1));
  return result;
}

bool fits(std::string_view pattern, const std::vector<std::string>& segments) {
  const std::vector<std::string_view> wanted = pieces(pattern);
  return std::equal(
      wanted.begin(), wanted.end(), segments.begin(), segments.end(),
      [](std::string_view want, const std::string& have) { return want == "*" || want == have; });
}

std::optional<HttpResponse> RequestLedger::enter(std::string_view kind,
                                                 const ServedRequest& request) {
  count(kind);
  lastBodies_[std::string(kind)] = request.body;
  const auto found = laidIn_.find(std::string(kind));
  if (found == laidIn_.end() || found->second.empty()) return std::nullopt;
  HttpResponse answer = std::move(found->second.front());
  found->second.pop_front();
  return answer;
}

std::string RequestLedger::lastBody(std::string_view kind) const {
  const auto found = lastBodies_.find(std::string(kind));
  return found == lastBodies_.end() ? "" : found->second;
}

void RequestLedger::layIn(std::string_view kind, HttpResponse answer) {
  laidIn_[std::string(kind)].push_back(std::move(answer));
}

}  // namespace halcyra::sandbox
