/* DEVPREP: set-up library of the tape engine.
 *
 * Conventions shared by all eleven functions:
 *  - Every result is an unsigned 16-bit status: 0 is success, 65535 the general failure; further
 *    codes stand beside each function and are named in enum DevprepStatus.
 *  - Device numbers, RAID numbers, levels and link positions are unsigned 16-bit numbers.
 *  - The caller owns every buffer. Pointers must not be null.
 *  - The functions keep process-wide state and take no locks against threads: one call at a time.
 *  - Each call is one transaction on the registry: it is stored whole, or not at all. When it
 * cannot be stored, or memory runs out, the result is 65535 where it can be anything but 0.
 *  - Device records and their number are kept as they were first read, also when another process
 *    changes them, until the configuration pass or RaidSetUpGetRaidInfo(65535, ...) empties them.
 *
 * This header stands alone and compiles as C and as C++.
 */
#ifndef DEVPREP_DEVPREP_H_
#define DEVPREP_DEVPREP_H_

/* NOLINTBEGIN(modernize-*): this header is also C. */
#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define DEVPREP_CALL __cdecl
#define DEVPREP_API
#else
#define DEVPREP_CALL
#define DEVPREP_API __attribute__((visibility("default")))
#endif

#if defined(__cplusplus)
#define DEVPREP_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define DEVPREP_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/* Statuses that the functions below return. */
enum DevprepStatus {
  DEVPREP_OK = 0,
  DEVPREP_NO_DEVICE = 3,           /* no such device is configured */
  DEVPREP_RAID_NOT_OPEN = 200,     /* the RAID does not exist or cannot be opened */
  DEVPREP_NOT_A_MEMBER = 201,      /* the device is not in the RAID's list */
  DEVPREP_RAID_STORE_FAILED = 202, /* a RAID key or list cannot be read or stored */
  DEVPREP_DEVICE_REFUSED = 203,    /* another model, or against the changer rules */
  DEVPREP_ALREADY_MEMBER = 204,    /* the device is in the RAID's list already */
  DEVPREP_MEMBER_LIMIT = 205,      /* 16 tape members over all RAIDs, 2 in a RAID of level 1 */
  DEVPREP_RAID_LIMIT = 206,        /* 8 RAIDs exist */
  DEVPREP_BAD_DEVICE_RECORD = 219, /* the device's stored "Info" text is malformed */
  DEVPREP_FAILED = 65535           /* general failure */
};

/* Device type codes that DeviceInfo.Type reports beside those of other peripherals. */
enum DevprepDeviceType {
  DEVPREP_TYPE_TAPE = 5,
  DEVPREP_TYPE_CHANGER = 17,
  DEVPREP_TYPE_OPTICAL_LIBRARY = 18,
  DEVPREP_TYPE_UNKNOWN = 32768 /* a virtualised library, or a masked device */
};

/* Bits of RaidInfo.Flags; a changer's DeviceInfo.RaidFlags repeats them. */
#define DEVPREP_RAID_HAS_CHANGER UINT32_C(0x01000000)
#define DEVPREP_RAID_CHANGER_COMPLETE UINT32_C(0x02000000)
#define DEVPREP_RAID_CHANGER_INCOMPLETE UINT32_C(0x04000000)

/* One configured device. 144 bytes, little-endian, offsets fixed. */
typedef struct DeviceInfo {
  uint16_t Number; /* N of the key "DEVICE%d" */
  uint16_t Board;  /* SCSI port */
  uint16_t Bus;
  uint16_t ScsiId; /* target id */
  uint16_t Lun;    /* logical unit */
  uint16_t Type;
  uint16_t CleaningTapeSlot; /* 65535: not set */
  char Description[40];      /* inquiry text, zero-terminated within the field */
  uint16_t ReservedDriveCount;
  uint16_t ReservedDrives[32]; /* device numbers */
  uint32_t DisabledDrives;     /* bit i: entry i of ReservedDrives */
  uint8_t Reserved[16];        /* never written */
  uint32_t RaidFlags;          /* Flags of the first RAID that this changer backs */
} DeviceInfo;

/* One tape RAID. 144 bytes, little-endian, offsets fixed. */
typedef struct RaidInfo {
  uint16_t RaidNumber;
  uint16_t TapeCount;
  uint16_t TapeDevices[32]; /* device numbers of the tape members, in stored order */
  uint8_t StripeSize;
  uint8_t Level;
  uint8_t LinkPosition;
  uint8_t Reserved1; /* always 0 */
  uint32_t Flags;    /* DEVPREP_RAID_... */
  uint16_t ChangerCount;
  uint16_t ChangerDevices[32]; /* device numbers of the changers, in stored order */
  uint8_t Reserved2[2];        /* always 0 */
} RaidInfo;

DEVPREP_STATIC_ASSERT(sizeof(DeviceInfo) == 144, "DeviceInfo is 144 bytes");
DEVPREP_STATIC_ASSERT(offsetof(DeviceInfo, Type) == 10, "Type at 10");
DEVPREP_STATIC_ASSERT(offsetof(DeviceInfo, CleaningTapeSlot) == 12, "CleaningTapeSlot at 12");
DEVPREP_STATIC_ASSERT(offsetof(DeviceInfo, Description) == 14, "Description at 14");
DEVPREP_STATIC_ASSERT(offsetof(DeviceInfo, ReservedDriveCount) == 54, "ReservedDriveCount at 54");
DEVPREP_STATIC_ASSERT(offsetof(DeviceInfo, ReservedDrives) == 56, "ReservedDrives at 56");
DEVPREP_STATIC_ASSERT(offsetof(DeviceInfo, DisabledDrives) == 120, "DisabledDrives at 120");
DEVPREP_STATIC_ASSERT(offsetof(DeviceInfo, Reserved) == 124, "Reserved at 124");
DEVPREP_STATIC_ASSERT(offsetof(DeviceInfo, RaidFlags) == 140, "RaidFlags at 140");

