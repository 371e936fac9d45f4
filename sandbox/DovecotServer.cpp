#include "sandbox/DovecotServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <grp.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "sandbox/Certificate.h"

namespace halcyra::sandbox {

namespace fs = std::filesystem;

namespace {

std::string contents(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// Debian keeps it where the PATH of an ordinary user does not look.
std::string dovecotProgram() {
  for (const char* place : {"/usr/sbin/dovecot", "/usr/local/sbin/dovecot"}) {
    if (access(place, X_OK) == 0) return place;
  }
  return "dovecot";
}

class LoopbackSocket {
 public:
  explicit LoopbackSocket(std::uint16_t port)
      : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    address_.sin_family = AF_INET;
    address_.sin_port = htons(port);
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  }
  ~LoopbackSocket() { close(fd_); }
  LoopbackSocket(const LoopbackSocket&) = delete;
  LoopbackSocket& operator=(const LoopbackSocket&) = delete;

  bool bind() { return ::bind(fd_, plain(), sizeof address_) == 0; }
  bool connect() { return ::connect(fd_, plain(), sizeof address_) == 0; }

  // Empty when the peer says nothing for two seconds.
  std::string firstWords() const {
    const timeval limit{2, 0};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    std::array<char, 512> room;
    const ssize_t count = recv(fd_, room.data(), room.size(), 0);
    return {room.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
  }

  std::uint16_t port() {
    socklen_t size = sizeof address_;
    getsockname(fd_, plain(), &size);
    return ntohs(address_.sin_port);
  }

 private:
  sockaddr* plain() { return reinterpret_cast<sockaddr*>(&address_); }

  int fd_;
  sockaddr_in address_{};
};

std::string accountName(uid_t user) {
  const passwd* entry = getpwuid(user);
  return entry != nullptr ? entry->pw_name : std::to_string(user);
}

std::string groupName(gid_t id) {
  const group* entry = getgrgid(id);
  return entry != nullptr ? entry->gr_name : std::to_string(id);
}

// The value of the message's Message-ID header.
std::string messageIDOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  for (std::string line; std::getline(in, line) && !line.empty() && line != "\r";) {
    std::string name = line.substr(0, line.find(':'));
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::tolower(c); });
    if (name != "message-id") continue;
    const std::size_t from = line.find('<');
    return from == std::string::npos ? "" : line.substr(from, line.find('>') - from + 1);
  }
  return "";
}

}  // namespace

std::uint16_t freeLoopbackPort() {
  LoopbackSocket socket(0);
  if (!socket.bind()) throw std::system_error(errno, std::generic_category(), "no free port");
  return socket.port();
}

DovecotServer::DovecotServer(DovecotOptions options) : user_(geteuid()), group_(getegid()) {
  if (user_ == 0) {
    // Dovecot serves no mail to root.
    const passwd* account = getpwnam("dovecot");
    if (account == nullptr) account = getpwnam("nobody");
    if (account == nullptr) throw std::runtime_error("there is no account to run Dovecot with");
    user_ = account->pw_uid;
    group_ = account->pw_gid;
  }
  const bool encrypts = !options.tlsHostName.empty();
  if (encrypts) authority_ = makeCertificate(folder_.path(), options.tlsHostName).authority;
  for (const DovecotUser& user : options.users) {
    for (const char* part : {"cur", "new", "tmp"}) fs::create_directories(inbox(user.name) / part);
  }
  choosePorts(encrypts);
  writeSettings(options);
  giveToServer(folder_.path());
  for (const auto& entry : fs::recursive_directory_iterator(folder_.path())) {
    giveToServer(entry.path());
  }
  // Other tests read the authority's file as they are.
  if (!authority_.empty()) fs::permissions(authority_, fs::perms(0644));
  startSomewhere(options);
}

void DovecotServer::choosePorts(bool encrypts) {
  port_ = freeLoopbackPort();
  do {
    tlsPort_ = encrypts ? freeLoopbackPort() : 0;
  } while (tlsPort_ == port_);
}

// Another program may take a port that was free before Dovecot comes to it.
void DovecotServer::startSomewhere(const DovecotOptions& options) {
  for (int triesLeft = 3;; --triesLeft) {
    try {
      return start();
    } catch (const std::runtime_error&) {
      if (triesLeft == 0) throw;
    }
    choosePorts(tlsPort_ != 0);
    writeSettings(options);
  }
}

DovecotServer::~DovecotServer() {
  stop();
}

