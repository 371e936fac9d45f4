#include "sandbox/DataverseStandIn.h"

#include "sandbox/JsonAnswer.h"
#include "sandbox/LeadAttributes.h"
#include "text/Case.h"
#include "text/Uuid.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;

constexpr LeadAttribute attributes[] = {
    {"subject", 300},
    {"firstname", 50},
    {"lastname", 50},
    {"companyname", 100},
    {"emailaddress1", 100},
    {"telephone1", 50},
    {"mobilephone", 20},
    {"jobtitle", 100},
    {"websiteurl", 200},
    {"address1_line1", 250},
    {"address1_city", 80},
    {"address1_stateorprovince", 50},
    {"address1_postalcode", 20},
    {"address1_country", 80},
    {"description", 100000},
};

HttpResponse odataError(int status, const char* code, const std::string& message) {
  HttpResponse answer = jsonAnswer(status, {{"error", {{"code", code}, {"message", message}}}});
  answer.headers.push_back({"OData-Version", "4.0"});
  return answer;
}

HttpResponse refusal(const LeadFault& fault) {
  if (fault.kind == LeadFault::Kind::tooLong) {
    return odataError(400, "0x80044331",
                      "A validation error occurred. The length of the '" + fault.name +
                          "' attribute of the 'lead' entity exceeded the maximum allowed length "
                          "of '" +
                          std::to_string(fault.longest) + "'.");
  }
  const std::string payload =
      "Error identified in Payload provided by the user for Entity :'leads'";
  if (fault.kind == LeadFault::Kind::wrongType) {
    return odataError(400, "0x80048d19",
                      payload + ". InnerException : Cannot convert the value of '" + fault.name +
                          "' to the expected type 'Edm.String'.");
  }
  return odataError(400, "0x80048d19",
                    payload + ". InnerException : The property '" + fault.name +
                        "' does not exist on type 'Microsoft.Dynamics.CRM.lead'. Make sure to only "
                        "use property names that are defined by the type.");
}

// Without an OData version the service would take its own newest, so clients are to name one.
bool namesVersion(const ServedRequest& request) {
  return request.header("OData-Version") == "4.0" && request.header("OData-MaxVersion") == "4.0" &&
         asciiLowercased(request.header("Accept")).starts_with("application/json");
}

}  // namespace

HttpResponse DataverseStandIn::operator()(const ServedRequest& request) {
  const std::lock_guard guard(lock_);
  if (request.method != "POST" || request.target != "/api/data/v9.2/leads") {
    return odataError(404, "0x8006088a",
                      "Resource not found for the segment '" + request.target + "'.");
  }
  if (auto laidIn = ledger_.enter("lead", request)) return std::move(*laidIn);
  if (auto refusal = refused(request)) return std::move(*refusal);
  return createLead(request);
}

std::optional<HttpResponse> DataverseStandIn::refused(const ServedRequest& request) const {
  const std::string header = request.header("Authorization");
  const auto scope = header.starts_with("Bearer ") ? scopeOf_(header.substr(7)) : std::nullopt;
  if (scope != std::string(environment) + "/.default") {
    return HttpResponse{401, {{"WWW-Authenticate", "Bearer authorization_uri=\"sandbox\""}}, {}};
  }
  if (!namesVersion(request)) {
    return odataError(400, "0x80060888", "The OData headers of the request are not supported.");
  }
  return std::nullopt;
}

HttpResponse DataverseStandIn::createLead(const ServedRequest& request) {
  std::optional<json> lead = jsonBody(request);
  if (!lead) return odataError(400, "0x80048d19", "Error identified in Payload: no JSON object.");
  if (const auto fault = leadFault(*lead, attributes)) return refusal(*fault);
  if (lead->value("subject", "").empty()) {
    return odataError(400, "0x80040203", "Required attribute 'subject' of the 'lead' is missing.");
  }
  const std::string id = asciiLowercased(newUuid());
  (*lead)["leadid"] = id;
  leads_.push_back(*lead);
  const std::string resource = std::string(environment) + "/api/data/v9.2/leads(" + id + ")";
  if (!givesRecord_ || request.header("Prefer") != "return=representation") {
    return {204, {{"OData-Version", "4.0"}, {"OData-EntityId", resource}}, {}};
  }
  (*lead)["@odata.context"] = std::string(environment) + "/api/data/v9.2/$metadata#leads/$entity";
  (*lead)["@odata.etag"] = "W/\"1\"";
  HttpResponse answer = jsonAnswer(201, *lead);
  answer.headers.push_back({"OData-Version", "4.0"});
  answer.headers.push_back({"OData-EntityId", resource});
  answer.headers.push_back({"Preference-Applied", "return=representation"});
  return answer;
}

std::vector<json> DataverseStandIn::leads() const {
  const std::lock_guard guard(lock_);
  return leads_;
}

void DataverseStandIn::answerWithoutRecord() {
  const std::lock_guard guard(lock_);
  givesRecord_ = false;
}

}  // namespace halcyra::sandbox