DEVPREP_STATIC_ASSERT(sizeof(RaidInfo) == 144, "RaidInfo is 144 bytes");
DEVPREP_STATIC_ASSERT(offsetof(RaidInfo, TapeDevices) == 4, "TapeDevices at 4");
DEVPREP_STATIC_ASSERT(offsetof(RaidInfo, StripeSize) == 68, "StripeSize at 68");
DEVPREP_STATIC_ASSERT(offsetof(RaidInfo, Level) == 69, "Level at 69");
DEVPREP_STATIC_ASSERT(offsetof(RaidInfo, LinkPosition) == 70, "LinkPosition at 70");
DEVPREP_STATIC_ASSERT(offsetof(RaidInfo, Flags) == 72, "Flags at 72");
DEVPREP_STATIC_ASSERT(offsetof(RaidInfo, ChangerCount) == 76, "ChangerCount at 76");
DEVPREP_STATIC_ASSERT(offsetof(RaidInfo, ChangerDevices) == 78, "ChangerDevices at 78");

#ifdef __cplusplus
extern "C" {
#endif

/* Rebuilds the device configuration from the devices attached now. Runs at most once for each load
 * of the library into a process, and not while the key "Sim" exists under the tape engine key; it
 * then only recounts the tape members of the RAIDs. Returns 0 always. Ordinal 100. */
DEVPREP_API uint16_t DEVPREP_CALL SetUpInitTapesvrConfig(void);

/* Stores the number of configured devices, 0 to 255, in *count. Returns 0. Ordinal 101. */
DEVPREP_API uint16_t DEVPREP_CALL SetUpGetNoOfDevices(uint16_t* count);

/* Describes device number. The caller passes a zero-filled record: RaidFlags and Reserved are only
 * written where they apply. Returns 0; 3 not configured; 219 malformed "Info"; 65535 when the
 * registry cannot be stored. Unless it returns 0 the record is untouched. Ordinal 102. */
DEVPREP_API uint16_t DEVPREP_CALL SetUpGetDeviceInfo(uint16_t number, DeviceInfo* info);

/* Stores the number of RAIDs, 0 to 8, in *count. Returns 0. Ordinal 200. */
DEVPREP_API uint16_t DEVPREP_CALL RaidSetUpGetNoOfRaids(uint16_t* count);

/* Describes RAID number 0 to 7. Members whose address no configured device has any more are dropped
 * from the stored lists, one per list and call. Number 65535 empties the cache of device records
 * instead and returns 65535. Returns 0; 65535 no such RAID or unreadable; 3 or 219 when a device
 * record needed to resolve a changer cannot be read. Ordinal 201. */
DEVPREP_API uint16_t DEVPREP_CALL RaidSetUpGetRaidInfo(uint16_t number, RaidInfo* info);

/* Adds a device to a RAID: a drive (with its changer), or a changer with its free, enabled reserved
 * drives. strict_match 1 asks for the model of the RAID's first member of its kind. Returns 0; 202,
 * 203, 204, 205 as in enum DevprepStatus; 65535 or the status of an unreadable device record.
 * Ordinal 300. */
DEVPREP_API uint16_t DEVPREP_CALL RaidSetUpAssignDeviceToRaid(uint16_t raid, uint16_t device,
                                                              uint8_t strict_match);

/* Removes a drive, or a changer with its enabled reserved drives, from a RAID. Returns 0; 200, 201,
 * 202 as in enum DevprepStatus; 65535 or the status of an unreadable device record. Ordinal 301. */
DEVPREP_API uint16_t DEVPREP_CALL RaidSetUpRemoveDeviceFromRaid(uint16_t raid, uint16_t device);

/* Creates a RAID under the lowest free number and stores that number in *number. unused is accepted
 * and not looked at. Returns 0; 206 when 8 RAIDs exist (*number untouched); 202 when the key cannot
 * be created. Ordinal 400. */
DEVPREP_API uint16_t DEVPREP_CALL RaidSetUpCreateRaid(uint16_t level, uint32_t unused,
                                                      uint16_t* number);

/* Removes a RAID; the RAIDs above it move down one number. Returns 0; 202 when it cannot be
 * deleted. Ordinal 401. */
DEVPREP_API uint16_t DEVPREP_CALL RaidSetUpRemoveRaid(uint16_t raid);

/* Store the level or the link position of a RAID, which need not exist. Return 0 always. Ordinals
 * 500 and 501. */
DEVPREP_API uint16_t DEVPREP_CALL RaidSetUpSetRaidLevel(uint16_t raid, uint16_t level);
DEVPREP_API uint16_t DEVPREP_CALL RaidSetUpSetLinkPosition(uint16_t raid, uint16_t position);

#ifdef __cplusplus
} /* extern "C" */
#endif
/* NOLINTEND(modernize-*) */

#endif /* DEVPREP_DEVPREP_H_ */