void DovecotServer::writeSettings(const DovecotOptions& options) const {
  const std::string folder = folder_.path().string();
  std::ofstream passwords(folder + "/users");
  for (const DovecotUser& user : options.users) {
    passwords << user.name << ":{PLAIN}" << user.password << "\n";
  }
  const std::string account = accountName(user_);
  std::ofstream out(folder + "/dovecot.conf");
  out << "protocols = imap\nlisten = 127.0.0.1\n"
      << "base_dir = " << folder << "/run\nstate_dir = " << folder << "/state\n"
      << "log_path = " << folder << "/dovecot.log\n"
      << "default_internal_user = " << account << "\ndefault_login_user = " << account << "\n"
      << "default_internal_group = " << groupName(group_) << "\n"
      << "first_valid_uid = 1\nfirst_valid_gid = 1\n"
      << "disable_plaintext_auth = no\nauth_mechanisms = plain login\n"
      << "mail_location = maildir:" << folder << "/mail/%u\n"
      << "mailbox_idle_check_interval = 1 secs\n"
      << "verbose_proctitle = yes\n"  // for idles()
      << "passdb {\n  driver = passwd-file\n  args = " << folder << "/users\n}\n"
      << "userdb {\n  driver = static\n  args = uid=" << user_ << " gid=" << group_
      << " home=" << folder
      << "/mail/%u\n}\n"
      // Changing the root folder needs root.
      << "service anvil {\n  chroot =\n}\n"
      << "service imap-login {\n  chroot =\n"
      << "  inet_listener imap {\n    port = " << port_ << "\n  }\n"
      << "  inet_listener imaps {\n    port = " << tlsPort_ << "\n    ssl = yes\n  }\n}\n";
  if (tlsPort_ == 0) {
    out << "ssl = no\n";
  } else {
    out << "ssl = yes\nssl_cert = <" << folder << "/server.pem\nssl_key = <" << folder
        << "/server.key\n";
  }
}

void DovecotServer::start() {
  Command command{{dovecotProgram(), "-F", "-c", (folder_.path() / "dovecot.conf").string()}};
  // Its helpers outlive a master that is killed, not one that is asked to end.
  command.signalAtParentsEnd = SIGTERM;
  if (geteuid() == 0) {
    command.user = user_;
    command.group = group_;
  }
  process_ = std::make_unique<ChildProcess>(command);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!answers()) {
    // The wait for an early end is the pause between two tries.
    const bool ended = process_->wait(std::chrono::milliseconds(20)).has_value();
    if (ended || std::chrono::steady_clock::now() > deadline) {
      throw std::runtime_error("Dovecot did not start: " + process_->errors() + log());
    }
  }
}

bool DovecotServer::answers() const {
  LoopbackSocket socket(port_);
  return socket.connect() && socket.firstWords().starts_with("* OK");
}

fs::path DovecotServer::inbox(const std::string& user) const {
  return folder_.path() / "mail" / user;
}

void DovecotServer::giveToServer(const fs::path& path) const {
  if (geteuid() == 0 && chown(path.c_str(), user_, group_) != 0) {
    throw std::system_error(errno, std::generic_category(), path.string());
  }
}

void DovecotServer::deliver(const std::string& user, std::string_view message, Moment deliveredAt,
                            bool seen) {
  const auto seconds = std::chrono::system_clock::to_time_t(deliveredAt);
  std::string name = std::to_string(seconds) + ".M" + std::to_string(++deliveries_) + "P" +
                     std::to_string(getpid()) + ".sandbox";
  const fs::path waiting = inbox(user) / "tmp" / name;
  std::ofstream(waiting, std::ios::binary) << message;
  giveToServer(waiting);
  const timespec moment{seconds, 0};
  const timespec times[] = {moment, moment};
  if (utimensat(AT_FDCWD, waiting.c_str(), times, 0) != 0) {
    throw std::system_error(errno, std::generic_category(), waiting.string());
  }
  fs::rename(waiting, seen ? inbox(user) / "cur" / (name + ":2,S") : inbox(user) / "new" / name);
}

std::map<std::string, std::string> DovecotServer::flags(const std::string& user) const {
  std::map<std::string, std::string> result;
  for (const char* part : {"new", "cur"}) {
    for (const auto& entry : fs::directory_iterator(inbox(user) / part)) {
      const std::string name = entry.path().filename();
      const std::size_t info = name.find(":2,");
      // A message that the server renames right now is met again under its new name, or not at all.
      const std::string id = messageIDOf(entry.path());
      if (!id.empty()) result[id] = info == std::string::npos ? "" : name.substr(info + 3);
    }
  }
  return result;
}

bool DovecotServer::seen(const std::string& user, const std::string& messageID) const {
  const auto all = flags(user);
  const auto found = all.find(messageID);
  return found != all.end() && found->second.find('S') != std::string::npos;
}

// The title of an IMAP process reads "dovecot/imap [user 127.0.0.1 IDLE]".
bool DovecotServer::idles(const std::string& user) const {
  const std::string master = std::to_string(process_->id());
  for (const auto& entry : fs::directory_iterator("/proc")) {
    const std::string title = contents(entry.path() / "cmdline");
    if (!title.starts_with("dovecot/imap [" + user + " ")) continue;
    // "pid (name) state parent ..."
    const std::string state = contents(entry.path() / "stat");
    const std::size_t name = state.rfind(") ");
    if (name == std::string::npos || !state.substr(name + 4).starts_with(master + " ")) continue;
    if (title.find(" IDLE]") != std::string::npos) return true;
  }
  return false;
}

std::string DovecotServer::log() const {
  return contents(folder_.path() / "dovecot.log");
}

void DovecotServer::stop() {
  if (process_) process_->stop(std::chrono::seconds(10));
  process_.reset();
}

}  // namespace halcyra::sandbox
