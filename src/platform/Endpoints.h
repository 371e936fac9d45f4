#pragma once

#include <string>

namespace halcyra {

/// The base URLs of the web services, without a slash at the end.
struct Endpoints {
  /// Mail, calendar and user information.
  std::string google = "https://www.googleapis.com";
  /// The page where a person signs in.
  std::string googleAccounts = "https://accounts.google.com";
  /// Token requests go to its path /token.
  std::string googleToken = "https://oauth2.googleapis.com";
  std::string microsoftLogin = "https://login.microsoftonline.com";
  /// Without the version.
  std::string graph = "https://graph.microsoft.com";
  /// Replace the login host and the environment that the user named, unless empty.
  std::string salesforceLogin = {};
  std::string dataverse = {};

  bool operator==(const Endpoints&) const = default;
};

}  // namespace halcyra
