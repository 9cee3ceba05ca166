// atomMap: each operation's result, copies and byte-wise order (its lock: store_stress_test.cc).
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "mediaengine/mediastores/src/config/atom_map.h"
#include "mediastores/mediastores.h"

namespace {

using kelStore::atomMap;
using TextMap = atomMap<std::string, ConfigData>;
using Texts = std::vector<std::string>;

Texts Entries(const TextMap& map) {
  Texts entries;
  map.Traverse([&](const std::string& key, const ConfigData& value) {
    ConfigData again;
    EXPECT_TRUE(map.Get(key, again));  // same thread, lock held: the lock is recursive
    entries.push_back(key + "=" + value.ToString());
  });
  return entries;
}

TEST(AtomMapTest, SetGetSetExCopyAndOrder) {
  TextMap map;
  EXPECT_FALSE(map.Set("rate", ConfigData(48000)).IsValid());  // new key: default value back
  EXPECT_EQ(map.Set("rate", ConfigData(16000)), ConfigData(48000));
  ConfigData out("untouched");
  EXPECT_FALSE(map.Get("Rate", out));  // case-sensitive, output left alone
  EXPECT_EQ(out, ConfigData("untouched"));
  EXPECT_FALSE(map.SetEx("rate", ConfigData(8000)));  // present: left as it is
  EXPECT_TRUE(map.SetEx("codec", ConfigData("opus")));
  TextMap copy(map);
  for (const char* key : {"b", "\xc3\xa9", "a", "B", "a b"})
    map.Set(key, ConfigData(1));
  EXPECT_EQ(Entries(copy), (Texts{"codec=opus", "rate=16000"}));
  EXPECT_EQ(Entries(map),
            (Texts{"B=1", "a=1", "a b=1", "b=1", "codec=opus", "rate=16000", "\xc3\xa9=1"}));
  EXPECT_THROW(map.Traverse(TextMap::TraverseFn()), std::bad_function_call);
  EXPECT_THROW(TextMap().Traverse(nullptr), std::bad_function_call);  // also on an empty map
}

TEST(AtomMapTest, RemovalAndFirstEntry) {
  atomMap<uint64_t, std::shared_ptr<int>> map;
  std::shared_ptr<int> out;
  EXPECT_FALSE(map.GetFirst(out) || map.PopFirst(out));
  for (int key : {9, 2, 5, 7})
    map.Set(key, std::make_shared<int>(key));
  EXPECT_EQ(*map.GetErase(5), 5);
  EXPECT_FALSE(map.GetErase(5));  // absent: an empty pointer
  EXPECT_TRUE(map.Erase(7));
  EXPECT_FALSE(map.Erase(7));
  ASSERT_TRUE(map.GetFirst(out) && *out == 2);
  ASSERT_TRUE(map.PopFirst(out) && *out == 2);  // GetFirst kept the entry
  ASSERT_TRUE(map.PopFirst(out) && *out == 9);
  EXPECT_EQ(map.Size(), 0u);
  map.Set(1, out);
  map.Clear();
  EXPECT_FALSE(map.GetFirst(out));
}

}  // namespace
