#pragma once

#include <chrono>

#include "platform/Notifications.h"

namespace halcyra {

/// Notifications through org.freedesktop.Notifications on the session bus (Desktop Notifications
/// version 1.2). Each post has a connection of its own.
class DBusNotifications : public Notifications {
 public:
  /// `blocking` runs on threads that may wait, for at most `longest` a post.
  explicit DBusNotifications(Executor blocking,
                             std::chrono::milliseconds longest = std::chrono::seconds(5))
      : blocking_(std::move(blocking)), longest_(longest) {}

  Task<bool> post(std::string title, std::string body) override;

 private:
  Executor blocking_;
  std::chrono::milliseconds longest_;
};

}  // namespace halcyra
