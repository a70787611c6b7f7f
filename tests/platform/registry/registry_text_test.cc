#include "platform/registry/registry_text.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace devprep {
namespace {

// What is written for the tree that a text gives, without first line and top key; or the problem.
std::string Read(const std::string& text) {
  RegistryKey root("");
  if (const Result<> read = ReadRegistryText(text, root); !read) {
    return std::to_string(read.Failure().line) + ": " + read.Failure().message;
  }
  const std::string written = WriteRegistryText(root);
  RegistryKey again("");
  EXPECT_TRUE(ReadRegistryText(written, again)) << written;
  EXPECT_EQ(WriteRegistryText(again), written);
  const std::string head = "REGEDIT4\n\n[HKEY_LOCAL_MACHINE]\n";
  EXPECT_EQ(written.substr(0, head.size()), head.substr(0, written.size()));
  return written.size() < head.size() ? "" : written.substr(head.size());
}

std::string Utf16(const std::string& latin) {
  std::string out = "\xFF\xFE";
  for (const char c : latin) out += {c, '\0'};
  return out;
}

const std::string kOld = "REGEDIT4\n[HKEY_LOCAL_MACHINE]\n";
const std::string kNew = "Windows Registry Editor Version 5.00\r\n[HKEY_LOCAL_MACHINE]\r\n";

TEST(RegistryText, ReadsEveryFormAndWritesOne) {
  const struct {
    std::string text, written;
  } cases[] = {
      {"REGEDIT4", ""},
      {"REGEDIT4 \r\n\r\n;x\r\n", ""},
      {kOld + "\"v\"=\"t\"", "\"v\"=\"t\"\n"},
      {kOld + " \"v\" = \"t\" ; comment\r\n\t@=dword:00000aBc", "\"v\"=\"t\"\n@=dword:00000abc\n"},
      {kOld + R"("a\\b\"c"="C:\\x \"y\"")", "\"a\\\\b\\\"c\"=\"C:\\\\x \\\"y\\\"\"\n"},
      {kOld + "\"v\"=\"two\nlines\"\n", "\"v\"=hex(1):74,77,6f,0a,6c,69,6e,65,73,00\n"},
      {kOld + "\"v\"=\"\xE4\"", "\"v\"=hex(1):e4,00\n"},
      {kOld + "\"v\"=\"\"", "\"v\"=\"\"\n"},
      {kOld + "\"v\"=hex(1):74,00", "\"v\"=\"t\"\n"},
      {kOld + "\"v\"=hex(1):74", "\"v\"=hex(1):74\n"},
      {kOld + "\"v\"=hex(1):74,00,00", "\"v\"=hex(1):74,00,00\n"},
      {kOld + "\"v\"=hex(1):", "\"v\"=hex(1):\n"},
      {kOld + "\"v\"=DWORD:7", "\"v\"=dword:00000007\n"},
      {kOld + "\"v\"=hex(4):01,02", "\"v\"=hex(4):01,02\n"},
      {kOld + "\"v\"=hex(4):01,02,03,04", "\"v\"=dword:04030201\n"},
      {kOld + "\"v\"=hex:", "\"v\"=hex:\n"},
      {kOld + "\"v\"=HEX:1,\\ \r\n ff , \\\n\\\n A", "\"v\"=hex:01,ff,0a\n"},
      {kOld + "\"v\"=hex(fFfFfFfF):00", "\"v\"=hex(ffffffff):00\n"},
      {kOld + "\"v\"=hex(3):00", "\"v\"=hex:00\n"},
      {kOld + "\"V\"=\"1\"\n\"w\"=\"2\"\n\"v\"=\"3\"", "\"V\"=\"3\"\n\"w\"=\"2\"\n"},
      {kOld + "\"v\"=\"1\"\n\"w\"=\"2\"\n\"V\"=-\n\"v\"=\"3\"", "\"w\"=\"2\"\n\"v\"=\"3\"\n"},
      {kOld + "[hkey_local_machine\\A\\b]\n[HKEY_LOCAL_MACHINE\\a\\B]\n@=-",
       "\n[HKEY_LOCAL_MACHINE\\A]\n\n[HKEY_LOCAL_MACHINE\\A\\b]\n"},
      {kOld + "[hklm\\A\\]\n\"v\"=\"t\"\n[HKLM\\B]\n[-HKLM\\b]",
       "\n[HKEY_LOCAL_MACHINE\\A]\n\"v\"=\"t\"\n"},
      {kOld + "[HKEY_LOCAL_MACHINE\\a]b] ; x]", "\n[HKEY_LOCAL_MACHINE\\a]b] ; x]\n"},
      {kOld + "[HKEY_LOCAL_MACHINE\\A\\B]\n[-HKEY_LOCAL_MACHINE\\a]\n[-HKEY_LOCAL_MACHINE\\x\\y]",
       ""},
      {kNew + "\"v\"=\"t\"\r\n\"w\"=hex(2):25,00,e4,00,00,00\r\n\"b\"=hex:25,00",
       "\"v\"=\"t\"\n\"w\"=hex(2):25,e4,00\n\"b\"=hex:25,00\n"},
      {kNew + "\"v\"=hex(7):61,00,62", "\"v\"=hex(7):61\n"},
      {kNew + "\"v\"=\"\xC3\xA4\" \r\n; \xE2\x82\xAC\r\n", "\"v\"=hex(1):e4,00\n"},
      {"\xEF\xBB\xBF" + kNew, ""},
      {Utf16(kNew + "\"v\"=\"\xE4\""), "\"v\"=hex(1):e4,00\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(Read(c.text), c.written) << c.text;
}

TEST(RegistryText, NamesTheLineOfEveryProblem) {
  const std::string quote = "a text without its closing quote";
  const struct {
    std::string text, problem;
  } cases[] = {
      {"", "1: the first line is neither REGEDIT4 nor Windows Registry Editor Version 5.00"},
      {"REGEDIT5\n",
       "1: the first line is neither REGEDIT4 nor Windows Registry Editor Version 5.00"},
      {"REGEDIT4\n\nkey", "3: neither a key, a value nor a comment"},
      {"REGEDIT4\n\"v\"=\"t\"", "2: a value that belongs to no key"},
      {"REGEDIT4\n[HKEY_LOCAL_MACHINE", "2: a key without its closing bracket"},
      {"REGEDIT4\n[HKL\\A]", "2: HKL is not a top key such as HKEY_LOCAL_MACHINE"},
      {"REGEDIT4\n[]", "2:  is not a top key such as HKEY_LOCAL_MACHINE"},
      {kOld + "[HKEY_LOCAL_MACHINE\\\\]", "3: an empty key name"},
      {kOld + "[HKEY_LOCAL_MACHINE\\A\\\\B]", "3: an empty key name"},
      {kOld + "[HKEY_LOCAL_MACHINE\\A] x", "3: unexpected characters at the end of the line"},
      {kOld + "[-HKEY_LOCAL_MACHINE]", "3: a top key cannot be removed"},
      {kOld + "[-HKEY_LOCAL_MACHINE\\A]\n\"v\"=\"t\"", "4: a value that belongs to no key"},
      {kOld + "[HKEY_LOCAL_MACHINE\\" + std::string(256, 'k') + "]",
       "3: a key name of more than 255 characters"},
      {kOld + "\"" + std::string(16384, 'v') + "\"=\"\"",
       "3: a value name of more than 16383 characters"},
      {kOld + "\"v\"", "3: a value name without \"=\" behind it"},
      {kOld + "\"v=\"t\"\n", "3: a value name without \"=\" behind it"},
      {kOld + "\"v\"=t", "3: a value that is neither a text, \"dword:\", \"hex:\" nor \"-\""},
      {kOld + "\"v\"=\"t\nmore\n", "3: " + quote},
      {kOld + "\n\"v", "4: " + quote},
      {kOld + "\"v\"=\"\\n\"",
       "3: a backslash in a text that is neither doubled nor before a quote"},
      {kOld + "\"v\"=\"a" + std::string(1, '\0') + "\"", "3: a text with a NUL character in it"},
      {kOld + "\"v\"=\"t\" x", "3: unexpected characters at the end of the line"},
      {kOld + "\"v\"=dword:", "3: a hexadecimal number is missing"},
      {kOld + "\"v\"=dword:123456789", "3: a number of more than 8 hexadecimal digits"},
      {kOld + "\"v\"=dword:1g", "3: unexpected characters at the end of the line"},
      {kOld + "\"v\"=hex(1:00", "3: a type number without its closing bracket"},
      {kOld + "\"v\"=hex00", "3: \"hex\" without \":\" behind it"},
      {kOld + "\"v\"=hex:00,\\\n,01", "4: a byte is missing in a list of hexadecimal bytes"},
      {kOld + "\"v\"=hex:00,", "3: a byte is missing in a list of hexadecimal bytes"},
      {kOld + "\"v\"=hex:000", "3: unexpected characters at the end of the line"},
      {kOld + "\"v\"=hex:00,\\ 01", "3: a backslash that does not end its line"},
      {kOld + "\"v\"=hex:00,\\", "3: a backslash that does not end its line"},
      {kOld + "[HKEY_LOCAL_MACHINE\\a" + std::string(1, '\0') + "]",
       "3: a key name holds a control character that no key name can hold"},
      {kNew + "\"v\"=\"\xE2\x82\xAC\"", "3: character U+20AC has no single-byte form"},
      {kNew + "\"v\"=\"\xF0\x9F\x93\xBC\"", "3: character U+1F4FC has no single-byte form"},
      {kNew + "\"v\"=\"\xE4\"", "3: the text is not valid UTF-8"},
      {kNew + "\"v\"=hex(1):ac,20", "3: character U+20AC has no single-byte form"},
      {Utf16(kNew) + "\xAC\x20", "3: character U+20AC has no single-byte form"},
      {Utf16(kNew) + "x", "3: the text ends in the middle of a character"},
  };
  for (const auto& c : cases) EXPECT_EQ(Read(c.text), c.problem) << c.text;
}

TEST(RegistryText, WritesAnyTreeSoThatItReadsBackInLinesOfTheEditorsWidth) {
  RegistryKey root("");
  auto key = root.FindOrAddChild(kLocalMachineName);
  std::string all;
  for (int c = 0; c < 256; ++c) all.push_back(static_cast<char>(c));
  for (std::uint32_t type = 0; type < 13; ++type) {
    for (const std::size_t size : {0U, 1U, 4U, 22U, 23U, 24U, 256U}) {
      key->SetValue("v" + std::to_string(type) + all.substr(256 - size % 256), type,
                    all.substr(0, size));
    }
  }
  key->SetValue("", 0x80000000, all);
  key->SetValue(all.substr(1), 1, all.substr(32, 95) + '\0');
  const auto narrow = root.FindOrAddChild(kLocalMachineName)->FindOrAddChild("narrow");
  narrow->SetValue("Info", 3, all);
  for (const auto form : {RegistryTextForm::kBytes, RegistryTextForm::kUnicode}) {
    RegistryKey again("");
    ASSERT_TRUE(ReadRegistryText(WriteExportText(root, form), again));
    ASSERT_EQ(again.Children()[0]->Values().size(), key->Values().size());
    for (std::size_t i = 0; i < key->Values().size(); ++i) {
      EXPECT_EQ(again.Children()[0]->Values()[i].name, key->Values()[i].name);
      EXPECT_EQ(again.Children()[0]->Values()[i].type, key->Values()[i].type);
      EXPECT_EQ(again.Children()[0]->Values()[i].data, key->Values()[i].data);
    }
  }
  std::istringstream lines(WriteKeyText("K", *narrow));
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
}

TEST(RegistryText, WritesTheUnicodeFormAsTheEditorDoes) {
  RegistryKey root("");
  const std::string values =
      "\"t\"=\"\xE4\\\\\"\r\n\"e\"=hex(2):25,00,e4,00,00,00\r\n\"b\"=hex:e4\r\n"
      "\"bell\"=hex(1):07,00,00,00\r\n\"d\"=dword:00000abc\r\n\r\n";
  const std::string text =
      Utf16("Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE]\r\n" + values);
  ASSERT_TRUE(ReadRegistryText(text, root));
  EXPECT_EQ(WriteExportText(root, RegistryTextForm::kUnicode), text);
}

TEST(RegistryText, ReadsAndRemovesManyValuesInTimeInProportionUpToALimit) {
  std::string text = kOld;
  std::string removal;
  for (std::size_t i = 0; i < kMaxValues; ++i) {
    text += "\"v" + std::to_string(i) + "\"=\"\"\n";
    if (i % 3 != 0) removal += "\"V" + std::to_string(i) + "\"=-\n";
  }
  RegistryKey root("");
  ASSERT_TRUE(ReadRegistryText(text + removal + "\"v0\"=\"again\"\n\"v1\"=\"new\"\n", root));
  const auto& values = root.Children()[0]->Values();
  ASSERT_EQ(values.size(), kMaxValues / 3 + 2);
  EXPECT_EQ(values[0].data, std::string("again\0", 6));
  EXPECT_EQ(values[1].name, "v3");
  EXPECT_EQ(values.back().name, "v1");
  EXPECT_EQ(root.Children()[0]->FindValue("V65535"), &values[values.size() - 2]);
  EXPECT_EQ(Read(text + "\"one more\"=\"\""), "65539: more than 65536 values in a key");
}

TEST(RegistryText, RefusesTooManyLevels) {
  std::string path = "HKEY_LOCAL_MACHINE";
  for (int level = 1; level < 512; ++level) path += "\\k";
  EXPECT_EQ(Read("REGEDIT4\n[" + path + "\\k]"), "2: more than 512 levels of keys");
  RegistryKey root("");
  EXPECT_TRUE(ReadRegistryText("REGEDIT4\n[" + path + "]", root));
}

}  // namespace
}  // namespace devprep
