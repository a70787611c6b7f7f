#include "platform/posix/registry_file.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "devprep/devprep.h"
#include "entry/library.h"
#include "platform/posix/change_cause.h"
#include "platform/posix/hardware.h"
#include "platform/posix/heap_fault.h"
#include "platform/posix/process_registry.h"
#include "platform/posix/registry_history.h"
#include "platform/posix/registry_history_writer.h"
#include "platform/setting.h"
#include "reconfig/reconfigure.h"
#include "records/raid_member_total.h"
#include "setup/group_setup.h"
#include "store/product_config.h"
#include "support/world.h"

namespace devprep {
namespace {

namespace fs = std::filesystem;

std::string ReadText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string Messages(const std::function<void()>& action) {
  testing::internal::CaptureStderr();
  action();
  return testing::internal::GetCapturedStderr();
}

std::string EngineText(const std::string& rest) {
  return "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\" + kEngineKey + "]\n" + rest;
}

// A process whose registry file is alone in a folder; nothing holds a transaction open.
class RegistryFileTest : public testing::Test {
 protected:
  RegistryFileTest() : folder_(backing::Open()), path_(folder_ + "/registry.reg") {
    backing::Attach(folder_, {{kMapKey, {}}});
    NewProcess();
  }
  ~RegistryFileTest() override {
    SetFileFault(nullptr);
    unsetenv(kHistoryVariable);
    unsetenv(kWaitVariable);
    ResetProcessState();
    fs::permissions(folder_, fs::perms::owner_all);
    backing::Close(folder_);
  }
  void NewProcess() {
    ResetProcessState();
    DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
  }
  LONG OpenEngine(REGSAM access) {
    HKEY key = nullptr;
    const LONG status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, kEngineKey.c_str(), 0, access, &key);
    RegCloseKey(key);
    return status;
  }
  std::uint16_t Create(std::uint16_t level = 5) {
    std::uint16_t number = 0;
    return ::RaidSetUpCreateRaid(level, 0, &number);
  }

  std::vector<HistoryEntry> History() { return *ListHistory(path_); }
  // What lies in the folder beside the registry, its lock, its history and the machine.
  std::string Leftovers() {
    std::string names;
    for (const auto& entry : fs::recursive_directory_iterator(folder_)) {
      const std::string name = entry.path().filename();
      if (name.find("devprep-new") != std::string::npos) names += name + ' ';
    }
    return names;
  }

  std::string folder_;
  std::string path_;
};

