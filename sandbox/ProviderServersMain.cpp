// Gmail, Outlook, Dynamics and Salesforce for a person who wants to click through a sign-in: the
// stand-ins with a few messages, and settings of their own for halcyra-cli.

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string_view>

#include "sandbox/ProgramHome.h"
#include "sandbox/ProviderServers.h"
#include "sandbox/SampleMail.h"

namespace halcyra::sandbox {
namespace {

void deliverSamples(ProviderServers& providers) {
  const auto now = std::chrono::system_clock::now();
  for (const auto& file : gmailSampleFiles()) providers.google.deliver(sampleMessage(file, now));
  for (const auto& file : outlookSampleFiles()) {
    providers.microsoft.deliver(sampleMessage(file, now));
  }
  using namespace std::chrono;
  const InternetMoment tomorrow = floor<days>(now) + days(1);
  providers.google.addEvent({"Stand-up", tomorrow + hours(9), tomorrow + hours(10)});
  providers.google.addEvent({"Trade fair", tomorrow + days(1), tomorrow + days(2), true});
  providers.microsoft.addEvent({"Planning", tomorrow + hours(13), tomorrow + hours(15)});
}

void tellHowToUse(const ProgramHome& home, const std::string& program) {
  std::cout << "In another terminal:\n\n";
  for (const char* name :
       {"HALCYRA_KEYCHAIN", "HALCYRA_ENDPOINTS", "HALCYRA_INFO", "XDG_DATA_HOME"}) {
    std::cout << "  export " << name << "=" << home.environment.at(name) << "\n";
  }
  std::cout << "  " << program << " signin google --mailbox gmail\n"
            << "  " << program << " signin microsoft --mailbox outlook\n"
            << "  " << program << " signin salesforce --connection salesforce\n"
            << "  " << program << " mailbox test\n"
            << "  " << program << " lead --connection dynamics " << sampleFiles().at(5).string()
            << "\n\nCtrl-C ends the stand-ins and removes these "
            << "settings.\n"
            << std::flush;
}

void serveUntilSignal() {
  boost::asio::io_context context;
  boost::asio::signal_set signals(context, SIGINT, SIGTERM);
  signals.async_wait([](const boost::system::error_code&, int) {});
  const auto program =
      std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "halcyra-cli";
  ProviderServers providers;
  deliverSamples(providers);
  ProgramHome home(program);
  home.addGmailMailbox("gmail", "Gmail");
  home.addGraphMailbox("outlook", "Outlook");
  home.useProviders(providers.access());
  home.addDynamicsConnection("dynamics", "outlook", DataverseStandIn::environment);
  home.addSalesforceConnection("salesforce");
  home.save();
  tellHowToUse(home, program.string());
  context.run();
}

}  // namespace
}  // namespace halcyra::sandbox

int main(int count, char** arguments) {
  if (count > 1) {
    const bool isHelp = std::string_view(arguments[1]) == "--help";
    (isHelp ? std::cout : std::cerr)
        << "halcyra-sandbox-providers takes no arguments. It serves stand-ins for Gmail and "
           "Outlook\non this machine, prints how halcyra-cli signs in to them, and ends with "
           "Ctrl-C.\n";
    return isHelp ? EXIT_SUCCESS : 2;
  }
  try {
    halcyra::sandbox::serveUntilSignal();
  } catch (const std::exception& error) {
    std::cerr << "halcyra-sandbox-providers: " << error.what() << "\n";
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
