// What the registry seam must do, on whatever registry stands behind it.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "support/world.h"

namespace devprep {
namespace {

const std::string kTop = kVendorKey + "\\Conformance";

class RegistrySeam : public testing::Test {
 protected:
  RegistrySeam() { world_.Make(kTop); }

  // A handle that the fixture closes; null when it does not open.
  HKEY Open(const std::string& path, REGSAM access = KEY_ALL_ACCESS) {
    HKEY key = nullptr;
    const std::string full = path.empty() ? kTop : kTop + "\\" + path;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, full.c_str(), 0, access, &key) != 0) return nullptr;
    open_.push_back(key);
    return key;
  }
  LONG Create(HKEY from, const char* path, DWORD* disposition = nullptr) {
    HKEY key = nullptr;
    const LONG status = RegCreateKeyExA(from, path, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                        KEY_ALL_ACCESS, nullptr, &key, disposition);
    if (status == 0) open_.push_back(key);
    return status;
  }
  ~RegistrySeam() override {
    for (HKEY key : open_) RegCloseKey(key);
  }

  World world_;
  std::vector<HKEY> open_;
};

LONG SetText(HKEY key, const char* name, const std::string& text) {
  return RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                        static_cast<DWORD>(text.size() + 1));
}

TEST_F(RegistrySeam, OpensByPathInAnyCase) {
  Create(Open(""), "Child\\Grandchild");
  const struct {
    std::string path;
    LONG status;
  } cases[] = {
      {"Child", 0},
      {"cHILD\\gRANDCHILD", 0},
      {"Child\\", 0},
      {"", 0},
      {"Other", ERROR_FILE_NOT_FOUND},
      {"Child\\Other", ERROR_FILE_NOT_FOUND},
      {"Child\\Grandchild\\More", ERROR_FILE_NOT_FOUND},
      {"Child ", ERROR_FILE_NOT_FOUND},
      {"\\Child", ERROR_BAD_PATHNAME},
  };
  HKEY top = Open("");
  for (const auto& c : cases) {
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(top, c.path.c_str(), 0, KEY_READ, &key), c.status) << c.path;
    EXPECT_EQ(RegCloseKey(key), c.status == 0 ? 0 : ERROR_INVALID_HANDLE);
  }
  HKEY same = nullptr;
  EXPECT_EQ(RegOpenKeyExA(top, nullptr, 0, KEY_READ, &same), 0);
  RegCloseKey(same);
  // Wine: faults.
  if (backing::ValuesKeepTheirOrder()) {
    EXPECT_EQ(RegOpenKeyExA(top, "Child", 0, KEY_READ, nullptr), ERROR_INVALID_PARAMETER);
  }
}

TEST_F(RegistrySeam, CreatesSeveralLevelsAtOnceAndKeepsTheFirstSpelling) {
  DWORD disposition = 0;
  EXPECT_EQ(Create(Open(""), "One\\Two\\Three", &disposition), 0);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  EXPECT_EQ(Create(Open(""), "ONE\\two", &disposition), 0);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
  // Whether a key may be made depends on its parent, not on how the handle was opened.
  EXPECT_EQ(Create(Open("One", KEY_READ), "Four"), 0);
  EXPECT_EQ(Create(Open("One"), "\\Five"), ERROR_BAD_PATHNAME);
  HKEY made = nullptr;
  EXPECT_EQ(RegCreateKeyA(Open("One"), "six", &made), 0);
  EXPECT_EQ(SetText(made, "v", "w"), 0);
  EXPECT_EQ(RegCloseKey(made), 0);
  EXPECT_EQ(RegOpenKeyA(Open("One"), "SIX", &made), 0);
  EXPECT_EQ(SetText(made, "v", "x"), 0);
  EXPECT_EQ(RegCloseKey(made), 0);
  EXPECT_EQ(world_.Dump(kTop),
            "[]\n[One]\n[One\\Four]\n[One\\six]\nv=\"x\"\n[One\\Two]\n[One\\Two\\Three]\n");
}

