#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <charconv>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <span>
#include <string>

#include "sandbox/ModelStandIn.h"

namespace {

constexpr std::string_view usage = "Usage: halcyra-sandbox-model [--port N] [--key KEY]\n";

struct Options {
  std::uint16_t port = 0;
  std::string key;
};

bool readPort(std::string_view text, std::uint16_t& port) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size();
}

std::optional<Options> readOptions(std::span<char*> arguments) {
  Options options;
  for (std::size_t index = 0; index + 1 < arguments.size(); index += 2) {
    const std::string_view name = arguments[index];
    const std::string_view value = arguments[index + 1];
    if (name == "--key") {
      options.key = value;
    } else if (name != "--port" || !readPort(value, options.port)) {
      return std::nullopt;
    }
  }
  if (arguments.size() % 2 != 0) return std::nullopt;
  return options;
}

void serveUntilSignal(const Options& options) {
  boost::asio::io_context context;
  boost::asio::signal_set signals(context, SIGINT, SIGTERM);
  signals.async_wait([](const boost::system::error_code&, int) {});
  const halcyra::sandbox::LoopbackHttpServer server(halcyra::sandbox::ModelStandIn(options.key),
                                                    options.port);
  std::cout << server.baseURL() << "/v1" << std::endl;
  context.run();
}

}  // namespace

int main(int argc, char** argv) {
  const auto options = readOptions(std::span(argv, argv + argc).subspan(1));
  if (!options) {
    std::cerr << usage;
    return 2;
  }
  try {
    serveUntilSignal(*options);
  } catch (const std::exception& error) {
    std::cerr << "halcyra-sandbox-model: " << error.what() << "\n";
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
