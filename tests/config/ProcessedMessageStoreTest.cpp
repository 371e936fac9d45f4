#include "config/ProcessedMessageStore.h"

#include <gtest/gtest.h>

#include <set>

#include "support/MemoryFiles.h"
#include "text/Json.h"

namespace halcyra {
namespace {

using Keys = std::set<std::string>;
constexpr const char* processedFile = "/data/processed-ids.json";

std::string keyOf(int number) {
  return messageKey("m", std::to_string(100000 + number));
}

Keys storedIn(MemoryFiles& files) {
  return nlohmann::json::parse(files.contents.at(processedFile));
}

TEST(ProcessedMessages, KeysSurviveARestart) {
  MemoryFiles files;
  const std::string key = messageKey("m", "<Ä@x>");
  EXPECT_EQ(key, "m\x1E<Ä@x>");
  ProcessedMessageStore(files, "/data").insert(key);
  EXPECT_EQ(files.contents[processedFile], R"(["m\u001e<Ä@x>"])");
  ProcessedMessageStore store(files, "/data");
  EXPECT_TRUE(store.contains(key));
  EXPECT_FALSE(store.contains(messageKey("M", "<Ä@x>")));
  store.insert(key);
  EXPECT_EQ(files.written.size(), 2u);
  EXPECT_EQ(storedIn(files), Keys{key});
}

TEST(ProcessedMessages, ADamagedFileIsAnEmptySet) {
  for (const char* text : {"{\"a\": 1}", "[\"a\", 1]", "[\"a\"", ""}) {
    MemoryFiles files;
    files.contents[processedFile] = text;
    ProcessedMessageStore store(files, "/data");
    EXPECT_FALSE(store.contains("a")) << text;
    store.insert("b");
    EXPECT_EQ(storedIn(files), Keys{"b"}) << text;
  }
}

TEST(ProcessedMessages, AFailedWriteIsMadeGoodByTheNext) {
  MemoryFiles files;
  ProcessedMessageStore store(files, "/data");
  store.insert("a");
  files.isFull = true;
  store.insert("b");
  EXPECT_TRUE(store.contains("b"));
  EXPECT_FALSE(store.isOnDisk());
  EXPECT_EQ(storedIn(files), Keys{"a"});
  files.isFull = false;
  store.insert("c");
  EXPECT_EQ(storedIn(files), (Keys{"a", "b", "c"}));
  EXPECT_TRUE(store.isOnDisk());
}

TEST(ProcessedMessages, APreparedInsertRecordsNothingUntilItIsDone) {
  MemoryFiles files;
  ProcessedMessageStore store(files, "/data");
  store.prepare("dropped");
  EXPECT_EQ(files.staged, 0u);
  for (const char* key : {"a", "b"}) {
    PreparedInsert prepared = store.prepare(key);
    EXPECT_FALSE(store.contains(key));
    EXPECT_EQ(files.staged, 1u);
    files.isFull = true;  // all that is needed is there
    store.insert(key, std::move(prepared));
    EXPECT_TRUE(store.isOnDisk());
    files.isFull = false;
  }
  EXPECT_EQ(storedIn(files), (Keys{"a", "b"}));
  // One that others overtook, one of another key, one that cannot be put in place.
  PreparedInsert late = store.prepare("c");
  store.insert("d", store.prepare("e"));
  store.insert("c", std::move(late));
  EXPECT_EQ(storedIn(files), (Keys{"a", "b", "c", "d"}));
  PreparedInsert stuck = store.prepare("f");
  files.unwritable = {processedFile};
  store.insert("f", std::move(stuck));
  EXPECT_FALSE(store.isOnDisk());
  EXPECT_EQ(store.prepare("g").file, nullptr);
  files.unwritable.clear();
  store.insert("g", store.prepare("g"));
  EXPECT_EQ(storedIn(files), (Keys{"a", "b", "c", "d", "f", "g"}));
  EXPECT_EQ(files.written.size(), 5u);
  EXPECT_EQ(files.staged, 0u);
}

TEST(ProcessedMessages, TheHighestKeysStay) {
  MemoryFiles files;
  Keys keys;
  for (int number = 1; number < 5000; ++number) keys.insert(keyOf(number));
  files.contents[processedFile] = nlohmann::json(keys).dump();
  ProcessedMessageStore store(files, "/data");
  store.insert(keyOf(5000));
  EXPECT_EQ(storedIn(files).size(), 5000u);
  store.insert(keyOf(0), store.prepare(keyOf(0)));  // the lowest of all goes at once
  const Keys left = storedIn(files);
  EXPECT_EQ(left.size(), 4500u);
  EXPECT_EQ(*left.begin(), keyOf(501));
  EXPECT_EQ(*left.rbegin(), keyOf(5000));
  EXPECT_FALSE(store.contains(keyOf(0)));
  EXPECT_FALSE(store.contains(keyOf(500)));
}

}  // namespace
}  // namespace halcyra