TEST_F(RegistrySeam, AHandleAllowsWhatItWasOpenedFor) {
  SetText(Open(""), "v", "text");
  Create(Open(""), "Child");
  char name[8];
  DWORD size = 8;
  DWORD count = 0;
  const auto info = [&](HKEY key) {
    return RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr,
                            nullptr, nullptr, nullptr, nullptr);
  };
  const auto enumerate = [&](HKEY key) {
    return RegEnumKeyExA(key, 0, name, &(size = 8), nullptr, nullptr, nullptr, nullptr);
  };
  const auto query = [](HKEY key) {
    return RegQueryValueExA(key, "v", nullptr, nullptr, nullptr, nullptr);
  };
  HKEY queries = Open("", KEY_QUERY_VALUE);
  EXPECT_EQ(query(queries), 0);
  EXPECT_EQ(info(queries), 0);
  EXPECT_EQ(enumerate(queries), ERROR_ACCESS_DENIED);
  EXPECT_EQ(SetText(queries, "v", "x"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteValueA(queries, "v"), ERROR_ACCESS_DENIED);
  HKEY enumerates = Open("", KEY_ENUMERATE_SUB_KEYS);
  EXPECT_EQ(enumerate(enumerates), 0);
  EXPECT_EQ(query(enumerates), ERROR_ACCESS_DENIED);
  HKEY sets = Open("", KEY_SET_VALUE);
  EXPECT_EQ(SetText(sets, "v", "x"), 0);
  EXPECT_EQ(query(sets), ERROR_ACCESS_DENIED);
  // Wine: gives key information to every handle.
  EXPECT_EQ(info(sets), backing::ValuesKeepTheirOrder() ? ERROR_ACCESS_DENIED : 0);
  EXPECT_EQ(RegDeleteKeyA(queries, "Child"), 0);  // this depends on the key, not on the handle
}

