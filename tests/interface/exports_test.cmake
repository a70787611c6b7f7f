# The shared library exports its functions and nothing else.
#   cmake -D NM=... -D LIBRARY=... -P exports_test.cmake
execute_process(COMMAND ${NM} -D --defined-only --format=posix ${LIBRARY}
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+" symbols "${symbols}")
list(TRANSFORM symbols REPLACE " .*" "")
# What the sanitizers add is not ours.
list(FILTER symbols EXCLUDE REGEX "^(__|_init$|_fini$|_edata|_end)")
list(SORT symbols)
set(wanted
  RaidSetUpAssignDeviceToRaid RaidSetUpCreateRaid RaidSetUpGetNoOfRaids RaidSetUpGetRaidInfo
  RaidSetUpRemoveDeviceFromRaid RaidSetUpRemoveRaid RaidSetUpSetLinkPosition
  RaidSetUpSetRaidLevel SetUpGetDeviceInfo SetUpGetNoOfDevices SetUpInitTapesvrConfig)
if(NOT symbols STREQUAL wanted)
  message(FATAL_ERROR "exported: ${symbols}\nwanted: ${wanted}")
endif()
