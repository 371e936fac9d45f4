#include "sandbox/ModelStandIn.h"

#include <ctime>

#include "sandbox/JsonAnswer.h"
#include "sandbox/LeadReading.h"
#include "sandbox/MeetingDraft.h"
#include "sandbox/PromptReader.h"
#include "sandbox/RuleChoice.h"
#include "sandbox/Words.h"
#include "text/Case.h"
#include "text/Json.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;

HttpResponse refusal(int status, std::string_view message) {
  const std::string_view type = status == 401 ? "authentication_error" : "invalid_request_error";
  return jsonAnswer(
      status,
      {{"error", {{"message", message}, {"type", type}, {"param", nullptr}, {"code", nullptr}}}});
}

std::string stockReply(const AskedMail& mail) {
  switch (guessedLanguage(mail.text)) {
    case Language::french:
      return "Bonjour,\n\nMerci pour votre message au sujet de « " + mail.subject +
             " ». Je m’en occupe et je reviens vers vous rapidement.\n\nCordialement";
    case Language::german:
      return "Guten Tag,\n\nvielen Dank für Ihre Nachricht zum Thema „" + mail.subject +
             "“. Ich kümmere mich darum und melde mich in Kürze.\n\nMit freundlichen Grüßen";
    case Language::english:
      break;
  }
  return "Hello,\n\nThank you for your message about “" + mail.subject +
         "”. I am looking into it and will come back to you shortly.\n\nBest regards";
}

std::string replyTo(const std::string& system, const std::string& user) {
  const std::vector<OfferedRule> rules = offeredRules(system);
  const AskedMail mail = askedMail(user);
  if (system.find("CRM lead fields") != system.npos) return jsonText(leadFieldsIn(user));
  if (rules.empty() && system.find("reply to email") != system.npos) return stockReply(mail);
  if (rules.empty()) {
    return "This is the sandbox stand-in, not a real model. A real model would answer here.";
  }
  const RuleChoice choice = chosenRule(rules, mail);
  const OfferedRule& rule = rules[choice.index];
  const json draft =
      rule.wantsReply ? json(meetingDraft(system, mail).value_or(stockReply(mail))) : json(nullptr);
  return jsonText(
      {{"rule_id", rule.id}, {"confidence", choice.confidence}, {"draft_reply", draft}});
}

// The last message of a role, or nothing when the list is not one of messages.
const std::string* contentOf(const json& messages, std::string_view role) {
  const std::string* content = nullptr;
  for (const json& message : messages) {
    if (!message.is_object() || !message.contains("role") || !message.contains("content") ||
        !message["content"].is_string()) {
      return nullptr;
    }
    if (message["role"] == role) content = message["content"].get_ptr<const std::string*>();
  }
  return content;
}

HttpResponse completion(const json& request) {
  if (!request.is_object() || !request.contains("model") || !request["model"].is_string()) {
    return refusal(400, "you must provide a model parameter");
  }
  if (!request.contains("messages") || !request["messages"].is_array()) {
    return refusal(400, "'messages' must be an array of messages");
  }
  const std::string* user = contentOf(request["messages"], "user");
  if (user == nullptr) return refusal(400, "'messages' must hold a user message with text");
  const std::string* system = contentOf(request["messages"], "system");
  const std::string reply = replyTo(system != nullptr ? *system : std::string(), *user);
  const json choice = {{"index", 0},
                       {"message", {{"role", "assistant"}, {"content", reply}}},
                       {"finish_reason", "stop"}};
  return jsonAnswer(200, {{"id", "chatcmpl-sandbox"},
                          {"object", "chat.completion"},
                          {"created", std::time(nullptr)},
                          {"model", standInModelName},
                          {"choices", json::array({choice})}});
}

HttpResponse models() {
  const json model = {{"id", standInModelName}, {"object", "model"}};
  return jsonAnswer(200, {{"object", "list"}, {"data", json::array({model})}});
}

}  // namespace

HttpResponse ModelStandIn::operator()(const ServedRequest& request) const {
  const bool completions = request.method == "POST" && request.target == "/v1/chat/completions";
  const bool list = request.method == "GET" && request.target == "/v1/models";
  if (!completions && !list) {
    return refusal(404, "Invalid URL (" + request.method + " " + request.target + ")");
  }
  if (!requiredKey_.empty() && request.header("Authorization") != "Bearer " + requiredKey_) {
    return refusal(401, "Incorrect API key provided.");
  }
  if (list) return models();
  if (!asciiLowercased(request.header("Content-Type")).starts_with("application/json")) {
    return refusal(400, "The Content-Type must be application/json.");
  }
  try {
    return completion(parseJson(request.body));
  } catch (const JsonError& error) {
    return refusal(400, std::string("We could not parse the JSON body: ") + error.what());
  }
}

}  // namespace halcyra::sandbox
