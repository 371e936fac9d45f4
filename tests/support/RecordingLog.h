#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/Log.h"

namespace halcyra {

class RecordingLog : public Log {
 public:
  /// The lines so far, without the prefix that each of them must have.
  std::vector<std::string> lines() const {
    const std::lock_guard guard(lock_);
    return lines_;
  }

  LogFields lastFields() const {
    const std::lock_guard guard(lock_);
    return fields_;
  }

 protected:
  void write(const std::string& line, const LogFields& fields) override {
    const std::lock_guard guard(lock_);
    const std::string prefix = "[Halcyra] ";
    lines_.push_back(line.starts_with(prefix) ? line.substr(prefix.size()) : "NO PREFIX: " + line);
    fields_ = fields;
  }

 private:
  mutable std::mutex lock_;
  std::vector<std::string> lines_;
  LogFields fields_;
};

}  // namespace halcyra
