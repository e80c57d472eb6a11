#include "soak/plan.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace commutil_soak {
namespace {

constexpr double kWarmUp = 120;
constexpr double kShortest = 180;
constexpr double kMostLiveBytesPerMinute = 1024;
constexpr double kMostResidentPercent = 2;

/// The mean of a tenth of the moments from `first` on: resident memory varies with the commands
/// that run at the time.
double residentFrom(const std::vector<Moment>& moments, std::size_t first) {
  const std::size_t count = std::max<std::size_t>(1, moments.size() / 10);
  const auto begin = moments.begin() + static_cast<std::ptrdiff_t>(first);
  const auto end = begin + static_cast<std::ptrdiff_t>(std::min(count, moments.size() - first));
  const double sum = std::accumulate(begin, end, 0.0, [](double total, const Moment& moment) {
    return total + static_cast<double>(moment.residentBytes);
  });
  return sum / static_cast<double>(end - begin);
}

/// Returns the first moment after the warm-up; the first one of a run without it.
std::size_t warm(const std::vector<Moment>& moments) {
  const auto found = std::find_if(moments.begin(), moments.end(),
                                  [](const Moment& moment) { return moment.seconds >= kWarmUp; });
  return found == moments.end() ? 0 : static_cast<std::size_t>(found - moments.begin());
}

void judgeMemory(const Record& record, std::vector<std::string>& failures) {
  const Growth growth = growthOf(record);
  if (growth.liveBytes > growth.minutes * kMostLiveBytesPerMinute) {
    failures.push_back("allocated memory grew by " +
                       std::to_string(static_cast<long>(growth.liveBytes)) + " bytes in " +
                       std::to_string(growth.minutes) + " minutes");
  }
  if (growth.residentPercent > kMostResidentPercent) {
    failures.push_back("resident memory grew by " + std::to_string(growth.residentPercent) + " %");
  }
}

void judgeDescriptors(const Record& record, std::vector<std::string>& failures) {
  if (record.moments.empty()) return;
  const std::uint64_t before = record.moments[warm(record.moments)].descriptors;
  const std::uint64_t after = record.moments.back().descriptors;
  if (after <= before) return;
  failures.push_back("descriptors grew from " + std::to_string(before) + " to " +
                     std::to_string(after));
}

}  // namespace

bool judgesMemory(const Record& record) {
  return !record.moments.empty() && record.moments.back().seconds >= kShortest;
}

Growth growthOf(const Record& record) {
  const std::vector<Moment>& moments = record.moments;
  const std::size_t first = warm(moments);
  const std::size_t last = moments.size() - std::max<std::size_t>(1, moments.size() / 10);
  const double before = residentFrom(moments, first);
  return {
      (moments.back().seconds - moments[first].seconds) / 60,
      static_cast<double>(moments.back().liveBytes) - static_cast<double>(moments[first].liveBytes),
      (residentFrom(moments, last) - before) / before * 100};
}

std::vector<std::string> failuresOf(const Plan& plan, const Record& record) {
  std::vector<std::string> failures = record.ends;
  const auto none = [&](std::uint64_t count, const char* what) {
    if (count != 0) failures.push_back(std::to_string(count) + " " + what);
  };
  const auto atLeast = [&](std::uint64_t count, std::uint64_t least, const char* what) {
    if (count >= least) return;
    failures.push_back("only " + std::to_string(count) + " of " + std::to_string(least) + " " +
                       what);
  };
  const auto rounds = static_cast<std::uint64_t>(plan.rounds);
  const Moment last = record.moments.empty() ? Moment{} : record.moments.back();
  atLeast(record.moments.size(), rounds, "rounds");
  atLeast(last.handOvers,
          rounds * static_cast<std::uint64_t>(plan.processes * plan.threads * plan.handOvers),
          "hand-overs");
  atLeast(last.kills, rounds * static_cast<std::uint64_t>(plan.kills), "kills");
  none(record.outOfOrder, "hand-overs out of order");
  none(record.doubleHolders, "locks with two holders");
  none(record.lockFailures, "failures of the lock");
  none(record.children, "children left behind");
  for (const std::string& name : record.wrongCalls) failures.push_back("wrong results: " + name);
  for (const std::string& name : record.neverCalled) failures.push_back("never called: " + name);
  judgeDescriptors(record, failures);
  if (judgesMemory(record)) judgeMemory(record, failures);
  return failures;
}

}  // namespace commutil_soak
