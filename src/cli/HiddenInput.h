#pragma once

#include <string>

namespace halcyra {

/// Asks for one line on the terminal behind standard input and shows nothing of what is typed. The
/// terminal shows input again when the line is read, and also when a signal ends or stops the
/// program meanwhile. The end of the input ends the line too.
std::string readHiddenLine(const std::string& prompt);

}  // namespace halcyra
