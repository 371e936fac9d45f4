#pragma once

#include <functional>
#include <stop_token>
#include <string>

#include "cli/Command.h"
#include "platform/Task.h"
#include "signin/OAuthWebSession.h"

namespace halcyra {

/// Begins a sign-in, whose task gives the sentence about its success.
using BeginSignIn =
    std::function<Task<std::string>(AnnounceAddress announce, std::stop_token stop)>;

/// What a person reads of a failure, from its text.
using ExplainFailure = std::function<std::string(std::string_view text)>;

/// Runs a sign-in in the browser until it ends or Ctrl-C ends it, tells where to go and how it
/// ended, and gives the exit code. Secrets are open before and nobody else writes them. `begin`'s
/// task may use what outlives this call.
int runSignIn(Session& session, BeginSignIn begin, ExplainFailure explain);

}  // namespace halcyra
