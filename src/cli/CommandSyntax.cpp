#include "cli/CommandSyntax.h"

#include <CLI/CLI.hpp>
#include <utility>

namespace halcyra {
namespace {

void apply(const ValueTraits& traits, CLI::Option& option) {
  if (*traits.name != '\0') option.type_name(traits.name);
  option.required(traits.isRequired);
  if (traits.showsDefault) option.capture_default_str();
}

}  // namespace

CommandSyntax CommandSyntax::command(const std::string& name, const std::string& help) const {
  return {*app_->add_subcommand(name, help), *invocation_};
}

void CommandSyntax::flag(const std::string& name, bool& isSet, const std::string& help) const {
  app_->add_flag(name, isSet, help);
}

void CommandSyntax::value(const std::string& name, std::string& value, const std::string& help,
                          ValueTraits traits) const {
  apply(traits, *app_->add_option(name, value, help));
}

void CommandSyntax::value(const std::string& name, std::optional<std::string>& value,
                          const std::string& help, ValueTraits traits) const {
  apply(traits, *app_->add_option(name, value, help));
}

void CommandSyntax::values(const std::string& name, std::vector<std::string>& values,
                           const std::string& help) const {
  app_->add_option(name, values, help);
}

void CommandSyntax::port(const std::string& name, std::int64_t& value,
                         const std::string& help) const {
  app_->add_option(name, value, help)->check(CLI::Range(1, 65535))->capture_default_str();
}

void CommandSyntax::refusesMore(const std::string& why) const {
  app_->allow_extras();
  app_->parse_complete_callback([app = app_, why] {
    if (app->remaining_size() > 0) throw CLI::ArgumentMismatch(why);
  });
}

void CommandSyntax::footer(const std::string& text) const {
  app_->footer(text);
}

void CommandSyntax::runs(CommandBody body) const {
  app_->callback([invocation = invocation_, body = std::move(body)] { invocation->body = body; });
}

}  // namespace halcyra
