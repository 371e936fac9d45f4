#pragma once

#include <exception>
#include <string>

namespace halcyra {

/// The text of the exception of a type that the action throws, or what happened instead.
template <class Error, class Action>
std::string failureText(Action action) {
  try {
    action();
  } catch (const Error& error) {
    return error.what();
  } catch (const std::exception& error) {
    return std::string("another exception: ") + error.what();
  }
  return "no exception";
}

}  // namespace halcyra
