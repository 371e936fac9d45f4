#pragma once

#include <stdexcept>
#include <string>

#include "platform/Task.h"

namespace halcyra {

/// A notification service that is there refused or did not answer. `what()` is fit for the log and
/// holds nothing of the notification.
class NotificationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The desktop's notifications.
class Notifications {
 public:
  virtual ~Notifications() = default;

  /// Shows one notification with the default sound of new mail. Both texts are plain and appear as
  /// they are, without control characters. False when the session has no notification service.
  /// Throws NotificationError.
  virtual Task<bool> post(std::string title, std::string body) = 0;
};

}  // namespace halcyra
