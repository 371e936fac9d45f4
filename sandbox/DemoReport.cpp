#include "sandbox/DemoReport.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string_view>

#include "sandbox/Columns.h"

namespace halcyra::sandbox {

namespace {

constexpr std::size_t margin = 2;
constexpr std::size_t gap = 2;
constexpr std::size_t indent = 2;  // of the second line of a row

class Painter {
 public:
  explicit Painter(bool colours) : colours_(colours) {}

  std::string bold(const std::string& text) const { return paint("1", text); }
  std::string faint(const std::string& text) const { return paint("2", text); }
  std::string green(const std::string& text) const { return paint("32", text); }
  std::string yellow(const std::string& text) const { return paint("33", text); }

 private:
  std::string paint(const char* code, const std::string& text) const {
    return colours_ ? std::string("\x1b[") + code + "m" + text + "\x1b[0m" : text;
  }

  bool colours_;
};

// What a mail header may not do to a terminal.
std::string plain(std::string text) {
  std::ranges::replace_if(
      text, [](unsigned char c) { return c < 0x20 || c == 0x7f; }, ' ');
  return text;
}

std::string confidenceText(const std::optional<double>& confidence) {
  if (!confidence) return "–";
  char text[16];
  std::snprintf(text, sizeof text, "%.2f", *confidence);
  return text;
}

// The name of a sender, or the address where there is none.
std::string senderName(const std::string& from) {
  const std::size_t address = from.find('<');
  std::string name = from.substr(0, address);
  std::erase(name, '"');
  while (!name.empty() && name.back() == ' ') name.pop_back();
  return name.empty() ? from : name;
}

// Two lines a message: the decision stands beside the subject, who took it beside the sender. The
// message's column gets what the others leave.
struct Layout {
  std::size_t message = 0;
  std::size_t decision = 0;
  std::size_t confidence = 10;
  std::size_t server = 7;

  std::size_t total() const { return message + decision + confidence + server + 3 * gap; }
};

Layout layoutFor(const std::vector<DemoRow>& rows, std::size_t width) {
  constexpr std::size_t narrowest = 20;
  Layout layout;
  std::size_t message = narrowest;
  for (const DemoRow& row : rows) {
    message = std::max({message, columnsOf(row.subject), columnsOf(senderName(row.from)) + indent});
    layout.decision =
        std::max({layout.decision, columnsOf(row.decision), columnsOf(row.decidedBy) + indent});
  }
  layout.decision = std::min<std::size_t>(layout.decision, 40);
  const std::size_t others = margin + layout.total();
  layout.message = std::min(message, std::max(width, others + narrowest) - others);
  return layout;
}

std::string joined(const std::vector<std::string>& tags) {
  std::string text;
  for (const std::string& tag : tags) text += (text.empty() ? "" : ", ") + tag;
  return text;
}

void writeRow(std::ostream& out, const Layout& layout, const DemoRow& row, const Painter& paint) {
  const std::string space(gap, ' ');
  out << std::string(margin, ' ') << paint.bold(fitted(plain(row.subject), layout.message)) << space
      << fitted(row.decision, layout.decision) << space
      << fitted(confidenceText(row.confidence), layout.confidence) << space
      << (row.seen ? paint.green("read") : paint.yellow("unread")) << "\n";
  const std::string sender = fitted(senderName(plain(row.from)), layout.message - indent);
  out << std::string(margin + indent, ' ')
      << paint.faint(sender + space + std::string(indent, ' '));
  if (row.tags.empty()) {
    out << paint.faint(plain(row.decidedBy)) << "\n";
    return;
  }
  const std::size_t room = layout.confidence + gap + layout.server;
  const std::string tags = "tagged " + plain(joined(row.tags));
  out << paint.faint(fitted(plain(row.decidedBy), layout.decision - indent)) << space
      << paint.green(columnsOf(tags) > room ? fitted(tags, room) : tags) << "\n";
}

std::string heading(const Layout& layout) {
  const std::string space(gap, ' ');
  return fitted("Message", layout.message) + space + fitted("Decision", layout.decision) + space +
         fitted("Confidence", layout.confidence) + space + "Server";
}

std::string rule(std::size_t width) {
  std::string text;
  for (std::size_t i = 0; i < width; ++i) text += "─";
  return text;
}

void writeReplies(std::ostream& out, const std::vector<DemoRow>& rows, std::size_t screenWidth,
                  const Painter& paint) {
  const std::string left(margin, ' ');
  const std::size_t width = std::min<std::size_t>(screenWidth, 90) - margin - 4;
  bool first = true;
  for (const DemoRow& row : rows) {
    if (row.draft.empty()) continue;
    if (first) out << "\n" << left << paint.bold("Suggested replies") << "\n";
    first = false;
    const std::string to = "To " + senderName(plain(row.from));
    out << "\n"
        << left << to << paint.faint(" · " + plain(row.subject))
        << (row.answered ? paint.green(" · sent") : "") << "\n";
    for (const std::string& text : wrapped(row.draft, width)) {
      out << left << paint.faint(text.empty() ? "│" : "│ ") << plain(text) << "\n";
    }
  }
}

// The unfolded header fields of the outer message with these names, in the message's order.
std::vector<std::string> headerLines(const std::string& data) {
  std::vector<std::string> shown;
  std::istringstream lines(data);
  for (std::string line; std::getline(lines, line) && line != "\r" && !line.empty();) {
    if (line.back() == '\r') line.pop_back();
    for (const char* name : {"Subject:", "In-Reply-To:", "Content-Type: message"}) {
      if (line.starts_with(name)) shown.push_back(line);
    }
    // What follows are the headers of the message that is forwarded.
    if (line.starts_with("Content-Type: message")) break;
  }
  return shown;
}

}  // namespace

Screen thisScreen() {
  Screen screen;
  if (!isatty(STDOUT_FILENO)) return screen;
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) screen.width = size.ws_col;
  const char* terminal = std::getenv("TERM");
  screen.colours = std::getenv("NO_COLOR") == nullptr && terminal != nullptr &&
                   std::string_view(terminal) != "dumb";
  screen.width = std::max<std::size_t>(screen.width, 40);
  return screen;
}

