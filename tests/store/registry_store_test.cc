#include "store/registry_store.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <utility>

#include "support/world.h"

namespace devprep {
namespace {

KeyHandle Made(const char* subkey) {
  KeyHandle key;
  StoreCreateSubkey(subkey, &key);
  return key;
}

TEST(RegistryStore, WithoutATapeEngineKeyReadersGiveDefaultsAndMakeNothing) {
  World world;
  char text[8] = "????";
  DWORD size = sizeof text;
  const KeyHandle none = StoreOpenSubkey("DEVICE0", KEY_QUERY_VALUE);
  EXPECT_FALSE(none);
  EXPECT_FALSE(StoreOpenRoot());
  EXPECT_FALSE(StoreSubkeyExists("DEVICE0"));
  EXPECT_EQ(StoreGetString("DEVICE0", "Info", "none", text, sizeof text), 4U);
  EXPECT_STREQ(text, "none");
  EXPECT_EQ(StoreGetDword("DEVICE0", "Level", 7), 7U);
  StoreGetBytes(none, "Info", text, sizeof text);
  EXPECT_STREQ(text, "none");
  EXPECT_EQ(StoreGetFirstValue(none, text, &size, text, &size), kStoreFirstValueFailed);
  EXPECT_EQ(StoreSetDword(none, "Level", 7), kStatusFailed);
  EXPECT_EQ(StoreDeleteSubkey("DEVICE0"), kStoreRootNotOpened);
  EXPECT_EQ(StoreDeleteValue("DEVICE0", "Info"), kStoreRootNotOpened);
  EXPECT_EQ(world.Dump(), "");
}

TEST(RegistryStore, WritersMakeEveryLevelAndStoreExactBytes) {
  const struct {
    std::function<std::uint16_t()> write;
    const char* left;
  } cases[] = {
      {[] { return StoreSetDword("K", "v", 0x80000001); }, "[K]\nv=2147483649\n"},
      {[] { return StoreSetString(Made("K"), "v", "abc"); }, "[K]\nv=\"abc\"\n"},
      {[] { return StoreSetStringSized("K", "v", "abcd", 3); }, "[K]\nv='abc'\n"},
      {[] { return StoreSetStringSized("K", "v", "abc", 4); }, "[K]\nv=\"abc\"\n"},
      {[] { return StoreSetBinary(Made("K"), "v", "a\0b", 4); }, "[K]\nv=<a\\00b+1>\n"},
      {[] { return StoreSetBinary(Made("K"), "", "", 0); }, "[K]\n=<>\n"},
      {[] { return StoreCreateSubkey("K"); }, "[K]\n"},
  };
  for (const auto& c : cases) {
    World world;
    EXPECT_EQ(c.write(), 0) << c.left;
    EXPECT_EQ(world.Dump(), std::string("[]\n[Vaultkeep]\n[Vaultkeep\\Base]\n") +
                                "[Vaultkeep\\Base\\TapeEngine]\n[Vaultkeep\\Base\\TapeEngine\\" +
                                (c.left + 1));
    EXPECT_EQ(c.write(), 0) << "a second time";
  }
}

TEST(RegistryStore, GetStringTakesWhatFitsWhateverItsType) {
  const struct {
    Value stored;
    const char* read;  // into 8 bytes, with the default "none"
  } cases[] = {
      {{"v", REG_SZ, std::string("1234567\0", 8)}, "1234567"},
      {{"v", REG_SZ, std::string("12345678\0", 9)}, "none"},
      {{"v", REG_SZ, "12345678"}, "1234567"},  // no NUL: ends where the buffer ends
      {{"v", REG_SZ, "1"}, "1"},               // no NUL: ends with its bytes
      {{"v", REG_BINARY, "123"}, "123e"},      // its bytes are laid over the default
      {{"v", REG_SZ, std::string("\0", 1)}, ""},
      {{"v", REG_SZ, ""}, "none"},  // no bytes replace nothing
      {{"v", REG_BINARY, std::string("\1\2\0\3\4\5", 6)}, "\1\2"},
      {{"v", REG_DWORD, std::string("AB\0\0", 4)}, "AB"},
      {{"w", REG_SZ, "123"}, "none"},
  };
  for (const auto& c : cases) {
    World world;
    world.Set("device0", c.stored);
    char text[9] = "????????";
    EXPECT_EQ(StoreGetString("DEVICE0", "V", "none", text, 8), std::strlen(c.read)) << c.read;
    EXPECT_STREQ(text, c.read);
    EXPECT_EQ(StoreGetString("DEVICE1", "V", "none", text, 8), 4U);
  }
}

TEST(RegistryStore, GetDwordWantsItsType) {
  const struct {
    Value stored;
    std::uint32_t read;
  } cases[] = {
      {DwordValue("v", 0xFFFFFFFF), 0xFFFFFFFF},
      {{"v", REG_DWORD, "\1\2"}, 0x0201},  // a short one counts as followed by zeros
      {{"v", REG_DWORD, std::string("\1\0\0\0", 4) + std::string(36, 'x')}, 1},
      {{"v", REG_DWORD, std::string(41, '\1')}, 7},
      {{"v", REG_SZ, std::string("1\0\0\0", 4)}, 7},
      {{"v", REG_BINARY, std::string("\1\0\0\0", 4)}, 7},
  };
  for (const auto& c : cases) {
    World world;
    world.Set("Debug", c.stored);
    world.Set(kEngineKey, c.stored);
    EXPECT_EQ(StoreGetDword("DEBUG", "V", 7), c.read);
    EXPECT_EQ(StoreGetDword(StoreOpenRoot(), "V", 7), c.read);
  }
}

TEST(RegistryStore, GetBytesTakesWhatFitsWhateverItsType) {
  World world;
  world.Set("K", {"bytes", REG_BINARY, "1234"});
  world.Text("K", "text", "123");
  const KeyHandle key = StoreOpenSubkey("k", KEY_QUERY_VALUE);
  char data[6] = "?????";
  StoreGetBytes(key, "none", data, 5);
  StoreGetBytes(key, "bytes", data, 3);
  EXPECT_STREQ(data, "?????");
  StoreGetBytes(key, "BYTES", data, 5);
  EXPECT_STREQ(data, "1234?");
  StoreGetBytes(key, "text", data, 5);
  EXPECT_STREQ(data, "123");
}

TEST(RegistryStore, HandlesCloseThemselves) {
  World world;
  KeyHandle key = Made("K");
  const HKEY open = key.Get();
  KeyHandle moved = std::move(key);
  EXPECT_EQ(moved.Get(), open);
  moved = KeyHandle();
  EXPECT_EQ(RegCloseKey(open), ERROR_INVALID_HANDLE);
  EXPECT_NE(moved.Open(HKEY_LOCAL_MACHINE, "SOFTWARE\\none", KEY_READ), 0);
  EXPECT_FALSE(moved);
  EXPECT_EQ(StoreCreateSubkey("\\L"), kStoreSubkeyNotMade);
}

TEST(RegistryStore, FirstValueAndDeleting) {
  World world;
  world.Text("K", "first", "text");
  world.Dword("K", "second", 2);
  world.Make("K\\child");
  world.Make("empty");
  EXPECT_TRUE(StoreSubkeyExists("k"));
  EXPECT_FALSE(StoreSubkeyExists("child"));

  const struct {
    const char* key;
    DWORD name_room, data_room;
    std::uint16_t status;
  } cases[] = {{"K", 6, 5, 0},
               {"K", 5, 5, 220},
               {"K", 6, 4, 220},
               {"empty", 6, 5, 220},
               {"none", 6, 5, 220}};
  for (const auto& c : cases) {
    char name[8] = "";
    char data[8] = "";
    DWORD name_size = c.name_room;
    DWORD size = c.data_room;
    const KeyHandle key = StoreOpenSubkey(c.key, KEY_ALL_ACCESS);
    EXPECT_EQ(StoreGetFirstValue(key, name, &name_size, data, &size), c.status) << c.key;
    if (c.status == 0) {
      EXPECT_STREQ(name, "first");
      EXPECT_STREQ(data, "text");
    }
  }

  EXPECT_EQ(StoreDeleteValue("K", "FIRST"), 0);
  EXPECT_EQ(StoreDeleteValue("K", "first"), kStoreDeleteFailed);
  EXPECT_EQ(StoreDeleteValue("none", "first"), kStoreSubkeyNotOpened);
  EXPECT_EQ(StoreDeleteSubkey("none"), kStoreDeleteFailed);
  EXPECT_EQ(StoreDeleteSubkey("K"), kStoreDeleteFailed);  // it has a child
  EXPECT_EQ(StoreDeleteSubkey("EMPTY"), 0);
  EXPECT_EQ(world.Dump(kEngineKey), "[]\n[K]\nsecond=2\n[K\\child]\n");
}

}  // namespace
}  // namespace devprep
