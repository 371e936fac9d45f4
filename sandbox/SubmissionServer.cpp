#include "sandbox/SubmissionServer.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "sandbox/Certificate.h"

namespace halcyra::sandbox {

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds startLimit{20};

// The one that Debian's packages belong to; another may come first in PATH.
constexpr const char* python = "/usr/bin/python3";

SubmittedMessage stored(const fs::path& file) {
  SubmittedMessage message;
  std::ifstream in(file, std::ios::binary);
  for (std::string* line : {&message.user, &message.from, &message.to}) std::getline(in, *line);
  message.data.assign(std::istreambuf_iterator<char>(in), {});
  return message;
}

}  // namespace

SubmissionServer::SubmissionServer(const SubmissionOptions& options) {
  writeUsers(options.users);
  Command command{{python, HALCYRA_SUBMISSION_SERVER, folder_.path()}};
  if (!options.tlsHostName.empty()) {
    const Certificate made = makeCertificate(folder_.path(), options.tlsHostName);
    authority_ = made.authority;
    command.arguments.push_back(made.certificate);
    command.arguments.push_back(made.key);
  }
  if (geteuid() == 0) {
    const passwd* account = getpwnam("nobody");
    if (account == nullptr) throw std::runtime_error("there is no account \"nobody\"");
    command.user = account->pw_uid;
    command.group = account->pw_gid;
    giveTo(account->pw_uid, account->pw_gid);
  }
  start(std::move(command));
}

SubmissionServer::~SubmissionServer() {
  stop();
}

void SubmissionServer::writeUsers(const std::vector<SubmissionUser>& users) const {
  std::ofstream out(folder_.path() / "users");
  for (const SubmissionUser& user : users) out << user.name << "\t" << user.password << "\n";
}

void SubmissionServer::giveTo(uid_t user, gid_t group) const {
  std::vector<fs::path> paths{folder_.path()};
  for (const auto& entry : fs::directory_iterator(folder_.path())) paths.push_back(entry.path());
  for (const fs::path& path : paths) {
    if (chown(path.c_str(), user, group) != 0) {
      throw std::system_error(errno, std::generic_category(), path.string());
    }
  }
}

void SubmissionServer::start(Command command) {
  process_ = std::make_unique<ChildProcess>(command);
  port_ = announcedPort();
  tlsPort_ = announcedPort();
}

std::uint16_t SubmissionServer::announcedPort() {
  const std::string line = process_->readLine(startLimit).value_or("");
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), port);
  if (error == std::errc() && end == line.data() + line.size()) return port;
  process_->stop(std::chrono::seconds(0));
  throw std::runtime_error("The submission server did not start: " + process_->errors());
}

std::vector<SubmittedMessage> SubmissionServer::received() const {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder_.path() / "received")) {
    files.push_back(entry.path());
  }
  std::ranges::sort(files);
  std::vector<SubmittedMessage> messages;
  for (const fs::path& file : files) messages.push_back(stored(file));
  return messages;
}

void SubmissionServer::stop() {
  if (process_) process_->stop(std::chrono::seconds(10));
  process_.reset();
}

}  // namespace halcyra::sandbox
