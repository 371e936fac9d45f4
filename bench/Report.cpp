#include "bench/Report.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace halcyra::bench {
namespace {

void printLine(const std::string& measure, const std::string& ours, const std::string& theirs,
               double compared, double goal) {
  std::printf("%-60s %15s %15s %8.3g %8.3g  %s\n", measure.c_str(), ours.c_str(), theirs.c_str(),
              compared, goal, compared <= goal ? "met" : "missed");
  std::fflush(stdout);
}

std::string quantity(double value, const std::string& unit) {
  char text[64];
  std::snprintf(text, sizeof text, "%.4g %s", value, unit.c_str());
  return text;
}

// The two of one round with each other, since the machine may be slower in the next.
double comparedByRound(const std::vector<double>& ours, const std::vector<double>& theirs) {
  std::vector<double> ratios;
  for (std::size_t round = 0; round < ours.size(); ++round) {
    ratios.push_back(ours[round] / theirs[round]);
  }
  return median(std::move(ratios));
}

}  // namespace

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::ranges::nth_element(values, middle);
  return *middle;
}

void printRatio(const std::string& measure, const std::string& unit,
                const std::vector<double>& ours, const std::vector<double>& theirs, double goal) {
  const double own = median(ours), other = median(theirs);
  const bool hasRounds = ours.size() == theirs.size();
  const double compared = hasRounds ? comparedByRound(ours, theirs) : own / other;
  printLine(measure, quantity(own, unit), quantity(other, unit), compared, goal);
}

void printValue(const std::string& measure, const std::string& unit, double value, double goal) {
  printLine(measure, quantity(value, unit), "", value, goal);
}

}  // namespace halcyra::bench