std::string demoReport(const std::vector<DemoMailbox>& mailboxes, const std::vector<DemoRow>& rows,
                       const Screen& screen) {
  const Painter paint(screen.colours);
  const Layout layout = layoutFor(rows, screen.width);
  const std::string left(margin, ' ');
  std::ostringstream out;
  out << "\n" << left << paint.faint(heading(layout)) << "\n";
  out << left << paint.faint(rule(layout.total())) << "\n";
  for (const DemoMailbox& mailbox : mailboxes) {
    out << "\n" << left << paint.bold(mailbox.title) << "\n\n";
    for (const DemoRow& row : rows) {
      if (row.mailbox == mailbox.id) writeRow(out, layout, row, paint);
    }
  }
  writeReplies(out, rows, screen.width, paint);
  return out.str();
}

std::string submissionReport(const std::vector<SubmittedMessage>& messages, const Screen& screen) {
  const Painter paint(screen.colours);
  const std::string left(margin, ' ');
  std::ostringstream out;
  out << "\n" << left << paint.bold("What the submission server received") << "\n";
  for (const SubmittedMessage& message : messages) {
    out << "\n"
        << left << plain(message.from) << " → " << plain(message.to)
        << paint.faint(" · " + std::to_string(message.data.size()) + " bytes") << "\n";
    for (const std::string& line : headerLines(message.data)) {
      out << left << paint.faint("│ " + plain(line)) << "\n";
    }
  }
  return out.str();
}

std::string calendarReport(const std::vector<std::string>& appointments, const Screen& screen) {
  const Painter paint(screen.colours);
  const std::string left(margin, ' ');
  std::ostringstream out;
  out << "\n"
      << left << paint.bold("The Outlook calendar that a proposed meeting has to fit") << "\n\n"
      << left << "Each of the next ten days" << paint.faint(" · 15 minutes free around a meeting")
      << "\n";
  for (const std::string& appointment : appointments) {
    out << left << paint.faint("│ ") << appointment << "\n";
  }
  return out.str();
}

std::string leadReport(const std::vector<DemoLead>& leads, const Screen& screen) {
  const Painter paint(screen.colours);
  const std::string left(margin, ' ');
  const std::size_t width = std::min<std::size_t>(screen.width, 90) - margin - 2;
  std::ostringstream out;
  out << "\n" << left << paint.bold("Leads that the CRMs hold now") << "\n";
  for (const DemoLead& lead : leads) {
    std::size_t widest = 0;
    for (const auto& [key, value] : lead.fields) widest = std::max(widest, key.size());
    out << "\n" << left << lead.crm << paint.faint(" · " + lead.id) << "\n";
    for (const auto& [key, value] : lead.fields) {
      const std::string text = plain(value);
      const std::size_t room = width - widest - gap;
      out << left << paint.faint("│ " + fitted(key, widest + gap))
          << (columnsOf(text) > room ? fitted(text, room) : text) << "\n";
    }
  }
  return out.str();
}

std::string providerReport(const std::vector<ProviderSent>& messages, const Screen& screen) {
  const Painter paint(screen.colours);
  const std::string left(margin, ' ');
  std::ostringstream out;
  out << "\n" << left << paint.bold("What left through Gmail and Outlook themselves") << "\n\n";
  for (const ProviderSent& message : messages) {
    out << left << message.provider << " → " << plain(message.to)
        << paint.faint(" · " + plain(message.subject)) << "\n";
  }
  return out.str();
}

}  // namespace halcyra::sandbox
