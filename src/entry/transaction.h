// What every export is made of: one registry transaction, out of which nothing is thrown.
#ifndef DEVPREP_ENTRY_TRANSACTION_H_
#define DEVPREP_ENTRY_TRANSACTION_H_

#include <cstdint>
#include <exception>
#include <new>

#include "platform/registry.h"
#include "records/device_cache.h"
#include "records/raid_member_total.h"
#include "store/registry_store.h"

namespace devprep {

// Runs an operation as one transaction. Returns its status. When memory runs out or the changes
// cannot be stored, nothing is changed, what the process remembers of them goes too, and the status
// is 65535. It is that, too, when they are in place but may not survive a power cut.
template <typename Operation>
std::uint16_t AsTransaction(Operation operation) {
  const std::uint16_t members_before = RaidMemberTotal();
  bool begun = false;
  std::uint16_t status = kStatusFailed;
  try {
    RegistryBegin();
    begun = true;
    status = operation();
  } catch (const std::bad_alloc&) {
    if (begun) RegistryFail(kNoMemory);
  } catch (const std::exception& failure) {
    if (begun) RegistryFail(failure.what());
  }
  if (begun && RegistryCommit()) return status;
  if (!RegistryInPlace()) SetRaidMemberTotal(members_before);
  ResetDeviceCache();
  return kStatusFailed;
}

}  // namespace devprep

#endif  // DEVPREP_ENTRY_TRANSACTION_H_
