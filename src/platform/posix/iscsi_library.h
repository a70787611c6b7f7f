// libiscsi, loaded when it is first needed: programs that use no iSCSI need not wait for it, nor
// have it.
#ifndef DEVPREP_PLATFORM_POSIX_ISCSI_LIBRARY_H_
#define DEVPREP_PLATFORM_POSIX_ISCSI_LIBRARY_H_

#include <iscsi/iscsi.h>
#include <iscsi/scsi-lowlevel.h>

#include "platform/result.h"

// Every function of the library that is used.
#define DEVPREP_ISCSI_FUNCTIONS(X)    \
  X(iscsi_connect_async)              \
  X(iscsi_create_context)             \
  X(iscsi_destroy_context)            \
  X(iscsi_discovery_async)            \
  X(iscsi_get_error)                  \
  X(iscsi_get_fd)                     \
  X(iscsi_is_logged_in)               \
  X(iscsi_login_async)                \
  X(iscsi_logout_async)               \
  X(iscsi_reportluns_task)            \
  X(iscsi_scsi_cancel_task)           \
  X(iscsi_scsi_command_async)         \
  X(iscsi_service)                    \
  X(iscsi_set_header_digest)          \
  X(iscsi_set_initiator_username_pwd) \
  X(iscsi_set_noautoreconnect)        \
  X(iscsi_set_session_type)           \
  X(iscsi_set_target_username_pwd)    \
  X(iscsi_set_targetname)             \
  X(iscsi_which_events)               \
  X(scsi_create_task)                 \
  X(scsi_free_scsi_task)

namespace devprep {

// The functions, by their own names.
struct IscsiLibrary {
// NOLINTNEXTLINE(bugprone-macro-parentheses): a member's name takes none.
#define DEVPREP_ISCSI_MEMBER(name) decltype(&::name) name = nullptr;
  DEVPREP_ISCSI_FUNCTIONS(DEVPREP_ISCSI_MEMBER)
#undef DEVPREP_ISCSI_MEMBER
};

// Loads the library, which then stays in the process. Fails when it is not installed.
Result<> LoadIscsiLibrary();

// The loaded library. To be called after LoadIscsiLibrary has succeeded.
const IscsiLibrary& Iscsi();

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_ISCSI_LIBRARY_H_
