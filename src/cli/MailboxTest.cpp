#include "cli/MailboxTest.h"

#include <algorithm>

#include "mail/IMAPClient.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

IMAPLogin loginFor(const IMAPConnection& imap, const std::string& password) {
  const std::string host(trimmed(imap.host));
  const std::string username(trimmed(imap.username));
  const std::string& folder = imap.mailbox;
  if (host.empty())
    throw MailboxTestError("the IMAP host is empty; set it with \"halcyra-cli config edit\"");
  if (username.empty()) {
    throw MailboxTestError("the IMAP username is empty; set it with \"halcyra-cli config edit\"");
  }
  if (password.empty()) {
    throw MailboxTestError(
        "no IMAP password is stored; store it with \"halcyra-cli secret set imap.password\"");
  }
  const auto port = static_cast<std::uint16_t>(std::clamp<std::int64_t>(imap.port, 0, 65535));
  return {{host, port, imap.useTLS}, username, password, folder.empty() ? "INBOX" : folder};
}

bool hasRefusal(std::string_view exchange, std::string_view tag) {
  for (const std::string_view word : {" NO", " BAD"}) {
    const std::string start = std::string(tag).append(word);
    if (exchange.starts_with(start) || exchange.find("\n" + start) != std::string_view::npos) {
      return true;
    }
  }
  return false;
}

// A client's first command is LOGIN and its second SELECT, so the tag of a refusal tells the step.
std::string howFar(const IMAPError& error, const IMAPLogin& login) {
  if (error.kind() != IMAPError::Kind::taggedFailure) return error.what();
  if (hasRefusal(error.what(), "E1")) {
    return "connected, but the server refused the user name or the password: " +
           std::string(error.what());
  }
  return "connected and signed in, but “" + login.mailbox +
         "” could not be opened: " + error.what();
}

}  // namespace

Task<std::string> testMailbox(StreamConnector& connector, IMAPConnection connection,
                              std::string imapPassword) {
  const IMAPLogin login = loginFor(connection, imapPassword);
  IMAPClient client(connector);
  try {
    Task<void> connecting = client.connect(login);
    co_await std::move(connecting);
  } catch (const IMAPError& error) {
    throw MailboxTestError(howFar(error, login));
  } catch (const StreamError& error) {
    throw MailboxTestError(std::string("no connection: ") + error.what() +
                           " Check the mailbox's host, port and TLS.");
  }
  client.disconnect();
  co_return "Mailbox OK — connected, signed in, and opened “" + login.mailbox + "”.";
}

}  // namespace halcyra
