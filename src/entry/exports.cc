// The exports: each is one registry transaction around the function that does the work.
#include "devprep/devprep.h"
#include "entry/library.h"
#include "entry/transaction.h"
#include "records/raid_records.h"
#include "setup/device_listing.h"
#include "setup/raid_setup.h"

using devprep::AsTransaction;

std::uint16_t SetUpInitTapesvrConfig() {
  AsTransaction([] { return devprep::SetUpInitTapesvrConfig(); });
  return DEVPREP_OK;
}

std::uint16_t SetUpGetNoOfDevices(std::uint16_t* count) {
  AsTransaction([=] { return devprep::SetUpGetNoOfDevices(count); });
  return DEVPREP_OK;
}

std::uint16_t SetUpGetDeviceInfo(std::uint16_t number, DeviceInfo* info) {
  // The caller gets a record that is whole, or none.
  DeviceInfo described = *info;
  const std::uint16_t status =
      AsTransaction([&] { return devprep::SetUpGetDeviceInfo(number, &described); });
  if (status == DEVPREP_OK) *info = described;
  return status;
}

std::uint16_t RaidSetUpGetNoOfRaids(std::uint16_t* count) {
  AsTransaction([=] { return devprep::RaidSetUpGetNoOfRaids(count); });
  return DEVPREP_OK;
}

std::uint16_t RaidSetUpGetRaidInfo(std::uint16_t number, RaidInfo* info) {
  return AsTransaction([=] { return devprep::RaidSetUpGetRaidInfo(number, info); });
}

std::uint16_t RaidSetUpAssignDeviceToRaid(std::uint16_t raid, std::uint16_t device,
                                          std::uint8_t strict_match) {
  return AsTransaction(
      [=] { return devprep::AssignDeviceToRaid(raid, device, strict_match).status; });
}

std::uint16_t RaidSetUpRemoveDeviceFromRaid(std::uint16_t raid, std::uint16_t device) {
  return AsTransaction([=] { return devprep::RemoveDeviceFromRaid(raid, device).status; });
}

std::uint16_t RaidSetUpCreateRaid(std::uint16_t level, std::uint32_t /*unused*/,
                                  std::uint16_t* number) {
  return AsTransaction([=] { return devprep::CreateRaid(level, number).status; });
}

std::uint16_t RaidSetUpRemoveRaid(std::uint16_t raid) {
  return AsTransaction([=] { return devprep::RemoveRaid(raid).status; });
}

std::uint16_t RaidSetUpSetRaidLevel(std::uint16_t raid, std::uint16_t level) {
  AsTransaction([=] {
    devprep::SetRaidLevel(raid, level);
    return DEVPREP_OK;
  });
  return DEVPREP_OK;
}

std::uint16_t RaidSetUpSetLinkPosition(std::uint16_t raid, std::uint16_t position) {
  AsTransaction([=] {
    devprep::SetRaidLinkPosition(raid, position);
    return DEVPREP_OK;
  });
  return DEVPREP_OK;
}
