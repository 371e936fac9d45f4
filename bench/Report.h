#pragma once

#include <string>
#include <vector>

namespace halcyra::bench {

double median(std::vector<double> values);

/// The lines of the table go to the standard output, which holds nothing else; `bench/run` puts
/// those of all programs together. What else is worth a word goes to the standard error output.

/// One line of the table: our median, the peer's, the median of the ratios of each round (of the
/// medians where the numbers of rounds differ), and the most that it should be.
void printRatio(const std::string& measure, const std::string& unit,
                const std::vector<double>& ours, const std::vector<double>& theirs, double goal);

/// One line of the table: a value and the most that it should be.
void printValue(const std::string& measure, const std::string& unit, double value, double goal);

}  // namespace halcyra::bench
