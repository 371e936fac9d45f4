// One insert into the store of handled messages when it holds 5,000 keys, prepared before as ahead
// of an action, and one that is not: CPU of the whole process, the write of the file included.

#include <algorithm>
#include <ctime>
#include <iostream>

#include "bench/Report.h"
#include "config/ProcessedMessageStore.h"
#include "platform/linux/PosixFileStore.h"
#include "sandbox/TemporaryFolder.h"

namespace halcyra::bench {
namespace {

constexpr int inserts = 101;

double cpuMilliseconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

std::string key(int number) {
  return messageKey(
      "6f1c54b3-9f0e-4f3c-8c55-0b9a4d1c7e21",
      "<CAF" + std::to_string(100'000 + number) + "abcdef0123456789@mail.example.org>");
}

// The file as a program left it that has run for long.
void writeStore(FileStore& files, const std::filesystem::path& folder, std::size_t keys) {
  std::string list = "[";
  for (std::size_t i = 0; i < keys; ++i) {
    std::string text = key(static_cast<int>(i));
    text.replace(text.find('\x1E'), 1, "\\u001e");
    list += (i ? ",\"" : "\"") + text + "\"";
  }
  files.writeAtomically(folder / "processed-ids.json", list + "]");
}

void run() {
  const sandbox::TemporaryFolder folder;
  PosixFileStore files;
  // The last of the inserts meets a full store.
  const std::size_t before = ProcessedMessageStore::maxEntries - inserts;
  writeStore(files, folder.path(), before);
  ProcessedMessageStore store(files, folder.path());
  std::vector<double> times;
  for (int i = 0; i < inserts; ++i) {
    const std::string added = key(static_cast<int>(before) + i);
    const double started = cpuMilliseconds();
    PreparedInsert prepared = store.prepare(added);  // as it is before an action
    store.insert(added, std::move(prepared));
    times.push_back(cpuMilliseconds() - started);
    if (!store.isOnDisk()) throw std::runtime_error("the store was not written");
  }
  printValue("insert into a store of 5,000 keys: CPU", "ms", median(times), 5);
  const double started = cpuMilliseconds();
  store.insert(key(0) + "x");
  printValue("the insert that trims the store: CPU", "ms", cpuMilliseconds() - started, 5);
}

}  // namespace
}  // namespace halcyra::bench

int main() {
  try {
    halcyra::bench::run();
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "store_bench: " << error.what() << "\n";
    return 1;
  }
}
