#include "records/raid_member_total.h"

namespace devprep {
namespace {

constinit std::uint16_t Total = 0;

}  // namespace

std::uint16_t RaidMemberTotal() { return Total; }

void SetRaidMemberTotal(std::uint16_t total) { Total = total; }

void RaiseRaidMemberTotal(std::uint16_t members) {
  Total = static_cast<std::uint16_t>(Total + members);
}

void LowerRaidMemberTotal() {
  if (Total != 0) --Total;
}

}  // namespace devprep
