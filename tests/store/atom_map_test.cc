#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "mediastores_internal.h"
#include "store_test_util.h"

namespace {

using kelStore::atomMap;
using storetest::StoreTest;

using TextMap = atomMap<std::string, ConfigData>;

std::vector<std::pair<std::string, std::string>> Entries(const TextMap& map) {
  std::vector<std::pair<std::string, std::string>> entries;
  map.Traverse([&](const std::string& key, const ConfigData& value) {
    entries.emplace_back(key, value.ToString());
  });
  return entries;
}

using AtomMapTest = StoreTest;

TEST_F(AtomMapTest, SetReturnsPreviousValueAndGetLeavesOutputOnMiss) {
  TextMap map;
  EXPECT_FALSE(map.Set("rate", ConfigData(48000)).IsValid());  // new key: default value back
  EXPECT_EQ(map.Set("rate", ConfigData(16000)), ConfigData(48000));
  ConfigData out("untouched");
  EXPECT_TRUE(map.Get("rate", out));
  EXPECT_EQ(out, ConfigData(16000));
  out = ConfigData("untouched");
  EXPECT_FALSE(map.Get("Rate", out));  // case-sensitive
  EXPECT_EQ(out, ConfigData("untouched"));

  EXPECT_FALSE(map.SetEx("rate", ConfigData(8000)));  // present: left as it is
  EXPECT_TRUE(map.SetEx("codec", ConfigData("opus")));
  EXPECT_EQ(Entries(map), (std::vector<std::pair<std::string, std::string>>{{"codec", "opus"},
                                                                            {"rate", "16000"}}));
}

TEST_F(AtomMapTest, RemovalAndFirstEntry) {
  atomMap<uint64_t, std::shared_ptr<int>> map;
  std::shared_ptr<int> out;
  EXPECT_FALSE(map.GetFirst(out) || map.PopFirst(out));
  for (int key : {9, 2, 5, 7})
    EXPECT_FALSE(map.Set(key, std::make_shared<int>(key)));
  EXPECT_EQ(*map.GetErase(5), 5);
  EXPECT_FALSE(map.GetErase(5));  // absent: an empty pointer
  EXPECT_TRUE(map.Erase(7));
  EXPECT_FALSE(map.Erase(7));
  ASSERT_TRUE(map.GetFirst(out));
  EXPECT_EQ(*out, 2);
  EXPECT_EQ(map.Size(), 2u);  // GetFirst keeps the entry
  ASSERT_TRUE(map.PopFirst(out));
  EXPECT_EQ(*out, 2);
  ASSERT_TRUE(map.PopFirst(out));
  EXPECT_EQ(*out, 9);
  EXPECT_EQ(map.Size(), 0u);
  map.Set(1, out);
  map.Clear();
  EXPECT_FALSE(map.GetFirst(out));
}

TEST_F(AtomMapTest, TraverseIsByteWiseOrderedAndReentrant) {
  TextMap map;
  for (const char* key : {"b", "\xc3\xa9", "a", "B", "ab", "a b"})
    map.Set(key, ConfigData(key));
  std::vector<std::string> keys;
  map.Traverse([&](const std::string& key, const ConfigData&) {
    ConfigData again;
    EXPECT_TRUE(map.Get(key, again));  // same thread, lock held: the lock is recursive
    keys.push_back(key);
  });
  EXPECT_EQ(keys, (std::vector<std::string>{"B", "a", "a b", "ab", "b", "\xc3\xa9"}));

  EXPECT_THROW(map.Traverse(TextMap::TraverseFn()), std::bad_function_call);
  EXPECT_THROW(TextMap().Traverse(nullptr), std::bad_function_call);  // also on an empty map
}

TEST_F(AtomMapTest, CopyIsIndependent) {
  TextMap source;
  source.Set("a", ConfigData(1));
  TextMap copy(source);
  source.Set("a", ConfigData(2));
  source.Set("b", ConfigData(3));
  ConfigData out;
  EXPECT_TRUE(copy.Get("a", out));
  EXPECT_EQ(out, ConfigData(1));
  EXPECT_EQ(copy.Size(), 1u);
  EXPECT_EQ(source.Size(), 2u);
}

}  // namespace