// Runs an action in a process of its own. Returns its exit status: what the action returns.
int InChild(const std::function<int()>& action) {
  const pid_t child = fork();
  if (child == 0) _exit(action());
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Makes the calls of one name count, or the nth of all calls fail.
int calls_seen = 0;
int failing_call = 0;
const char* counted_call = "";

int CountCalls(const char* call) {
  if (std::string(call) == counted_call) ++calls_seen;
  return 0;
}

int FailOneCall(const char*) { return ++calls_seen == failing_call ? ENOSPC : 0; }

constexpr int kKilled = 99;

int DieAtOneCall(const char*) {
  if (++calls_seen == failing_call) _exit(kKilled);
  return 0;
}

int RefuseCountedCall(const char* call) { return std::string(call) == counted_call ? EPERM : 0; }

TEST_F(RegistryFileTest, AnExportReplacesTheFileOnceIfItChangedSomething) {
  WriteText(path_, EngineText(""));
  SetFileFault(CountCalls);
  const auto count = [](const char* call, const std::function<void()>& action) {
    counted_call = call;
    calls_seen = 0;
    action();
    return calls_seen;
  };
  RaidInfo raid = {};
  EXPECT_EQ(count("rename", [&] { Create(); }), 1);
  EXPECT_EQ(count("fsync", [&] { Create(); }), 2);  // the file and its folder
  EXPECT_EQ(count("rename", [&] { ::RaidSetUpGetRaidInfo(0, &raid); }), 0);
  EXPECT_EQ(count("rename", [&] { ::RaidSetUpSetRaidLevel(0, 5); }), 0);  // as it was
  EXPECT_EQ(count("rename", [&] { ::RaidSetUpSetRaidLevel(0, 6); }), 1);
  EXPECT_EQ(count("rename", [&] { ::RaidSetUpRemoveRaid(0); }), 1);
  const std::string text = ReadText(path_);
  EXPECT_TRUE(
      text.ends_with("\\TapeEngine\\RAID0]\n\"Level\"=dword:00000005\n"
                     "\"StripeSize\"=dword:00000004\n\"Info\"=\"\"\n"
                     "\"LinkPosition\"=dword:00000001\n"))
      << text;
}

TEST_F(RegistryFileTest, ChangesOfOthersAreSeenEvenAtTheSameSizeAndTime) {
  HKEY key = nullptr;
  WriteText(path_, EngineText("\"v\"=\"0\"\n"));
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kEngineKey.c_str(), 0, KEY_ALL_ACCESS, &key), 0);
  for (char c = '1'; c <= '9'; ++c) {
    WriteText(path_, EngineText(std::string("\"v\"=\"") + c + "\"\n"));
    char text[2] = "";
    DWORD size = sizeof text;
    EXPECT_EQ(RegQueryValueExA(key, "v", nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size),
              0);
    EXPECT_EQ(text[0], c);
  }
  WriteText(path_, "REGEDIT4\n");
  EXPECT_EQ(RegQueryValueExA(key, "v", nullptr, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
  fs::remove(path_);
  EXPECT_EQ(OpenEngine(KEY_READ), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegCloseKey(key), 0);
}

TEST_F(RegistryFileTest, HandlesDoNotRunOut) {
  WriteText(path_, EngineText(""));
  RegistryBegin();
  for (int i = 0; i < 140000; ++i) ASSERT_EQ(OpenEngine(KEY_READ), 0) << i;
  RegistryCommit();
}

TEST_F(RegistryFileTest, ProcessesKeepEachOtherOut) {
  WriteText(path_, EngineText("\"v\"=dword:00000000\n"));
  const auto raise = [] {
    for (int i = 0; i < 25; ++i) {
      RegistryBegin();
      HKEY key = nullptr;
      RegOpenKeyExA(HKEY_LOCAL_MACHINE, kEngineKey.c_str(), 0, KEY_ALL_ACCESS, &key);
      DWORD number = 0;
      DWORD size = sizeof number;
      RegQueryValueExA(key, "v", nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &size);
      ++number;
      RegSetValueExA(key, "v", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
      RegCloseKey(key);
      RegistryCommit();
    }
  };
  const pid_t child = fork();
  if (child == 0) {
    raise();
    _exit(0);
  }
  raise();
  int status = 1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(ReadText(path_).ends_with("\"v\"=dword:00000032\n")) << ReadText(path_);
}

TEST_F(RegistryFileTest, ADamagedFileIsRefusedAndKept) {
  const std::string damaged = EngineText("\"v\"=\n");
  WriteText(path_, damaged);
  const std::string message =
      "devprep: " + path_ + ":4: a value that is neither a text, \"dword:\", \"hex:\" nor \"-\"\n";
  EXPECT_EQ(Messages([&] {
              EXPECT_EQ(OpenEngine(KEY_READ), ERROR_BADDB);
              EXPECT_EQ(OpenEngine(KEY_ALL_ACCESS), ERROR_BADDB);
              EXPECT_EQ(Create(), 202);
              EXPECT_EQ(::SetUpInitTapesvrConfig(), 0);
              HKEY key = nullptr;
              EXPECT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE", &key), ERROR_BADDB);
            }),
            message);
  EXPECT_EQ(ReadText(path_), damaged);
  WriteText(path_, EngineText(""));
  EXPECT_EQ(Messages([&] { EXPECT_EQ(OpenEngine(KEY_READ), 0); }), "");
  WriteText(path_, damaged);
  EXPECT_EQ(Messages([&] { EXPECT_EQ(OpenEngine(KEY_READ), ERROR_BADDB); }), message);
  fs::remove(path_);
  fs::create_directory(path_);
  EXPECT_EQ(Messages([&] { EXPECT_EQ(OpenEngine(KEY_READ), ERROR_ACCESS_DENIED); }),
            "devprep: " + path_ + ": not a regular file\n");
}

TEST_F(RegistryFileTest, WithoutWriteBitsItIsReadOnlyForRootToo) {
  for (const bool on_folder : {false, true}) {
    WriteText(path_, EngineText("\"v\"=\"t\"\n"));
    const std::string text = ReadText(path_);
    fs::permissions(on_folder ? folder_ : path_, fs::perms(on_folder ? 0555 : 0444));
    EXPECT_EQ(OpenEngine(KEY_READ), 0);
    EXPECT_EQ(OpenEngine(MAXIMUM_ALLOWED), 0);
    EXPECT_EQ(OpenEngine(KEY_ALL_ACCESS), ERROR_ACCESS_DENIED);
    EXPECT_EQ(OpenEngine(KEY_SET_VALUE), ERROR_ACCESS_DENIED);
    EXPECT_EQ(Create(), 202);
    EXPECT_EQ(::RaidSetUpSetRaidLevel(0, 1), 0);
    EXPECT_EQ(ReadText(path_), text);
    fs::permissions(on_folder ? folder_ : path_, fs::perms(on_folder ? 0755 : 0644));
    EXPECT_EQ(OpenEngine(KEY_ALL_ACCESS), 0);
  }
}

TEST_F(RegistryFileTest, IsMadeWithItsFoldersAtTheFirstWrite) {
  const std::string deep = folder_ + "/a/b/registry.reg";
  setenv(kRegistryVariable, deep.c_str(), 1);
  EXPECT_EQ(OpenEngine(KEY_ALL_ACCESS), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(fs::exists(folder_ + "/a"));
  EXPECT_EQ(::RaidSetUpSetRaidLevel(0, 1), 0);
  EXPECT_TRUE(ReadText(deep).ends_with("\\TapeEngine\\RAID0]\n\"Level\"=dword:00000001\n"));
}

TEST_F(RegistryFileTest, ALinkIsFollowedTheModeKeptAndALeftoverReplaced) {
  fs::create_directory(folder_ + "/target");
  const std::string target = folder_ + "/target/real.reg";
  const std::string leftover = folder_ + "/target/.real.reg.devprep-new";
  fs::create_symlink("target/real.reg", path_);
  EXPECT_EQ(::RaidSetUpSetRaidLevel(0, 1), 0);
  fs::permissions(target, fs::perms(0600));
  WriteText(leftover, "left by a run that died");
  fs::permissions(leftover, fs::perms(0400));
  EXPECT_EQ(::RaidSetUpSetRaidLevel(0, 2), 0);
  EXPECT_TRUE(fs::is_symlink(path_));
  EXPECT_TRUE(ReadText(target).ends_with("\"Level\"=dword:00000002\n"));
  EXPECT_EQ(fs::status(target).permissions(), fs::perms(0600));
  EXPECT_FALSE(fs::exists(leftover));
}

TEST_F(RegistryFileTest, WhicheverCallFailsTheOldOrTheNewTextIsThereWhole) {
  const std::string device = "\n[HKEY_LOCAL_MACHINE\\" + kEngineKey + "\\DEVICE0]\n\"Info\"=\"";
  WriteText(path_, EngineText(device + Info(0, 0, 1, 0, 5) + "\"\n"));
  Create();
  const std::string old_text = ReadText(path_);
  EXPECT_EQ(::RaidSetUpAssignDeviceToRaid(0, 0, 0), 0);
  const std::string new_text = ReadText(path_);
  setenv(kHistoryVariable, "1", 1);  // each new entry is one too many
  HKEY key = nullptr;
  RegCreateKeyA(HKEY_LOCAL_MACHINE, (kEngineKey + "\\RAID0").c_str(), &key);
  // What is promised of file and history, whether the new text is in place or not.
  const auto check = [&](bool in_place) {
    EXPECT_EQ(ReadText(path_), in_place ? new_text : old_text) << failing_call;
    const auto history = History();
    const bool kept =
        !history.empty() && HistoryTextBefore(path_, history.back().number)->text == old_text;
    EXPECT_TRUE(!in_place || kept) << failing_call;
    EXPECT_EQ(Leftovers(), "") << failing_call;
  };
  int survived = 0;
  for (failing_call = 1; survived == 0; ++failing_call) {
    for (const bool first : {true, false}) {  // of the history
      WriteText(path_, old_text);
      if (first) fs::remove_all(HistoryFolder(path_));
      NewProcess();
      calls_seen = 0;
      SetFileFault(FailOneCall);
      std::uint16_t status = 0;
      const std::string messages =
          Messages([&] { status = ::RaidSetUpAssignDeviceToRaid(0, 0, 0); });
      SetFileFault(nullptr);
      bool all_done = calls_seen < failing_call;
      EXPECT_EQ(messages.empty(), calls_seen < failing_call) << failing_call << messages;
      const bool unsynced = messages.find("may not survive a power cut") != std::string::npos;
      check(status == 0 || unsynced);
      // The process and its handles go on from what is stored.
      EXPECT_EQ(RaidMemberTotal(), status == 0 || unsynced ? 1 : 0) << failing_call;
      DWORD size = 0;
      EXPECT_EQ(RegQueryValueExA(key, "Info", nullptr, nullptr, nullptr, &size), 0);
      EXPECT_EQ(size, status == 0 || unsynced ? 10U : 1U) << failing_call;

      // Killed there, and another process goes on.
      WriteText(path_, old_text);
      if (first) fs::remove_all(HistoryFolder(path_));
      const int killed = InChild([&] {
        NewProcess();
        calls_seen = 0;
        SetFileFault(DieAtOneCall);
        return ::RaidSetUpAssignDeviceToRaid(0, 0, 0);
      });
      EXPECT_TRUE(killed == 0 || killed == kKilled) << failing_call;
      all_done = all_done && killed == 0;
      if (all_done) survived = failing_call;
      const bool in_place = ReadText(path_) == new_text;
      EXPECT_EQ(OpenEngine(KEY_READ), 0);  // what was left behind goes
      check(in_place);
    }
    ASSERT_LT(failing_call, 80);
  }
  EXPECT_GT(survived, 20);  // open, lock, read, make, write, link, sync, close, rename, ...
  RegCloseKey(key);
}

TEST_F(RegistryFileTest, WhatIsReplacedIsKept) {
  WriteText(path_, EngineText(""));
  SetChangeCause("prog\"", "line\n\xE4");
  setenv(kHistoryVariable, "3", 1);
  std::vector<std::string> texts;
  for (const char* refused : {"", "link"}) {  // without links it is copied
    counted_call = refused;
    SetFileFault(RefuseCountedCall);
    for (int i = 0; i < 5; ++i) {
      texts.push_back(ReadText(path_));
      if (i % 2 == 0) Create();
      if (i % 2 == 1) ::RaidSetUpSetRaidLevel(0, static_cast<std::uint16_t>(texts.size() % 5));
    }
    const auto history = History();
    ASSERT_EQ(history.size(), 3U) << refused;
    for (const HistoryEntry& entry : history) {
      EXPECT_EQ(HistoryTextBefore(path_, entry.number)->text, texts[entry.number - 1]);
      EXPECT_EQ(HistoryTextAfter(path_, entry.number)->text,
                entry.number == texts.size() ? ReadText(path_) : texts[entry.number]);
    }
    const HistoryEntry& last = history.back();
    EXPECT_EQ(last.number, texts.size());
    EXPECT_EQ(last.before->raids, texts.size() / 5 * 3 - 1);
    EXPECT_EQ(last.after->raids, texts.size() / 5 * 3);
    EXPECT_EQ(last.program + last.command, "prog\"line\n\xC3\xA4");
    EXPECT_EQ(*last.uid, getuid());
    EXPECT_LE(std::chrono::system_clock::now() - last.time, std::chrono::minutes(1));
  }
  setenv(kHistoryVariable, "0", 1);
  Create();
  EXPECT_EQ(History().size(), 3U);
  // Without the file beside it an entry is still one.
  fs::remove(HistoryCausePath(HistoryFolder(path_), texts.size()));
  EXPECT_LE(std::chrono::system_clock::now() - History().back().time, std::chrono::minutes(1));
  EXPECT_FALSE(History().back().before);
  SetChangeCause("", "");
}

TEST_F(RegistryFileTest, WaitsForAnotherWriterSaysSoAndGivesUp) {
  WriteText(path_, EngineText(""));
  const auto hold = [&](int milliseconds) {
    const pid_t child = fork();
    if (child == 0) {
      RegistryBegin();
      usleep(static_cast<useconds_t>(milliseconds) * 1000);
      _exit(0);
    }
    while (!fs::exists(folder_ + "/.registry.reg.lock") ||
           ReadText(folder_ + "/.registry.reg.lock").find(std::to_string(child)) != 0) {
      usleep(1000);
    }
    return child;
  };
  const pid_t first = hold(60000);
  const std::string holder = " (process " + std::to_string(first) + ", user ";
  setenv(kWaitVariable, "0", 1);
  const std::string refusal = Messages([&] { EXPECT_EQ(Create(), 202); });
  EXPECT_NE(refusal.find("in use by devprep_posix_t" + holder), std::string::npos) << refusal;
  EXPECT_EQ(ReadText(path_), EngineText(""));
  ASSERT_TRUE(RegistryBeginTrial());  // a trial waits for nobody
  EXPECT_EQ(Create(), 0);
  RegistryEndTrial();
  kill(first, SIGKILL);
  waitpid(first, nullptr, 0);
  EXPECT_EQ(Create(), 0);
  const pid_t second = hold(1300);
  unsetenv(kWaitVariable);
  const std::string note = Messages([&] { EXPECT_EQ(Create(), 0); });
  EXPECT_NE(note.find("note: " + path_ + ": waiting for devprep_posix_t"), std::string::npos)
      << note;
  waitpid(second, nullptr, 0);
  setenv(kWaitVariable, "soon", 1);
  EXPECT_NE(Messages([&] { EXPECT_EQ(Create(), 0); }).find("'soon' is not a number"),
            std::string::npos);
}

TEST_F(RegistryFileTest, WhoMayOnlyReadMayTry) {
  WriteText(path_, EngineText(""));
  fs::permissions(path_, fs::perms(0444));
  ASSERT_TRUE(RegistryBeginTrial());
  EXPECT_EQ(Create(), 0);
  EXPECT_EQ(OpenEngine(KEY_ALL_ACCESS), 0);
  RegistryEndTrial();
  EXPECT_EQ(ReadText(path_), EngineText(""));
  RaidInfo raid = {};
  EXPECT_NE(::RaidSetUpGetRaidInfo(0, &raid), 0);
}

TEST_F(RegistryFileTest, RightsStayAndOnlyWritersCanLock) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  constexpr gid_t kGroup = 2000;
  constexpr uid_t kMember = 65534;
  const std::string lock = folder_ + "/.registry.reg.lock";
  // Access list, version 2: the owner and user 1001 may write, user 1002 may read.
  std::string list("\2\0\0\0", 4);
  const auto add = [&list](char tag, char rights, std::uint32_t id) {
    list += {tag, '\0', rights, '\0'};
    list.append(reinterpret_cast<const char*>(&id), sizeof id);
  };
  add(0x01, 6, 0xFFFFFFFF);
  add(0x02, 6, 1001);
  add(0x02, 4, 1002);
  add(0x04, 4, 0xFFFFFFFF);
  add(0x10, 6, 0xFFFFFFFF);
  add(0x20, 4, 0xFFFFFFFF);
  const auto attribute = [](const std::string& path, const char* name) {
    return GetAttribute(path, name) ? *GetAttribute(path, name) : "";
  };
  for (const bool with_list : {false, true}) {
    WriteText(path_, EngineText(""));
    fs::permissions(folder_, fs::perms(0777));
    ASSERT_EQ(chown(path_.c_str(), 0, kGroup), 0);
    ASSERT_EQ(chmod(path_.c_str(), 0660), 0);
    setxattr(path_.c_str(), "user.note", "kept", 4, 0);
    if (with_list &&
        setxattr(path_.c_str(), "system.posix_acl_access", list.data(), list.size(), 0) != 0) {
      continue;  // not on this file system
    }
    const std::string note = attribute(path_, "user.note");
    const mode_t mode = StatusOf(path_)->st_mode;
    EXPECT_EQ(Create(), 0);  // by root
    EXPECT_EQ(StatusOf(lock)->st_gid, kGroup);
    EXPECT_EQ(StatusOf(lock)->st_mode & 0777, 0660U);
    EXPECT_EQ(InChild([&] {  // by a member of the group
                const gid_t group = kGroup;
                if (setgroups(1, &group) != 0 || setgid(kMember) != 0 || setuid(kMember) != 0) {
                  return 1;
                }
                NewProcess();
                return static_cast<int>(Create());
              }),
              with_list ? 202 : 0);  // the list lets the group read only
    const auto now = StatusOf(path_);
    EXPECT_EQ(now->st_uid, with_list ? 0 : kMember);
    EXPECT_EQ(now->st_gid, kGroup);
    EXPECT_EQ(now->st_mode, mode);
    EXPECT_EQ(attribute(path_, "user.note"), note);
    EXPECT_EQ(attribute(path_, "system.posix_acl_access"), with_list ? list : "");
    if (!with_list) continue;
    std::string writers = list;
    for (std::size_t at = 6; at < writers.size(); at += 8) {
      writers[at] = writers[at] == 6 ? '\6' : '\0';
    }
    EXPECT_EQ(attribute(lock, "system.posix_acl_access"), writers);
  }
}

TEST_F(RegistryFileTest, AFolderThatCannotBeMadeFailsTheTransactionOnce) {
  backing::Attach(folder_, {{kMapKey + "\\Scsi Port 0\\Scsi Bus 0\\Target Id 1\\Logical Unit Id 0",
                             {TextValue("Identifier", "ACME    DRIVE           1.00"),
                              TextValue("Type", "TapePeripheral")}}});
  const std::string deep = folder_ + "/a/registry.reg";
  setenv(kRegistryVariable, deep.c_str(), 1);
  counted_call = "mkdir";
  SetFileFault(RefuseCountedCall);
  NewProcess();
  RegistryBegin();
  EXPECT_EQ(Messages([&] { EXPECT_EQ(::SetUpInitTapesvrConfig(), 0); }),
            "devprep: cannot create folder " + folder_ + "/a: Operation not permitted\n");
  EXPECT_FALSE(RegistryCommit());
  EXPECT_FALSE(fs::exists(folder_ + "/a"));
  // An edit that goes by what was stored says so.
  RegistryBegin();
  std::uint16_t number = 9;
  EXPECT_EQ(Messages([&] {
              const GroupEdit edit = CreateGroup("NIGHTLY", kGroupTape, nullptr, 0, false, &number);
              EXPECT_EQ(edit.refusal, GroupRefusal::kGroupNotStored);
            }),
            "devprep: cannot create folder " + folder_ + "/a: Operation not permitted\n");
  EXPECT_FALSE(RegistryCommit());
}

TEST_F(RegistryFileTest, WhatCouldNotBeReadBackIsNotStored) {
  WriteText(path_, EngineText(""));
  HKEY key = nullptr;
  EXPECT_EQ(
      Messages([&] { EXPECT_NE(RegCreateKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\a\nb", &key), 0); }),
      "devprep: " + path_ + ": not stored: HKEY_LOCAL_MACHINE\\SOFTWARE\\a?b: " +
          "a key name that holds a line end or NUL\n");
  EXPECT_EQ(ReadText(path_), EngineText(""));
  setenv(kRegistryVariable, (path_ + "/registry.reg").c_str(), 1);  // a file in a folder's place
  EXPECT_NE(Messages([&] { EXPECT_EQ(::RaidSetUpSetRaidLevel(0, 1), 0); }), "");
  EXPECT_EQ(ReadText(path_), EngineText(""));
}

TEST_F(RegistryFileTest, TheHardwareBranchIsReadOnlyAndNeverInTheFile) {
  backing::Attach(folder_, {{kMapKey, {TextValue("v", "machine")}}});
  WriteText(path_, "REGEDIT4\n[HKEY_LOCAL_MACHINE\\HARDWARE\\Other]\n");
  HKEY key = nullptr;
  const auto open = [&key](const char* path, REGSAM access) {
    return RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, access, &key);
  };
  EXPECT_EQ(open("HARDWARE\\Other", KEY_READ), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(open("hardware\\devicemap\\scsi", KEY_ALL_ACCESS), ERROR_ACCESS_DENIED);
  ASSERT_EQ(open("hardware\\devicemap\\scsi", MAXIMUM_ALLOWED), 0);
  EXPECT_EQ(RegQueryValueExA(key, "v", nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(RegSetValueExA(key, "v", 0, REG_SZ, nullptr, 0), ERROR_ACCESS_DENIED);
  HKEY made = nullptr;
  EXPECT_EQ(RegCreateKeyA(key, "x", &made), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, "HARDWARE\\x", &made), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "HARDWARE\\DEVICEMAP\\Scsi"), ERROR_ACCESS_DENIED);
  RegCloseKey(key);
}

TEST_F(RegistryFileTest, WithoutItsHardwareTheConfigurationStaysAsItIs) {
  const std::string capture = folder_ + "/machine.reg";
  const std::string text = EngineText("\n[HKEY_LOCAL_MACHINE\\" + kEngineKey +
                                      "\\DEVICE0]\n\"Info\"=\"" + Info(0, 0, 1, 0, 5) + "\"\n");
  WriteText(path_, text);
  const struct {
    std::function<void()> damage;
    std::string message;
  } cases[] = {
      {[&] { fs::remove(capture); }, capture + ": there is no such hardware capture\n"},
      {[&] { WriteText(capture, "REGEDIT4\nx"); },
       capture + ":2: neither a key, a value nor a comment\n"},
      {[&] {
         fs::remove(capture);
         fs::create_directory(capture);
       },
       capture + ": not a regular file\n"},
  };
  for (const auto& c : cases) {
    c.damage();
    NewProcess();
    EXPECT_EQ(Messages([] { EXPECT_EQ(::SetUpInitTapesvrConfig(), 0); }), "devprep: " + c.message);
    EXPECT_EQ(ReadText(path_), text);
  }
}

TEST_F(RegistryFileTest, AListingWithoutItsHardwareGoesByWhatIsStored) {
  const std::string text = EngineText("\n[HKEY_LOCAL_MACHINE\\" + kEngineKey +
                                      "\\DEVICE0]\n\"Info\"=\"" + Info(0, 0, 1, 0, 5) + "\"\n");
  WriteText(path_, text);
  NewProcess();
  MaskFibreDevices = 1;
  fs::remove(folder_ + "/machine.reg");
  DeviceInfo info = {};
  EXPECT_EQ(Messages([&] {
              EXPECT_EQ(::SetUpGetDeviceInfo(0, &info), 0);
              EXPECT_EQ(::SetUpGetDeviceInfo(1, &info), 3);
            }),
            "devprep: " + folder_ + "/machine.reg: there is no such hardware capture\n");
  EXPECT_EQ(info.Type, DEVPREP_TYPE_TAPE);
  EXPECT_STREQ(info.Description, "ACME    DRIVE           1.00");
  EXPECT_EQ(ReadText(path_), text);
}

TEST_F(RegistryFileTest, WithoutMemoryThePassChangesNothing) {
  WriteText(path_, EngineText("\n[HKEY_LOCAL_MACHINE\\" + kEngineKey + "\\DEVICE0]\n"));
  const std::string text = ReadText(path_);
  for (const int nth : {1, 2}) {
    FailGlobalAlloc(nth);
    EXPECT_EQ(ReconfigureDevices(), kNoWorkingStorage);
    EXPECT_EQ(ReadText(path_), text);
  }
  FailGlobalAlloc(3);
  EXPECT_EQ(ReconfigureDevices(), 0U);
  FailGlobalAlloc(0);
  EXPECT_NE(ReadText(path_), text);
}

}  // namespace
}  // namespace devprep
