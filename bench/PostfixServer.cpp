#include "bench/PostfixServer.h"

#include <pwd.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "bench/ProgramRun.h"

namespace halcyra::bench {

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds startLimit{30};
constexpr std::chrono::milliseconds betweenLooks{50};

const passwd& postfixAccount() {
  const passwd* const account = getpwnam("postfix");
  if (geteuid() != 0 || !account) throw std::runtime_error("Postfix needs root and its package");
  return *account;
}

}  // namespace

PostfixServer::PostfixServer(const sandbox::DovecotServer& accounts)
    : port_(sandbox::freeLoopbackPort()) {
  const passwd& account = postfixAccount();
  const fs::path theirs = accounts.authorityFile().parent_path();
  // Its processes, which run as another account, ask there who may log in.
  fs::permissions(theirs, fs::perms(0755));
  fs::permissions(theirs / "run" / "auth-client", fs::perms(0666));
  fs::permissions(folder_.path(), fs::perms(0755));
  fs::create_directories(folder_.path() / "spool");
  fs::create_directories(folder_.path() / "data");
  if (chown((folder_.path() / "data").c_str(), account.pw_uid, account.pw_gid) != 0) {
    throw std::runtime_error("the folder cannot be given to Postfix");
  }
  writeSettings(theirs);
  const std::string folder = folder_.path().string();
  runProgram({"/usr/sbin/postfix", "-c", folder, "check"});  // makes the folders of the queue
  process_ = std::make_unique<sandbox::ChildProcess>(
      sandbox::Command{.arguments = {"/usr/lib/postfix/sbin/master", "-c", folder, "-d"},
                       .signalAtParentsEnd = SIGTERM});
  const auto deadline = std::chrono::steady_clock::now() + startLimit;
  while (log().find("daemon started") == std::string::npos) {
    const bool ended = process_->wait(betweenLooks).has_value();
    if (ended || std::chrono::steady_clock::now() > deadline) {
      throw std::runtime_error("Postfix did not start: " + process_->errors() + log());
    }
  }
}

PostfixServer::~PostfixServer() {
  process_->stop(std::chrono::seconds(10));
}

void PostfixServer::writeSettings(const fs::path& accounts) const {
  const std::string folder = folder_.path().string();
  std::ofstream(folder + "/main.cf")
      << "compatibility_level = 3.6\nqueue_directory = " << folder
      << "/spool\ndata_directory = " << folder << "/data\ncommand_directory = /usr/sbin\n"
      << "daemon_directory = /usr/lib/postfix/sbin\nmail_owner = postfix\n"
      << "setgid_group = postdrop\nmyhostname = localhost\ninet_interfaces = 127.0.0.1\n"
      << "inet_protocols = ipv4\nalias_maps =\nalias_database =\nmydestination =\n"
      << "default_transport = discard:\nsmtpd_tls_cert_file = " << accounts.string()
      << "/server.pem\nsmtpd_tls_key_file = " << accounts.string()
      << "/server.key\nsmtpd_sasl_auth_enable = yes\nsmtpd_sasl_type = dovecot\n"
      << "smtpd_sasl_path = " << accounts.string() << "/run/auth-client\n"
      << "smtpd_relay_restrictions = permit_sasl_authenticated, reject\n"
      << "maillog_file = " << folder << "/log\nmaillog_file_prefixes = " << folder << "\n";
  std::ofstream(folder + "/master.cf")
      << port_ << " inet n - n - - smtpd -o smtpd_tls_wrappermode=yes\n"
      << "cleanup unix n - n - 0 cleanup\nqmgr unix n - n 300 1 qmgr\n"
      << "tlsmgr unix - - n 1000? 1 tlsmgr\nrewrite unix - - n - - trivial-rewrite\n"
      << "bounce unix - - n - 0 bounce\ndefer unix - - n - 0 bounce\n"
      << "trace unix - - n - 0 bounce\nproxymap unix - - n - - proxymap\n"
      << "discard unix - - n - - discard\nanvil unix - - n - 1 anvil\n"
      << "postlog unix-dgram n - n - 1 postlogd\n";
}

std::size_t PostfixServer::accepted() const {
  const std::string text = log();
  constexpr std::string_view queued = ": message-id=";
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(queued, at)) != text.npos; at += queued.size()) ++count;
  return count;
}

std::string PostfixServer::log() const {
  std::ostringstream text;
  text << std::ifstream(folder_.path() / "log").rdbuf();
  return text.str();
}

}  // namespace halcyra::bench
