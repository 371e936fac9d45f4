#pragma once

#include <string>

#include "mail/GraphMailRecords.h"

namespace halcyra {

struct DiagnosticsNotice {
  std::string text;
  bool isError = false;
};

/// What Graph shows of a mailbox as one paragraph, with advice where mail seems to be missing.
DiagnosticsNotice graphDiagnosticsReport(const InboxDiagnostics& diagnostics);

}  // namespace halcyra