TEST_F(RegistrySeam, ValuesAreReadIntoBuffersThatHoldThem) {
  const struct {
    DWORD type;
    std::string data;
  } values[] = {{REG_SZ, std::string("text\0", 5)},
                {REG_SZ, "text"},
                {REG_EXPAND_SZ, "text"},
                {REG_MULTI_SZ, "text"},
                {REG_SZ, ""},
                {REG_BINARY, std::string("\0\1\0\xFF", 4)},
                {REG_DWORD, std::string("\1\2\3\4", 4)},
                {REG_DWORD, "\1\2\3"},
                {0x12345, "any"},
                {REG_BINARY, ""},
                {REG_NONE, "n"}};
  HKEY key = Open("");
  for (const auto& v : values) {
    world_.Set(kTop, {"v", v.type, v.data});
    const auto stored = static_cast<DWORD>(v.data.size());
    for (DWORD room = stored == 0 ? 0 : stored - 1; room < stored + 2; ++room) {
      std::array<BYTE, 16> data{};
      data.fill(0xEE);
      DWORD size = room;
      DWORD type = 99;
      const LONG status = RegQueryValueExA(key, "V", nullptr, &type, data.data(), &size);
      EXPECT_EQ(status, room < stored ? ERROR_MORE_DATA : 0) << v.data << room;
      EXPECT_EQ(size, stored);
      EXPECT_EQ(type, v.type);
      const std::string read(data.begin(), data.begin() + stored);
      EXPECT_EQ(read, room < stored ? std::string(stored, '\xEE') : v.data);
      // Behind a text stored without NUL there is one where there is room.
      const bool ends = v.data == "text" && room > stored;
      EXPECT_EQ(data[stored], ends ? 0 : 0xEE) << v.type << room;
      EXPECT_EQ(data[stored + 1], 0xEE);

      data.fill(0xEE);
      std::array<char, 4> name{};
      DWORD name_size = name.size();
      size = room;
      EXPECT_EQ(
          RegEnumValueA(key, 0, name.data(), &name_size, nullptr, nullptr, data.data(), &size),
          status);
      EXPECT_EQ(size, stored);
      EXPECT_EQ(data[stored], ends ? 0 : 0xEE) << v.type << room;
    }
    DWORD size = 77;
    EXPECT_EQ(RegQueryValueExA(key, "v", nullptr, nullptr, nullptr, &size), 0);
    EXPECT_EQ(size, stored);
  }
  BYTE byte = 0;
  DWORD size = 1;
  EXPECT_EQ(RegQueryValueExA(key, "none", nullptr, nullptr, &byte, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegQueryValueExA(key, "v", nullptr, nullptr, &byte, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(RegistrySeam, NamesAreReadIntoBuffersThatHoldThemWithTheirNul) {
  SetText(Open(""), "name", "");
  Create(Open(""), "name");
  for (DWORD room = 4; room < 7; ++room) {
    std::array<char, 8> name{};
    name.fill('\xEE');
    DWORD size = room;
    EXPECT_EQ(RegEnumKeyExA(Open(""), 0, name.data(), &size, nullptr, nullptr, nullptr, nullptr),
              room < 5 ? ERROR_MORE_DATA : 0);
    EXPECT_EQ(name[5], '\xEE');
    if (room >= 5) {
      EXPECT_STREQ(name.data(), "name");
      EXPECT_EQ(size, 4U);
    }
    name.fill('\xEE');
    size = room;
    // Wine: with a name buffer too small the data has been copied all the same.
    EXPECT_EQ(RegEnumValueA(Open(""), 0, name.data(), &size, nullptr, nullptr, nullptr, nullptr),
              room < 5 ? ERROR_MORE_DATA : 0);
    EXPECT_EQ(name[5], '\xEE');
    if (room >= 5) {
      EXPECT_EQ(size, 4U);
    }
  }
  char name[8];
  DWORD size = sizeof name;
  EXPECT_EQ(RegEnumKeyExA(Open(""), 1, name, &size, nullptr, nullptr, nullptr, nullptr),
            ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(RegEnumValueA(Open(""), 1, name, &size, nullptr, nullptr, nullptr, nullptr),
            ERROR_NO_MORE_ITEMS);
}

TEST_F(RegistrySeam, ValuesKeepThePlaceOfTheirCreation) {
  HKEY key = Open("");
  for (const char* name : {"second", "First", "third"}) SetText(key, name, "1");
  // Wine: enumerates by name.
  EXPECT_EQ(world_.Values(kTop), Ordered("second=\"1\"\nFirst=\"1\"\nthird=\"1\"\n"));
  SetText(key, "FIRST", "2");  // keeps its spelling, too
  EXPECT_EQ(RegDeleteValueA(key, "SECOND"), 0);
  EXPECT_EQ(RegDeleteValueA(key, "second"), ERROR_FILE_NOT_FOUND);
  SetText(key, "second", "3");
  EXPECT_EQ(world_.Values(kTop), Ordered("First=\"2\"\nthird=\"1\"\nsecond=\"3\"\n"));
}

TEST_F(RegistrySeam, TheNamelessValueIsOneLikeOthers) {
  HKEY key = Open("");
  EXPECT_EQ(SetText(key, nullptr, "1"), 0);
  EXPECT_EQ(SetText(key, "", "2"), 0);
  EXPECT_EQ(world_.Values(kTop), "=\"2\"\n");
  EXPECT_EQ(RegQueryValueExA(key, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(RegDeleteValueA(key, ""), 0);
  EXPECT_EQ(RegDeleteValueA(key, nullptr), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistrySeam, InformationCountsAndMeasures) {
  for (const char* name : {"A", "longer", "mid"}) Create(Open(""), name);
  world_.Binary(kTop, "value name", std::string(30, 'x'));
  world_.Text(kTop, "v", "text");
  DWORD keys = 0;
  DWORD longest_key = 0;
  DWORD values = 0;
  DWORD longest_name = 0;
  DWORD longest_value = 0;
  EXPECT_EQ(RegQueryInfoKeyA(Open("", KEY_READ), nullptr, nullptr, nullptr, &keys, &longest_key,
                             nullptr, &values, &longest_name, &longest_value, nullptr, nullptr),
            0);
  EXPECT_EQ(keys, 3U);
  EXPECT_EQ(longest_key, 6U);
  EXPECT_EQ(values, 2U);
  EXPECT_EQ(longest_name, 10U);
  EXPECT_EQ(longest_value, 30U);
}

TEST_F(RegistrySeam, AKeyIsDeletedWithoutChildrenAndItsHandlesNoticeThat) {
  Create(Open(""), "One\\Two");
  HKEY one = Open("One");
  HKEY two = Open("One\\Two");
  EXPECT_EQ(RegDeleteKeyA(Open(""), "One"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteKeyA(Open(""), "One\\Other"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteKeyA(Open(""), "ONE\\TWO"), 0);
  EXPECT_EQ(RegDeleteKeyA(one, "Two"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(SetText(two, "v", "x"), ERROR_KEY_DELETED);
  EXPECT_EQ(Create(one, "Two"), 0);  // another key of that name
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExA(two, "", 0, KEY_READ, &key), ERROR_KEY_DELETED);
  EXPECT_EQ(RegQueryValueExA(two, "v", nullptr, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
  EXPECT_EQ(world_.Dump(kTop), "[]\n[One]\n[One\\Two]\n");
}

TEST_F(RegistrySeam, AClosedHandleIsNone) {
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kTop.c_str(), 0, KEY_ALL_ACCESS, &key), 0);
  EXPECT_EQ(RegCloseKey(key), 0);
  EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
  EXPECT_EQ(SetText(key, "v", "x"), ERROR_INVALID_HANDLE);
  HKEY other = nullptr;
  EXPECT_EQ(RegOpenKeyExA(key, "", 0, KEY_READ, &other), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegDeleteKeyA(key, "x"), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegQueryValueExA(nullptr, "v", nullptr, nullptr, nullptr, nullptr),
            ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), 0);
}

}  // namespace
}  // namespace devprep
