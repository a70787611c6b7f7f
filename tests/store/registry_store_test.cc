#include "store/registry_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>

#include "support/world.h"

namespace devprep {
namespace {

TEST(RegistryStore, WithoutATapeEngineKeyReadersGiveDefaultsAndMakeNothing) {
  World world;
  char text[8] = "????";
  std::uint16_t count = 99;
  DWORD size = sizeof text;
  DWORD type = 0;
  EXPECT_EQ(StoreGetString("DEVICE0", "Info", "none", text, sizeof text), 4U);
  EXPECT_STREQ(text, "none");
  EXPECT_EQ(StoreGetDword("DEVICE0", "Level", 7), 7U);
  EXPECT_EQ(StoreGetDword(nullptr, "Level", 7), 7U);
  EXPECT_EQ(StoreGetBinary("DEVICE0", "Info", text, &size), kBinaryRootNotOpened);
  EXPECT_EQ(StoreCountValues("DEVICE0", &count), kStoreRootNotOpened);
  EXPECT_EQ(count, 99);
  EXPECT_EQ(StoreGetFirstValue("DEVICE0", text, &size, &type, text, &size), kStoreRootNotOpened);
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
      {[] { return StoreSetString("K", "v", "abc"); }, "[K]\nv=\"abc\"\n"},
      {[] { return StoreSetStringSized("K", "v", "abcd", 3); }, "[K]\nv='abc'\n"},
      {[] { return StoreSetStringSized("K", "v", "abc", 4); }, "[K]\nv=\"abc\"\n"},
      {[] { return StoreSetBinary("K", "v", "a\0b", 4); }, "[K]\nv=<a\\00b+1>\n"},
      {[] { return StoreSetBinary("K", "", "", 0); }, "[K]\n=<>\n"},
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
    EXPECT_EQ(StoreGetDword(nullptr, "V", 7), c.read);
  }
}

TEST(RegistryStore, GetBinaryTellsWhyItReadsNothing) {
  World world;
  world.Set("K", {"bytes", REG_BINARY, "1234"});
  world.Text("K", "text", "123");
  char data[5] = "????";
  DWORD size = 4;
  EXPECT_EQ(StoreGetBinary("k", "BYTES", data, &size), kBinaryOk);
  EXPECT_EQ(size, 4U);
  EXPECT_STREQ(data, "1234");
  EXPECT_EQ(StoreGetBinary("K", "text", data, &size), kBinaryValueFailed);
  EXPECT_STREQ(data, "123");  // read before its type is looked at
  size = 3;
  EXPECT_EQ(StoreGetBinary("K", "bytes", data, &size), kBinaryValueFailed);
  EXPECT_EQ(StoreGetBinary("K", "none", data, &size), kBinaryValueFailed);
  EXPECT_EQ(StoreGetBinary("L", "bytes", data, &size), kBinaryNoSubkey);
  EXPECT_EQ(StoreGetBinary("L", "", data, &size), kBinaryEmptyName);
  EXPECT_EQ(StoreGetBinary("L", nullptr, data, &size), kBinaryNoName);
  EXPECT_STREQ(data, "123");
}

TEST(RegistryStore, QueryAndSetValueTellWhichStepFailed) {
  World world;
  world.Dword("K", "number", 5);
  TapeEngineKeyChain chain;
  HKEY root = StoreOpenRoot(&chain);
  ASSERT_NE(root, nullptr);
  std::uint32_t number = 9;
  DWORD size = 3;
  EXPECT_EQ(StoreQueryValue(root, "L", "number", &number, &size, REG_DWORD), 212);
  EXPECT_EQ(StoreQueryValue(root, "K", "none", &number, &size, REG_DWORD), 211);
  EXPECT_EQ(StoreQueryValue(root, "K", "number", &number, &size, REG_DWORD), 211);
  EXPECT_EQ(number, 9U);
  size = sizeof number;
  EXPECT_EQ(StoreQueryValue(root, "K", "number", &number, &size, REG_SZ), 215);
  EXPECT_EQ(number, 5U);
  EXPECT_EQ(StoreQueryValue(root, "K", "number", &number, &size, REG_DWORD), 0);
  EXPECT_EQ(StoreSetValue(root, "\\L", "number", &number, 4, REG_DWORD), 216);
  StoreCloseRoot(&chain);
  EXPECT_EQ(chain.levels[kRootLevels - 1], nullptr);
  EXPECT_EQ(RegCloseKey(root), ERROR_INVALID_HANDLE);
}

TEST(RegistryStore, CreateRootLeavesAllFiveLevelsOpenUntilTheyAreClosed) {
  World world;
  TapeEngineKeyChain chain;
  EXPECT_EQ(StoreOpenRoot(&chain), nullptr);
  EXPECT_EQ(StoreCreateRoot(&chain), chain.levels[4]);
  TapeEngineKeyChain closed = chain;
  EXPECT_EQ(std::count(chain.levels, chain.levels + kRootLevels, nullptr), 0);
  EXPECT_EQ(StoreCloseRoot(&chain), 0);
  for (HKEY key : closed.levels) EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
  EXPECT_NE(StoreOpenRoot(&chain), nullptr);
  StoreCloseRoot(&chain);
}

TEST(RegistryStore, CountingFirstValueAndDeleting) {
  World world;
  world.Text("K", "first", "text");
  world.Dword("K", "second", 2);
  world.Make("K\\child");
  world.Make("empty");
  std::uint16_t count = 99;
  EXPECT_EQ(StoreCountValues("k", &count), 0);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(StoreCountValues("empty", &count), 0);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(StoreCountValues("child", &count), kStoreNoSubkey);

  const struct {
    const char* key;
    DWORD name_room, data_room;
    std::uint16_t status;
  } cases[] = {{"K", 6, 5, 0},
               {"K", 5, 5, 220},
               {"K", 6, 4, 220},
               {"empty", 6, 5, 220},
               {"none", 6, 5, 209}};
  for (const auto& c : cases) {
    char name[8] = "";
    char data[8] = "";
    DWORD name_size = c.name_room;
    DWORD size = c.data_room;
    DWORD type = REG_NONE;
    EXPECT_EQ(StoreGetFirstValue(c.key, name, &name_size, &type, data, &size), c.status) << c.key;
    if (c.status == 0) {
      EXPECT_STREQ(name, "first");
      EXPECT_STREQ(data, "text");
      EXPECT_EQ(type, REG_SZ);
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
