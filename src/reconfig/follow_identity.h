// Keeps the numbers' settings and memberships with the devices that they belong to, by serial
// number and World Wide ID, wherever those devices went. The pass itself pairs by place and name
// before identity; what is here prepares the old configuration so that its rules come to the right
// end, and mends afterwards what they pair by rules of their own.
#ifndef DEVPREP_RECONFIG_FOLLOW_IDENTITY_H_
#define DEVPREP_RECONFIG_FOLLOW_IDENTITY_H_

#include <cstdint>

namespace devprep {

// After the probe and before the RAIDs are carried over: decides which found device each old record
// is to become, and gives the record, and the RAID members that name it, that device's address,
// name and identity. Decided in this order, each old record and found device once:
//  1. by identity, where it is beyond doubt (identity.h);
//  2. a drive without identity that is reserved to a changer: by its place in that list, where the
//     changer says which drives it has (FoundChangers) and those of them that have an identity
//     stand in that order;
//  3. what is in its old place, under its old name;
//  4. by type and name alone, but never a device with another identity.
// A record for which nothing is left gets an address that no device has. Returns 0.
std::uint16_t AlignOldRecords();

// After the rebuild: gives reserved drives with their disabled marks, group members and RAID
// members the devices that their device records became, and records that in LastPass in the place
// of what the pass made of them. Returns 0.
std::uint16_t MendMemberships();

// Forgets what was decided, as a fresh load finds it.
void ResetFollowIdentity();

}  // namespace devprep

#endif  // DEVPREP_RECONFIG_FOLLOW_IDENTITY_H_
